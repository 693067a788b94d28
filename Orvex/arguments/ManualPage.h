#pragma once

#include "Orvex/arguments/Tool.h"
#include <span>
#include <string>

namespace Orvex {

/// The tool's manual page, section 1, in the mdoc language (mdoc(7)). `options` are all options in front of
/// the command.
[[nodiscard]] std::string toolManualPage(const Tool& tool, std::span<const BoundProperty> options);

/// The manual page of one command, "<tool>-<command>", section 1.
[[nodiscard]] std::string commandManualPage(const Tool& tool, const SubcommandType& type);

} // namespace Orvex
