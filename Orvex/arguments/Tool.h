#pragma once

#include "Foundation/Async.h"
#include "Orvex/arguments/ParsableArguments.h"
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Doxygen checks the members of a namespace only if it has a comment.

/// Everything that Orvex declares, except macros.
namespace Orvex {

/// The exit statuses that `run` returns. A shell also sees 128 plus the number of a signal that ended the
/// process: 130 after an interrupt, 134 after `fatalError`, 141 when the reader of the output has left.
enum class ExitStatus : int {
    /// Done, or help was asked for.
    success = 0,
    /// An error left the subcommand's `run()`.
    failure = 1,
    /// The command line could not be understood (`EX_USAGE` of sysexits.h).
    usage = 64
};

/// A command-line tool, as its host declares it.
struct Tool {
    /// The name of the program, in usage lines, errors, completion scripts and manual pages.
    std::string name;
    /// Printed by `--version`.
    std::string version;
    /// The tool's purpose in one sentence.
    std::string summary;
    /// The commands, in the order of the help screen: see `subcommandTypes`.
    std::vector<SubcommandType> subcommands;
    /// The host's own options, given in front of the command: see `boundProperties`. Their struct must
    /// outlive `run`.
    std::vector<BoundProperty> options = {};
    /// Called before the command runs, once the whole command line is valid. What it throws, `run` prints.
    std::function<void()> prepare = {};
    /// Runs the command and throws its exception. A program with an event loop of its own runs it on that.
    std::function<void(Async<void> work)> runToCompletion = Orvex::runToCompletion<void>;
    /// The prose of the tool's manual page.
    ManualText manual = {};
    /// The day of the release, as in "November 21, 2026", for manual pages.
    std::string released = {};
};

/// Runs the command that `words` name, the command line without the program's name, or prints help, the
/// version, a completion script or a manual page. Prints errors to standard error. Finds usage errors before
/// it calls `prepare`.
///
/// Sets up the process first: closed standard streams become the null device, SIGPIPE ends the process,
/// SIGXFSZ is ignored so that a file size limit is an error of the write, and umask 077 keeps other users out
/// of new files.
///
/// Two options with the same spelling in one place, or an option `--help` or `--version` besides the tool's
/// own, end the process by `fatalError`.
[[nodiscard]] ExitStatus run(const Tool& tool, std::span<const std::string_view> words);

} // namespace Orvex
