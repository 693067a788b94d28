#pragma once

#include "Orvex/arguments/Invocation.h"
#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/arguments/Tool.h"
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace Orvex {

/// Shows help in the place of a command.
inline constexpr std::string_view helpCommand = "help";

/// The flag that shows help. It has no "-h" if one of the other options is spelled so.
[[nodiscard]] Flag helpFlag(std::span<const BoundProperty> others);

/// "Usage: ", the words that call a command, its required options, and "[options]" if there are others.
/// Without a newline.
[[nodiscard]] std::string usageLine(std::string_view invocation, std::span<const BoundProperty> properties);

/// The usage line of the tool, without a newline.
[[nodiscard]] std::string toolUsage(const Tool& tool);

/// The help screen of the tool, wrapped to `width` columns. `options` are all options in front of the
/// command.
[[nodiscard]] std::string toolHelp(const Tool& tool, std::span<const BoundProperty> options,
                                   std::size_t width);

/// The help screen of a command, wrapped to `width` columns.
[[nodiscard]] std::string commandHelp(const Invocation& invocation, std::size_t width);

/// The help text of an option; then, in brackets, its values, its default and other remarks.
[[nodiscard]] std::string helpWithRemarks(const Property& property);

/// The width of the terminal at this file descriptor, at least 40 columns; 80 if it is not a terminal.
[[nodiscard]] std::size_t terminalWidth(int descriptor);

} // namespace Orvex
