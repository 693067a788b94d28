#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Orvex {

/// A command line that cannot be understood: `what()` is one line that names the word at fault and what was
/// expected in its place.
class UsageError : public std::runtime_error {
  public:
    explicit UsageError(const std::string& fault, std::string_view unknownOption = {})
        : std::runtime_error(fault), unknownOption_(unknownOption) {}

    /// The word at fault where it is an option with an unknown name; empty otherwise.
    [[nodiscard]] const std::string& unknownOption() const noexcept { return unknownOption_; }

  private:
    std::string unknownOption_;
};

using Words = std::span<const std::string_view>;

/// Fills in the properties from the options at the front of `words`, up to the first word that is neither an
/// option nor a value of one, and returns how many words that were. "--" ends the options and counts. Throws
/// `UsageError`.
[[nodiscard]] std::size_t parseOptions(std::span<const BoundProperty> properties, Words words);

/// Fills in the properties from `words`, all of which must be options and their values, and checks that none
/// is missing. Throws `UsageError`.
void parseArguments(std::span<const BoundProperty> properties, Words words);

/// Whether one of the properties has this spelling.
[[nodiscard]] bool isSpelling(std::string_view name, std::span<const BoundProperty> properties);

/// Whether one of the property's spellings is among the options of `words`. Since a value never begins with
/// "-" this can be told before anything is parsed.
[[nodiscard]] bool isGiven(const BoundProperty& property, Words words);

} // namespace Orvex
