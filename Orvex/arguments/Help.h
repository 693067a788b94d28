#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace Orvex {

/// Shows help when it stands in the place of a command.
inline constexpr std::string_view helpCommand = "help";

/// The flag that shows help, beside options one of which may have "-h" for itself.
[[nodiscard]] Flag helpFlag(std::span<const BoundProperty> others);

/// "Usage: ", the words that call the command, every option that has to be given, and "[options]" if there
/// are others. Without a newline.
[[nodiscard]] std::string usageLine(std::string_view invocation, std::span<const BoundProperty> properties);

/// Appends each option with its spellings, help text, values and default, wrapped to `width` columns. Options
/// without a spelling are left out.
void appendOptions(std::string& out, std::span<const BoundProperty> properties, std::size_t width);

/// The help text of an option, then its values, default and other remarks in brackets.
[[nodiscard]] std::string helpWithRemarks(const Property& property);

/// The columns of the terminal that this file descriptor is, at least 40, or 80 where it is none.
[[nodiscard]] std::size_t terminalWidth(int descriptor);

} // namespace Orvex
