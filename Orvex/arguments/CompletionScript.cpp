#include "Orvex/arguments/CompletionScript.h"

#include "Orvex/arguments/Help.h"
#include "Orvex/arguments/Invocation.h"
#include "Orvex/arguments/Parser.h"
#include "Orvex/arguments/Wording.h"
#include <vector>

namespace Orvex {

namespace {

using Options = std::span<const BoundProperty>;

/// Calls `action` with the options in front of the command and an empty name, then with each command's name,
/// summary and options.
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

/// `text` as one word of a shell that has single quotes.
std::string quoted(std::string_view text, Shell shell) {
    const bool isFish = shell == Shell::fish;
    std::string word(text);
    if (isFish) {
        word = replacing(word, "\\", "\\\\");
    }
    return "'" + replacing(word, "'", isFish ? "\\'" : "'\\''") + "'";
}

/// The fixed text of a script: "{tool}" stands for the tool's name, "{id}" for the same as a part of a
/// function's name.
std::string filledIn(std::string_view text, const Tool& tool) {
    return replacing(replacing(text, "{tool}", tool.name), "{id}", replacing(tool.name, "-", "_"));
}

// In bash a function is told the words so far and answers with candidates. It shows no descriptions.

constexpr std::string_view bashStart =
    R"(# Completion of {tool} in bash, made by: {tool} --generate-completion-script bash

# Sets what the option $2 of the command $1 takes (0 or 1 values, or a list: "*"), and which.
_{id}_option() {
    takes=0 values= path=
    case "$1 $2" in
)";

constexpr std::string_view bashMiddle = R"(    esac
}

# Sets the words that may stand next after the command $1, or in front of one.
_{id}_words() {
    case $1 in
)";

constexpr std::string_view bashEnd = R"(    esac
}

_{id}() {
    local -a words=()
    local piece word rest=$COMP_LINE current=$2 prefix=$2
    local command= takes=0 values= path= given= options= commands= candidates=
    # Readline breaks words at "=" and ":" too. Here they are whole again, the last one up to the cursor.
    if [[ ${COMP_WORDS[COMP_CWORD]} == [=:] ]]; then
        current=${COMP_WORDS[COMP_CWORD]} prefix=
    fi
    for piece in "${COMP_WORDS[@]:0:COMP_CWORD}" "$current"; do
        if [[ ${#words[@]} == 0 || $rest == [[:blank:]]* ]]; then
            words+=("$piece")
        else
            words[-1]+=$piece
        fi
        rest=${rest#"${rest%%[![:blank:]]*}"}
        rest=${rest#"$piece"}
    done
    current=${words[-1]}

    for word in "${words[@]:1:${#words[@]}-2}"; do
        if [[ $word == -* ]]; then
            _{id}_option "$command" "${word%%=*}"
            [[ $word == *=* ]] && given=yes || given=
        elif [[ $takes == 0 || ( $takes == 1 && -n $given ) ]]; then
            command=${command:+$command }$word
        else
            given=yes
        fi
    done
    if [[ $current == -*=* ]]; then
        _{id}_option "$command" "${current%%=*}"
        given=
    elif [[ $current == -* || ( $takes == 1 && -n $given ) ]]; then
        takes=0
    fi

    COMPREPLY=()
    if [[ ${words[-2]} == *[\<\>] || $current == *[\<\>]* || ( $takes != 0 && -n $path ) ]]; then
        compopt -o default
        return
    fi
    if [[ $takes == 0 || ( -n $given && -z $values ) ]]; then
        _{id}_words "$command"
        [[ -n $commands && $current != -* ]] && candidates=$commands || candidates=$options
    else
        candidates=$values
    fi
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$prefix")
}

complete -F _{id} {tool}
)";

std::string bashScript(const Tool& tool, Options toolOptions) {
    std::vector<std::string> commands;
    std::string optionCases;
    std::string wordCases;
    forEachCommand(tool, toolOptions, [&](const std::string& command, std::string_view, Options options) {
        if (!command.empty()) {
            commands.push_back(command);
            wordCases += "    " + command + ") options='" + joined(allSpellings(options), " ") + "' ;;\n";
        }
        for (const BoundProperty& bound : options) {
            std::vector<std::string> patterns;
            for (const std::string& spelling : bound.spellings()) {
                patterns.push_back("'" + command + " " + spelling + "'");
            }
            if (takesValue(bound) && !patterns.empty()) {
                const ValueSyntax syntax = bound.property->syntax();
                optionCases +=
                    "    " + joined(patterns, " | ") + ") takes=" + (takesList(bound) ? "'*'" : "1") +
                    (syntax.isPath ? " path=yes"
                                   : " values=" + quoted(joined(syntax.values, " "), Shell::bash)) +
                    " ;;\n";
            }
        }
    });
    const std::string names = joined(commands, " ");
    wordCases += "    help) commands='" + names + "' ;;\n";
    wordCases +=
        "    '') commands='" + names + " help' options='" + joined(allSpellings(toolOptions), " ") + "' ;;\n";
    return filledIn(bashStart, tool) + optionCases + filledIn(bashMiddle, tool) + wordCases +
           filledIn(bashEnd, tool);
}

// In zsh each option is declared to _arguments.

constexpr std::string_view zshStart = R"(#compdef {tool}
# Completion of {tool} in zsh, made by: {tool} --generate-completion-script zsh

_{id}() {
    local context state state_descr line
    local -A opt_args
    local -a commands=(
)";

constexpr std::string_view zshMiddle = R"(    )
    _arguments -C \
{options}        ':command:->command' \
        '*::argument:->arguments' && return
    case $state in
    command)
        commands+=('help:show the help of a command')
        _describe command commands
        ;;
    arguments)
        case $words[1] in
        help) ((CURRENT == 2)) && _describe command commands ;;
)";

constexpr std::string_view zshEnd = R"(        esac
        ;;
    esac
}

# Run when it was autoloaded by the first completion, declared when it was sourced.
if [[ $funcstack[1] == _{id} ]]; then
    _{id} "$@"
else
    compdef _{id} {tool}
fi
)";

/// What completes a value, for _arguments.
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

/// A specification for _arguments on each line, one for each spelling.
std::string zshOptions(Options options, const std::string& margin) {
    std::string specifications;
    for (const BoundProperty& bound : options) {
        const std::vector<std::string> spellings = bound.spellings();
        const ValueCount count = bound.property->valueCount();
        const bool mayRepeat = count == ValueCount::upToNextOption || count == ValueCount::onePerOccurrence;
        const std::string help = replacing(replacing(bound.property->help(), "[", "\\["), "]", "\\]");
        for (const std::string& spelling : spellings) {
            std::string specification = mayRepeat ? "*" : "(" + joined(spellings, " ") + ")";
            specification += spelling + (takesValue(bound) ? "=" : "") + "[" + help + "]";
            if (takesValue(bound)) {
                specification += ":value:" + zshAction(bound.property->syntax());
            }
            specifications += margin + quoted(specification, Shell::zsh) + " \\\n";
        }
    }
    return specifications;
}

/// What completes the words of a command. To _arguments an option has one value; the others of a list are
/// words like any.
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
    return filledIn(zshStart, tool) + commands +
           replacing(zshMiddle, "{options}", zshOptions(toolOptions, std::string(8, ' '))) + cases +
           filledIn(zshEnd, tool);
}

// In fish each candidate is declared with the condition under which it may come next.

constexpr std::string_view fishStart =
    R"(# Completion of {tool} in fish, made by: {tool} --generate-completion-script fish

# Prints the command that is given in front of the cursor; fails when there is none yet.
function __{id}_command
    set -l words (commandline -opc)
    set -e words[1]
    while set -q words[1]
        if contains -- $words[1] {options}
            set -e words[1]
        else if not string match -q -- '-*' $words[1]
            echo $words[1]
            return 0
        end
        set -e words[1]
    end
    return 1
end

function __{id}_runs
    set -l command (__{id}_command)
    and test $command = $argv[1]
end

# Whether the words in front of the cursor end with a value of one of these options.
function __{id}_lists
    set -l words (commandline -opc)
    string match -q -r -- '^-[^=]*$' $words[-1]
    and return 1
    contains -- (string replace -r '=.*' '' -- (string match -- '-*' $words)[-1]) $argv
end

complete -c {tool} -f
complete -c {tool} -n 'not __{id}_command' -a help -d 'show the help of a command'
)";

/// The candidates for a value: files, or the values that are known, with their meanings.
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

/// `start` is the declaration up to its condition.
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
    // To fish an option has one value; the others are words like any.
    if (takesList(bound)) {
        lines += start + quoted(condition + "; and " + lists + " " + joined(spellings, " "), Shell::fish) +
                 candidates + "\n";
    }
    return lines;
}

std::string fishScript(const Tool& tool, Options toolOptions) {
    const std::string start = "complete -c " + tool.name + " -n ";
    const std::string inFront = filledIn("not __{id}_command", tool);
    const std::string runs = filledIn("__{id}_runs ", tool);
    const std::string lists = filledIn("__{id}_lists", tool);
    std::vector<std::string> withValue;
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
    for (const BoundProperty& bound : toolOptions) {
        if (takesValue(bound)) {
            withValue.push_back(joined(bound.spellings(), " "));
        }
    }
    return replacing(filledIn(fishStart, tool), "{options}", joined(withValue, " ")) + lines;
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
    return {.placeholder = "<" + joined(shells, "|") + ">",
            .expected = alternatives(shells),
            .values = shells,
            .meanings = {}};
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
