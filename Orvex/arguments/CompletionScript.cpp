#include "Orvex/arguments/CompletionScript.h"

#include "CompletionTemplates.h"
#include "Orvex/arguments/Help.h"
#include "Orvex/arguments/Invocation.h"
#include "Orvex/arguments/Parser.h"
#include "Orvex/arguments/Wording.h"
#include <utility>
#include <vector>

namespace Orvex {

namespace {

using Options = std::span<const BoundProperty>;

/// Calls `action(name, summary, options)` for the options in front of the command, with an empty name, and
/// then for each command.
template <class Action>
void forEachCommand(const Tool& tool, Options toolOptions, Action action) {
    action("", "", toolOptions);
    for (const SubcommandType& type : tool.subcommands) {
        action(type.name, type.manual.summary, Options(Invocation(tool, type).options()));
    }
}

bool takesValue(const BoundProperty& bound) {
    return bound.property->valueCount() != ValueCount::none;
}

bool takesList(const BoundProperty& bound) {
    return bound.property->valueCount() == ValueCount::upToNextOption;
}

/// `text` in single quotes, as one word of the shell.
std::string quoted(std::string_view text, Shell shell) {
    const bool isFish = shell == Shell::fish;
    std::string word(text);
    if (isFish) {
        word = replacing(word, "\\", "\\\\");
    }
    return "'" + replacing(word, "'", isFish ? "\\'" : "'\\''") + "'";
}

/// Fills in the tool's name, and its name in the form that function names take.
std::string named(std::string_view text, const Tool& tool) {
    return replacing(replacing(text, "@tool@", tool.name), "@id@", replacing(tool.name, "-", "_"));
}

/// Replaces the line of `text` that contains the placeholder.
std::string withLines(std::string text, std::string_view placeholder, std::string_view lines) {
    const std::size_t found = text.find(placeholder);
    const std::size_t start = text.rfind('\n', found) + 1;
    return text.replace(start, text.find('\n', found) + 1 - start, lines);
}

/// A bash case that says how many values an option takes, and which; empty for a flag.
std::string bashOptionCase(const std::string& command, const BoundProperty& bound) {
    std::vector<std::string> patterns;
    for (const std::string& spelling : bound.spellings()) {
        patterns.push_back("'" + command + " " + spelling + "'");
    }
    if (!takesValue(bound) || patterns.empty()) {
        return "";
    }
    const ValueSyntax syntax = bound.property->syntax();
    return "    " + joined(patterns, " | ") + ") takes=" + (takesList(bound) ? "'*'" : "1") +
           (syntax.isPath ? " path=yes" : " values=" + quoted(joined(syntax.values, " "), Shell::bash)) +
           " ;;\n";
}

/// Bash calls a function with the words so far and reads the candidates. It shows no descriptions.
std::string bashScript(const Tool& tool, Options toolOptions) {
    std::vector<std::string> commands;
    std::string optionCases;
    std::string wordCases;
    forEachCommand(tool, toolOptions, [&](const std::string& command, std::string_view, Options options) {
        for (const BoundProperty& bound : options) {
            optionCases += bashOptionCase(command, bound);
        }
        if (!command.empty()) {
            commands.push_back(command);
            wordCases += "    " + command + ") options='" + joined(allSpellings(options), " ") + "' ;;\n";
        }
    });
    const std::string names = joined(commands, " ");
    wordCases += "    help) commands='" + names + "' ;;\n";
    wordCases +=
        "    '') commands='" + names + " help' options='" + joined(allSpellings(toolOptions), " ") + "' ;;\n";
    return withLines(withLines(named(bashTemplate, tool), "@option_cases@", optionCases), "@word_cases@",
                     wordCases);
}

/// How zsh's _arguments completes a value.
std::string zshAction(const ValueSyntax& syntax) {
    if (syntax.isPath) {
        return "_files";
    }
    if (syntax.meanings.empty()) {
        return syntax.values.empty() ? " " : "(" + joined(syntax.values, " ") + ")";
    }
    std::string action = "((";
    for (std::size_t i = 0; i < syntax.values.size(); ++i) {
        action += (i > 0 ? " " : "") + syntax.values[i] + "\\:" + syntax.meanings[i];
    }
    return action + "))";
}

/// Declarations for zsh's _arguments, a line for each spelling.
std::string zshOptions(Options options, const std::string& margin) {
    std::string declarations;
    for (const BoundProperty& bound : options) {
        const std::vector<std::string> spellings = bound.spellings();
        const ValueCount count = bound.property->valueCount();
        const bool mayRepeat = count == ValueCount::upToNextOption || count == ValueCount::onePerOccurrence;
        const std::string help = replacing(replacing(bound.property->help(), "[", "\\["), "]", "\\]");
        for (const std::string& spelling : spellings) {
            std::string declaration = mayRepeat ? "*" : "(" + joined(spellings, " ") + ")";
            declaration += spelling + (takesValue(bound) ? "=" : "") + "[" + help + "]";
            if (takesValue(bound)) {
                declaration += ":value:" + zshAction(bound.property->syntax());
            }
            declarations += margin + quoted(declaration, Shell::zsh) + " \\\n";
        }
    }
    return declarations;
}

/// A zsh case that completes the words of a command. For _arguments, an option has one value: further values
/// of a list are ordinary words, completed by the last option.
std::string zshCommand(const std::string& command, Options options) {
    std::string lists;
    for (const BoundProperty& bound : options) {
        if (takesList(bound)) {
            const std::string values = "value:value:" + zshAction(bound.property->syntax());
            lists += "            " + joined(bound.spellings(), "|") + ") _alternative " +
                     quoted(values, Shell::zsh) + " ;;\n";
        }
    }
    const std::string more = lists.empty() ? "" : "                '*: :->more' \\\n";
    return "        " + command + ")\n            _arguments -C \\\n" +
           zshOptions(options, std::string(16, ' ')) + more + "                && return\n" +
           (lists.empty() ? ""
                          : "            case ${${${words[1,CURRENT-1]}[(R)-*]}%%=*} in\n" + lists +
                                "            esac\n") +
           "            ;;\n";
}

/// Zsh gets a call of its _arguments for the tool, and one for each command.
std::string zshScript(const Tool& tool, Options toolOptions) {
    std::string commands;
    std::string cases;
    forEachCommand(
        tool, toolOptions, [&](const std::string& command, std::string_view summary, Options options) {
            if (!command.empty()) {
                commands += "        " + quoted(command + ":" + std::string(summary), Shell::zsh) + "\n";
                cases += zshCommand(command, options);
            }
        });
    std::string script = withLines(named(zshTemplate, tool), "@commands@", commands);
    script = withLines(std::move(script), "@options@", zshOptions(toolOptions, std::string(8, ' ')));
    return withLines(std::move(script), "@command_cases@", cases);
}

/// The part of a fish declaration that completes a value: files, or the known values with their meanings.
std::string fishCandidates(const ValueSyntax& syntax) {
    if (syntax.isPath) {
        return " -F";
    }
    std::string values;
    for (std::size_t i = 0; i < syntax.values.size(); ++i) {
        values += (i > 0 ? " " : "") + syntax.values[i];
        if (!syntax.meanings.empty()) {
            values += "\\t" + syntax.meanings[i];
        }
    }
    return values.empty() ? " -f" : " -f -a " + quoted(values, Shell::fish);
}

/// Declares an option in fish. `start` is the declaration up to its condition; `lists` is the function that
/// tells if a further value of a list is being typed.
std::string fishOption(const std::string& start, const std::string& condition, const std::string& lists,
                       const BoundProperty& bound) {
    const std::vector<std::string> spellings = bound.spellings();
    const std::string candidates = fishCandidates(bound.property->syntax());
    std::string names;
    for (const std::string& spelling : spellings) {
        const bool hasTwoDashes = spelling.starts_with("--");
        names += hasTwoDashes ? " -l " : spelling.size() == 2 ? " -s " : " -o ";
        names += spelling.substr(hasTwoDashes ? 2 : 1);
    }
    std::string lines = start + quoted(condition, Shell::fish) + names +
                        (takesValue(bound) ? " -r" + candidates : "") + " -d " +
                        quoted(bound.property->help(), Shell::fish) + "\n";
    // For fish, an option has one value: further values are ordinary words.
    if (takesList(bound)) {
        lines += start + quoted(condition + "; and " + lists + " " + joined(spellings, " "), Shell::fish) +
                 candidates + "\n";
    }
    return lines;
}

/// Fish gets a declaration for each candidate, with the condition under which it can come next.
std::string fishScript(const Tool& tool, Options toolOptions) {
    const std::string start = "complete -c " + tool.name + " -n ";
    const std::string inFront = named("not __@id@_command", tool);
    const std::string runs = named("__@id@_runs ", tool);
    const std::string lists = named("__@id@_lists", tool);
    std::string lines;
    forEachCommand(
        tool, toolOptions, [&](const std::string& command, std::string_view summary, Options options) {
            if (!command.empty()) {
                for (const std::string& place : {inFront, runs + std::string(helpCommand)}) {
                    lines += start + quoted(place, Shell::fish) + " -a " + command + " -d " +
                             quoted(summary, Shell::fish) + "\n";
                }
            }
            for (const BoundProperty& bound : options) {
                if (!bound.spellings().empty()) {
                    lines += fishOption(start, command.empty() ? inFront : runs + command, lists, bound);
                }
            }
        });
    std::vector<std::string> withValue;
    for (const BoundProperty& bound : toolOptions) {
        if (takesValue(bound)) {
            withValue.push_back(joined(bound.spellings(), " "));
        }
    }
    const std::string script =
        replacing(named(fishTemplate, tool), "@options_with_value@", joined(withValue, " "));
    return withLines(script, "@candidates@", lines);
}

} // namespace

std::optional<Shell> ArgumentConversion<Shell>::parse(std::string_view word) {
    for (const Shell shell : allCases<Shell>()) {
        if (caseName(shell) == word) {
            return shell;
        }
    }
    return std::nullopt;
}

ValueSyntax ArgumentConversion<Shell>::syntax() {
    std::vector<std::string> shells;
    for (const Shell shell : allCases<Shell>()) {
        shells.push_back(text(shell));
    }
    return {
        .placeholder = "<" + joined(shells, "|") + ">", .expected = alternatives(shells), .values = shells};
}

std::string completionScript(const Tool& tool, std::span<const BoundProperty> toolOptions, Shell shell) {
    switch (shell) {
    case Shell::bash:
        return bashScript(tool, toolOptions);
    case Shell::zsh:
        return zshScript(tool, toolOptions);
    case Shell::fish:
        break;
    }
    return fishScript(tool, toolOptions);
}

} // namespace Orvex
