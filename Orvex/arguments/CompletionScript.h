#pragma once

#include "Orvex/arguments/Tool.h"
#include <boost/describe/enum.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Orvex {

/// The shells that can be taught to complete a tool's command lines.
enum class Shell { bash, zsh, fish };
BOOST_DESCRIBE_ENUM(Shell, bash, zsh, fish)

template <>
struct ArgumentConversion<Shell> {
    static std::optional<Shell> parse(std::string_view word);
    static std::string text(Shell shell) { return std::string(caseName(shell)); }
    static ValueSyntax syntax();
};

/// A script that makes `shell` complete the tool's commands, every spelling of their options, the values that
/// are known, and paths. `toolOptions` are all options in front of the command. The names of the tool, its
/// commands and options consist of letters, digits, "-" and "_".
[[nodiscard]] std::string completionScript(const Tool& tool, std::span<const BoundProperty> toolOptions,
                                           Shell shell);

} // namespace Orvex
