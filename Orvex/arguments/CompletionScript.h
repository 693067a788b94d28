#pragma once

#include "Orvex/arguments/Tool.h"
#include <boost/describe/enum.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Orvex {

/// The shells for which completion scripts can be made.
enum class Shell { bash, zsh, fish };
BOOST_DESCRIBE_ENUM(Shell, bash, zsh, fish)

template <>
struct ArgumentConversion<Shell> {
    static std::optional<Shell> parse(std::string_view word);
    static std::string text(Shell shell) { return std::string(caseName(shell)); }
    static ValueSyntax syntax();
};

/// The script that makes `shell` complete the tool's commands, all spellings of their options, known values,
/// and paths. Its fixed text is in the folder completion/. `toolOptions` are all options in front of the
/// command. The names of the tool, its commands and options must consist of letters, digits, "-" and "_".
[[nodiscard]] std::string completionScript(const Tool& tool, std::span<const BoundProperty> toolOptions,
                                           Shell shell);

} // namespace Orvex
