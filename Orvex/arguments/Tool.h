#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// The exit statuses of a tool.
enum class ExitStatus : int {
    success = 0,
    /// An error left the subcommand's `run()`.
    failure = 1,
    /// The command line could not be understood (`EX_USAGE` of sysexits.h).
    usage = 64
};

/// A command-line tool: what its host decides.
struct Tool {
    std::string name;
    std::string version;
    /// What the tool is for, in one sentence.
    std::string summary;
    std::vector<SubcommandType> subcommands;
    /// The host's own options, given in front of the subcommand.
    std::vector<BoundProperty> options;
    /// Called when the whole command line is understood, before the subcommand runs.
    std::function<void()> prepare;
};

/// Runs the subcommand that `words`, the command line without the program's name, ask for, or shows help or
/// the version. Errors are printed to standard error; a usage error is found before anything is prepared or
/// run.
[[nodiscard]] ExitStatus run(const Tool& tool, std::span<const std::string_view> words);

} // namespace Orvex
