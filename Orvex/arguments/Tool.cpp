#include "Orvex/arguments/Tool.h"

#include "Foundation/QuotedText.h"
#include "Orvex/arguments/Help.h"
#include "Orvex/arguments/Parser.h"
#include "Orvex/arguments/Wording.h"
#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>

namespace Orvex {

namespace {

constexpr std::string_view helpCommand = "help";
constexpr std::string_view helpText = "Show this help.";

struct ToolFlags {
    Flag help{{singleDash("h"), customLong("help")}, helpText};
    Flag version{{customLong("version")}, "Show the version."};

    ORVEX_CODING_KEYS(ToolFlags, help, version)
};
static_assert(ParsableArguments<ToolFlags>);

void print(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
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

/// A subcommand about to be given its options, and the help flag that goes with them.
class Invocation {
  public:
    Invocation(const Tool& tool, const SubcommandType& type)
        : words_(tool.name + " " + type.name),
          subcommand_(type.make()),
          properties_(subcommand_->properties()),
          help_(helpNames(properties_), helpText),
          boundHelp_{.name = "help", .property = &help_} {}

    [[nodiscard]] bool asksForHelp(Words words) const { return isGiven(boundHelp_, words); }

    [[nodiscard]] std::string help(std::size_t width) const {
        std::vector<BoundProperty> all = properties_;
        all.push_back(boundHelp_);
        std::string text;
        appendWrapped(text, usage(), 0, 4, width);
        text += "\n\nOptions:\n";
        appendOptions(text, all, width);
        return text;
    }

    [[nodiscard]] std::string usage() const { return usageLine(words_, properties_); }

    [[nodiscard]] std::string whereHelpIs() const { return "'" + words_ + " --help' shows all options."; }

    void parse(Words words) { parseArguments(properties_, words); }

    Async<void> run() { return subcommand_->run(); }

  private:
    /// A command that spells an option of its own "-h" keeps it.
    static Names helpNames(const std::vector<BoundProperty>& properties) {
        const bool isTaken =
            std::any_of(properties.begin(), properties.end(), [](const BoundProperty& bound) {
                const auto spellings = bound.spellings();
                return std::find(spellings.begin(), spellings.end(), "-h") != spellings.end();
            });
        return isTaken ? Names{customLong("help")} : Names{singleDash("h"), customLong("help")};
    }

    std::string words_;
    std::unique_ptr<Subcommand> subcommand_;
    std::vector<BoundProperty> properties_;
    Flag help_;
    BoundProperty boundHelp_;
};

const SubcommandType& subcommandNamed(const Tool& tool, std::string_view name) {
    std::vector<std::string> names;
    for (const SubcommandType& type : tool.subcommands) {
        if (type.name == name) {
            return type;
        }
        names.push_back(type.name);
    }
    const std::size_t near = nearest(name, names);
    throw UsageError(
        "unknown command " + inQuotes(name) +
        (near < names.size() ? ": did you mean " + names[near] + "?" : ": expected " + alternatives(names)));
}

ExitStatus reportUsageError(const Tool& tool, const UsageError& error, const std::string& usage,
                            const std::string& whereHelpIs) {
    print(stderr, tool.name + ": " + error.what() + "\n" + usage + "\n" + whereHelpIs + "\n");
    return ExitStatus::usage;
}

ExitStatus runSubcommand(const Tool& tool, const SubcommandType& type, Words words) {
    Invocation invocation(tool, type);
    if (invocation.asksForHelp(words)) {
        print(stdout, invocation.help(terminalWidth()));
        return ExitStatus::success;
    }
    try {
        invocation.parse(words);
    } catch (const UsageError& error) {
        return reportUsageError(tool, error, invocation.usage(), invocation.whereHelpIs());
    }
    if (tool.prepare) {
        tool.prepare();
    }
    runToCompletion(invocation.run());
    return ExitStatus::success;
}

/// The options in front of the subcommand: the host's, and those of every tool.
class ToolInvocation {
  public:
    ToolInvocation(const Tool& tool, Words words) : tool_(tool), words_(words), options_(tool.options) {
        for (const BoundProperty& bound : boundProperties(flags_)) {
            options_.push_back(bound);
        }
    }

    ExitStatus run() {
        const Words rest = words_.subspan(parse());
        if (flags_.help) {
            return showHelp({});
        }
        if (flags_.version) {
            print(stdout, tool_.name + " " + tool_.version + "\n");
            return ExitStatus::success;
        }
        if (rest.empty()) {
            return showHelp({});
        }
        if (rest.front() == helpCommand) {
            return showHelp(rest.subspan(1));
        }
        return runSubcommand(tool_, subcommandNamed(tool_, rest.front()), rest.subspan(1));
    }

  private:
    [[nodiscard]] bool asksForHelp(Words words) {
        return isGiven({.name = "help", .property = &flags_.help}, words);
    }

    std::size_t parse() {
        try {
            return parseOptions(options_, words_);
        } catch (const UsageError&) {
            if (!asksForHelp(words_)) {
                throw;
            }
            flags_.help = true;
            return words_.size();
        }
    }

    ExitStatus showHelp(Words topics) {
        const std::size_t width = terminalWidth();
        if (topics.empty() || topics.front() == helpCommand || asksForHelp(topics)) {
            print(stdout, toolHelp(tool_, options_, width));
            return ExitStatus::success;
        }
        if (topics.size() > 1) {
            throw UsageError("unexpected argument " + inQuotes(topics[1]) +
                             ": expected one command to help with");
        }
        print(stdout, Invocation(tool_, subcommandNamed(tool_, topics.front())).help(width));
        return ExitStatus::success;
    }

    const Tool& tool_;
    Words words_;
    ToolFlags flags_;
    std::vector<BoundProperty> options_;
};

} // namespace

ExitStatus run(const Tool& tool, std::span<const std::string_view> words) {
    try {
        return ToolInvocation(tool, words).run();
    } catch (const UsageError& error) {
        return reportUsageError(tool, error, toolUsage(tool),
                                "'" + tool.name + " --help' shows all commands.");
    } catch (const std::exception& error) {
        std::fflush(stdout);
        print(stderr, tool.name + ": " + onOneLine(error.what()) + "\n");
        return ExitStatus::failure;
    }
}

} // namespace Orvex
