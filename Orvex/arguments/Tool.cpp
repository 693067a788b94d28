#include "Orvex/arguments/Tool.h"

#include "Foundation/ConnectionString.h"
#include "Foundation/QuotedText.h"
#include "Orvex/arguments/CompletionScript.h"
#include "Orvex/arguments/Help.h"
#include "Orvex/arguments/Invocation.h"
#include "Orvex/arguments/ManualPage.h"
#include "Orvex/arguments/Parser.h"
#include "Orvex/arguments/Wording.h"
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvex {

namespace {

struct ToolFlags {
    Flag help = helpFlag({});
    Flag version{{customLong("version")}, "Show the version."};
    Option<std::optional<Shell>> generateCompletionScript{
        std::nullopt, {derivedLong}, "Print a script that completes command lines in a shell."};
    Flag generateManualPage{
        {derivedLong},
        "Print the manual page, in the mdoc language, of the command that follows, or of the tool."};

    ORVEX_CODING_KEYS(ToolFlags, help, version, generateCompletionScript, generateManualPage)
};
static_assert(ParsableArguments<ToolFlags>);

void print(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
}

/// Opens the null device for each standard stream that is closed: a store opened in its place would be
/// written over by what is printed.
void openStandardStreams() {
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
}

/// Makes a limit of file sizes an error of the write that exceeds it, like a full disk.
void outliveSizeLimits() {
    std::signal(SIGXFSZ, SIG_IGN);
}

/// Undoes what a parent may have done to the signal that tells of a reader that has left.
void endWhenReaderLeaves() {
    sigset_t readerLeft;
    sigemptyset(&readerLeft);
    sigaddset(&readerLeft, SIGPIPE);
    sigprocmask(SIG_UNBLOCK, &readerLeft, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
}

/// Prints into files and pipes in large pieces.
void bufferStandardOutput() {
    static std::array<char, std::size_t{1} << 16U> buffer;
    // None, where a host has put a stream in memory in its place.
    const int output = fileno(stdout);
    if (output >= 0 && isatty(output) == 0) {
        std::setvbuf(stdout, buffer.data(), _IOFBF, buffer.size());
    }
}

std::string toolUsage(const Tool& tool) {
    return "Usage: " + tool.name + " [options] <command> [options of the command]";
}

std::string toolHelp(const Tool& tool, std::span<const BoundProperty> options, std::size_t width) {
    std::string text;
    appendWrapped(text, toolUsage(tool), 0, 4, width);
    text += "\n\n";
    appendWrapped(text, tool.summary, 0, 0, width);
    text += "\n\nCommands:\n";
    for (const SubcommandType& type : tool.subcommands) {
        text += "  " + type.name + "\n";
    }
    text += "\nOptions, in front of the command:\n";
    appendOptions(text, options, width);
    text += "\n";
    appendWrapped(text, "'" + tool.name + " help <command>' shows the options of a command.", 0, 0, width);
    return text + "\n";
}

std::string commandHelp(const Invocation& invocation, std::size_t width) {
    std::string text;
    appendWrapped(text, invocation.usage(), 0, 4, width);
    text += "\n\nOptions:\n";
    appendOptions(text, invocation.options(), width);
    return text;
}

const SubcommandType& subcommandNamed(const Tool& tool, std::string_view name) {
    std::vector<std::string> names;
    for (const SubcommandType& type : tool.subcommands) {
        if (type.name == name) {
            return type;
        }
        names.push_back(type.name);
    }
    const std::string choice = alternatives(names);
    names.emplace_back(helpCommand);
    const std::size_t near = nearest(name, names);
    throw UsageError("unknown command " + inQuotes(withoutSecrets(name)) +
                     (near < names.size() ? ": did you mean " + names[near] + "?" : ": expected " + choice));
}

/// The fault, the usage and where help is. In a file each is one line, to be looked for.
ExitStatus reportUsageError(const Tool& tool, const std::string& fault, const std::string& usage,
                            const std::string& whereHelpIs) {
    const std::size_t width = isatty(STDERR_FILENO) != 0 ? terminalWidth(STDERR_FILENO) : std::string::npos;
    std::string text;
    for (const std::string& line : {tool.name + ": " + fault, usage, whereHelpIs}) {
        appendWrapped(text, line, 0, 4, width);
        text += '\n';
    }
    print(stderr, text);
    return ExitStatus::usage;
}

/// The options in front of the subcommand, the host's and those of every tool, and what they ask for.
class ToolInvocation {
  public:
    ToolInvocation(const Tool& tool, Words words) : tool_(tool), words_(words), options_(tool.options) {
        flags_.help = helpFlag(tool.options);
        for (const BoundProperty& bound : boundProperties(flags_)) {
            options_.push_back(bound);
        }
    }

    ExitStatus run() {
        const Words rest = words_.subspan(parse());
        if (flags_.help) {
            return show(help());
        }
        if (flags_.version) {
            return show(tool_.name + " " + tool_.version + "\n");
        }
        if (flags_.generateCompletionScript->has_value()) {
            return show(completionScript(tool_, options_, **flags_.generateCompletionScript));
        }
        if (flags_.generateManualPage) {
            return show(manualPage(rest));
        }
        if (rest.empty()) {
            return show(help());
        }
        if (rest.front() == helpCommand) {
            return show(help(rest.subspan(1)));
        }
        return runSubcommand(subcommandNamed(tool_, rest.front()), rest.subspan(1));
    }

  private:
    static ExitStatus show(const std::string& text) {
        print(stdout, text);
        return ExitStatus::success;
    }

    [[nodiscard]] bool asksForHelp(Words words) {
        return isGiven({.name = "help", .property = &flags_.help}, words);
    }

    std::size_t parse() {
        const OptionsElsewhere ofCommands{
            .spellings = [this] { return spellingsOfCommands(); },
            .place = "after the command",
        };
        try {
            return parseOptions(options_, words_, ofCommands);
        } catch (const UsageError&) {
            if (!asksForHelp(words_)) {
                throw;
            }
            flags_.help = true;
            return words_.size();
        }
    }

    [[nodiscard]] std::vector<std::string> spellingsOfCommands() const {
        std::vector<std::string> all;
        for (const SubcommandType& type : tool_.subcommands) {
            const std::vector<std::string> spellings = allSpellings(type.make()->properties());
            all.insert(all.end(), spellings.begin(), spellings.end());
        }
        return all;
    }

    /// The one command that is to be described; absent for the tool itself.
    [[nodiscard]] const SubcommandType* topic(Words topics) {
        if (topics.empty() || topics.front() == helpCommand || asksForHelp(topics)) {
            return nullptr;
        }
        if (topics.size() > 1 || topics.front().starts_with('-')) {
            throw UsageError("unexpected argument " + inQuotes(withoutSecrets(topics.back())) +
                             ": expected one command");
        }
        return &subcommandNamed(tool_, topics.front());
    }

    [[nodiscard]] std::string help(Words topics = {}) {
        const SubcommandType* const type = topic(topics);
        const std::size_t width = terminalWidth(STDOUT_FILENO);
        return type != nullptr ? commandHelp(Invocation(tool_, *type), width)
                               : toolHelp(tool_, options_, width);
    }

    [[nodiscard]] std::string manualPage(Words topics) {
        const SubcommandType* const type = topic(topics);
        return type != nullptr ? commandManualPage(tool_, *type) : toolManualPage(tool_, options_);
    }

    ExitStatus runSubcommand(const SubcommandType& type, Words words) {
        Invocation invocation(tool_, type);
        if (invocation.asksForHelp(words)) {
            return show(commandHelp(invocation, terminalWidth(STDOUT_FILENO)));
        }
        const std::string whereHelpIs = "'" + invocation.words() + " --help' shows all options.";
        const OptionsElsewhere ofTool{
            .spellings = [this] { return allSpellings(options_); },
            .place = "in front of the command",
        };
        try {
            invocation.parse(words, ofTool);
        } catch (const UsageError& error) {
            return reportUsageError(tool_, error.what(), invocation.usage(), whereHelpIs);
        }
        if (tool_.prepare) {
            tool_.prepare();
        }
        tool_.runToCompletion(invocation.run());
        return ExitStatus::success;
    }

    const Tool& tool_;
    Words words_;
    ToolFlags flags_;
    std::vector<BoundProperty> options_;
};

} // namespace

ExitStatus run(const Tool& tool, std::span<const std::string_view> words) {
    openStandardStreams();
    endWhenReaderLeaves();
    outliveSizeLimits();
    // What is made is for the user alone from the first moment on, and for the user at all.
    umask(S_IRWXG | S_IRWXO);
    bufferStandardOutput();
    try {
        return ToolInvocation(tool, words).run();
    } catch (const UsageError& error) {
        return reportUsageError(tool, error.what(), toolUsage(tool),
                                "'" + tool.name + " --help' shows all commands.");
    } catch (const std::exception& error) {
        std::fflush(stdout);
        print(stderr, tool.name + ": " + onOneLine(error.what()) + "\n");
        return ExitStatus::failure;
    }
}

} // namespace Orvex
