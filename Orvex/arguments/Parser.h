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

/// An invalid command line. `what()` is one line that names the word at fault and what was expected in its
/// place.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Options that belong elsewhere on the command line: an error tells a user who gives them here the right
/// place.
struct OptionsElsewhere {
    /// Their spellings; called only if there is an unknown option.
    std::function<std::vector<std::string>()> spellings;
    /// Follows "given " in an error.
    std::string_view place;
};

using Words = std::span<const std::string_view>;

/// Fills in the properties from the options at the front of `words`, up to the first word that is neither an
/// option nor a value. Returns the number of words read. "--" ends the options and is counted. Throws
/// `UsageError`.
[[nodiscard]] std::size_t parseOptions(std::span<const BoundProperty> properties, Words words,
                                       const OptionsElsewhere& elsewhere = {});

/// Fills in the properties from `words`. Throws `UsageError` if a word is neither an option nor a value, or
/// if a required option is missing.
void parseArguments(std::span<const BoundProperty> properties, Words words,
                    const OptionsElsewhere& elsewhere = {});

/// The spellings of all properties, in their order.
[[nodiscard]] std::vector<std::string> allSpellings(std::span<const BoundProperty> properties);

/// Ends the process by `fatalError` if a spelling occurs twice. `owner` names the tool or the command with
/// these options.
void checkSpellingsDiffer(const std::string& owner, std::span<const BoundProperty> properties);

/// True if the property is given. Works on unparsed words, because a value never begins with "-".
[[nodiscard]] bool isGiven(const BoundProperty& property, Words words);

} // namespace Orvex
