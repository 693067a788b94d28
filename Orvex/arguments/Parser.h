#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include <cstddef>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// A command line that cannot be understood: `what()` is one line that names the word at fault and what was
/// expected in its place.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Options that belong to another place on the command line: an error names the place to a user who gives
/// them here.
struct OptionsElsewhere {
    /// Called when an unknown option has been found.
    std::function<std::vector<std::string>()> spellings;
    /// Completes "given …".
    std::string_view place;
};

using Words = std::span<const std::string_view>;

/// Fills in the properties from the options at the front of `words`, up to the first word that is neither an
/// option nor a value of one, and returns how many words that were. "--" ends the options and counts. Throws
/// `UsageError`.
[[nodiscard]] std::size_t parseOptions(std::span<const BoundProperty> properties, Words words,
                                       const OptionsElsewhere& elsewhere = {});

/// Fills in the properties from `words`, all of which must be options and their values, and checks that none
/// is missing. Throws `UsageError`.
void parseArguments(std::span<const BoundProperty> properties, Words words,
                    const OptionsElsewhere& elsewhere = {});

/// Every spelling of every property.
[[nodiscard]] std::vector<std::string> allSpellings(std::span<const BoundProperty> properties);

/// Whether one of the property's spellings is among the options of `words`. Since a value never begins with
/// "-" this can be told before anything is parsed.
[[nodiscard]] bool isGiven(const BoundProperty& property, Words words);

} // namespace Orvex
