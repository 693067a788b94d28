#pragma once

#include "Foundation/Async.h"
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
    std::vector<BoundProperty> options = {};
    /// Called when the whole command line is understood, before the subcommand runs.
    std::function<void()> prepare = {};
    /// Runs the subcommand and throws its exception. A program with an event loop of its own runs it on that.
    std::function<void(Async<void> work)> runToCompletion = Orvex::runToCompletion<void>;
    /// What the tool's manual page says besides.
    ManualText manual = {};
    /// The day of this version's release, as in "November 21, 2026", for manual pages.
    std::string released = {};
};

/// Runs the subcommand that `words`, the command line without the program's name, ask for, or prints what
/// else they ask for: help, the version, a completion script, a manual page. Errors are printed to standard
/// error; a usage error is found before anything is prepared or run.
///
/// It also settles the process: a standard stream that is closed becomes the null device, a reader that
/// leaves (SIGPIPE) ends the process, a file that would exceed a limit of sizes (SIGXFSZ) is an error of its
/// writer, and the umask is 077, so that files are made for the user alone.
[[nodiscard]] ExitStatus run(const Tool& tool, std::span<const std::string_view> words);

} // namespace Orvex
