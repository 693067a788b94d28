#include "Orvex/arguments/Tool.h"

#include "Foundation/ConnectionString.h"
#include "Foundation/QuotedText.h"
#include "Orvex/arguments/CompletionScript.h"
#include "Orvex/arguments/Help.h"
#include "Orvex/arguments/Invocation.h"
#include "Orvex/arguments/ManualPage.h"
#include "Orvex/arguments/Parser.h"
#include "Orvex/arguments/ProcessSetup.h"
#include "Orvex/arguments/Wording.h"
#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
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

/// Prints the fault, the usage and a hint at help; wrapped on a terminal only, so that logs can be searched
/// by line.
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

/// The options in front of the command, the host's and the tool's own, and the run that they ask for.
class ToolInvocation {
  public:
    ToolInvocation(const Tool& tool, Words words) : tool_(tool), words_(words), options_(tool.options) {
        flags_.help = helpFlag(tool.options);
        for (const BoundProperty& bound : boundProperties(flags_)) {
            options_.push_back(bound);
        }
        checkSpellings();
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
    /// Commands may not have the options --help and --version themselves, but may have -h.
    void checkSpellings() {
        checkSpellingsDiffer(tool_.name, options_);
        Flag help{{customLong("help")}, ""};
        for (const SubcommandType& type : tool_.subcommands) {
            const std::unique_ptr<Subcommand> subcommand = type.make();
            std::vector<BoundProperty> options = subcommand->properties();
            options.push_back({.name = "help", .property = &help});
            options.push_back({.name = "version", .property = &flags_.version});
            checkSpellingsDiffer(type.name, options);
        }
    }

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

    /// The command to describe; null for the tool itself.
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
    setUpProcess();
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
