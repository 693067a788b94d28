#include "Orvex/arguments/ManualPage.h"

#include "Foundation/LetterCase.h"
#include "Orvex/arguments/Help.h"
#include "Orvex/arguments/Invocation.h"
#include "Orvex/arguments/Wording.h"
#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

namespace Orvex {

namespace {

using Options = std::span<const BoundProperty>;

/// Escapes text for roff: each character shows as it is (groff_char(7)), and a line cannot be a request.
std::string escaped(std::string_view text) {
    std::string input;
    for (const char c : text) {
        switch (c) {
        case '\\':
            input += "\\e";
            break;
        case '\'':
            input += "\\(aq";
            break;
        case '`':
            input += "\\(ga";
            break;
        case '^':
            input += "\\(ha";
            break;
        case '~':
            input += "\\(ti";
            break;
        case '-':
            input += "\\-";
            break;
        case '.':
            input += input.empty() || input.back() == ' ' || input.back() == '\n' ? "\\&." : ".";
            break;
        default:
            input += c;
        }
    }
    return input;
}

/// The size of the text's first sentence, with its full stop.
std::size_t sentenceSize(std::string_view text) {
    constexpr std::string_view stop = ". ";
    std::size_t found = text.find(stop);
    while (found != std::string_view::npos &&
           !(found + stop.size() < text.size() && isUpperCase(text[found + stop.size()]))) {
        found = text.find(stop, found + 1);
    }
    return found == std::string_view::npos ? text.size() : found + 1;
}

/// A paragraph as lines of input. Each sentence begins a line, because roff puts wider space after a full
/// stop at the end of a line. Full stops within a sentence belong to abbreviations and are escaped.
std::string filled(std::string_view paragraph) {
    constexpr std::size_t longestLine = 79;
    std::string lines;
    while (!paragraph.empty()) {
        const std::size_t size = sentenceSize(paragraph);
        const std::string sentence = escaped(paragraph.substr(0, size));
        appendWrapped(lines, replacing(sentence, ". ", ".\\& "), 0, 0, longestLine);
        lines += '\n';
        paragraph.remove_prefix(std::min(size + 1, paragraph.size()));
    }
    return lines;
}

/// The paragraphs and literal lines of a manual text.
std::string body(const Tool& tool, std::string_view manualText) {
    constexpr std::string_view literalMargin = "    ";
    const std::string text = replacing(manualText, "{tool}", tool.name);
    std::string lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find("\n\n", start), text.size());
        std::string block = text.substr(start, end - start);
        if (block.starts_with(literalMargin)) {
            block = replacing("\n" + block, "\n" + std::string(literalMargin), "\n");
            lines += ".Bd -literal -offset indent" + escaped(block) + "\n.Ed\n";
        } else {
            lines += (start > 0 ? ".Pp\n" : "") + filled(replacing(block, "\n", " "));
        }
        start = end + 2;
    }
    return lines;
}

std::string section(std::string_view title, const std::string& content) {
    return content.empty() ? "" : ".Sh " + std::string(title) + "\n" + content;
}

std::string start(const Tool& tool, const std::string& page, std::string_view summary) {
    std::string title = page;
    std::transform(title.begin(), title.end(), title.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const std::string released = tool.released.empty() ? "$Mdocdate$" : tool.released;
    return ".Dd " + released + "\n.Dt " + title + " 1\n.Os\n" +
           section("NAME", ".Nm " + page + "\n.Nd " + escaped(summary) + "\n");
}

/// " Ar name ..." for the value of an option; empty for a flag.
std::string argument(const Property& property) {
    if (property.valueCount() == ValueCount::none) {
        return "";
    }
    const std::string name = replacing(replacing(property.syntax().placeholder, "<", ""), ">", "");
    const bool isList = property.valueCount() == ValueCount::upToNextOption;
    return " Ar " + escaped(name) + (isList ? " ..." : "");
}

std::string flag(std::string_view spelling) {
    return "Fl " + escaped(spelling.substr(1));
}

/// The options for the synopsis, each by its first spelling. Optional ones are in brackets.
std::string synopsis(Options options) {
    std::string lines;
    for (const BoundProperty& bound : options) {
        if (const auto spellings = bound.spellings(); !spellings.empty()) {
            lines += (bound.property->isRequired() ? "." : ".Op ") + flag(spellings.front()) +
                     argument(*bound.property) + "\n";
        }
    }
    return lines;
}

std::string optionList(Options options) {
    std::string lines = ".Bl -tag -width Ds\n";
    for (const BoundProperty& bound : options) {
        std::vector<std::string> flags;
        for (const std::string& spelling : bound.spellings()) {
            flags.push_back(flag(spelling));
        }
        if (!flags.empty()) {
            lines += ".It " + joined(flags, " , ") + argument(*bound.property) + "\n" +
                     filled(helpWithRemarks(*bound.property));
        }
    }
    return lines + ".El\n";
}

constexpr std::string_view exitStatuses = R"(.Bl -tag -width Ds
.It 0
Done, or help was printed.
.It 1
An error ended the command.
Standard error tells the reason.
.It 64
The command line is invalid.
Nothing was done.
.It 130
Interrupted from the keyboard.
.It 134
Ended abnormally.
Standard error tells the reason.
.It 141
The reader of the output has left.
.El
)";

std::string_view given(std::string_view text, std::string_view otherwise) {
    return text.empty() ? otherwise : text;
}

std::string summaryOf(const Tool& tool, const SubcommandType& type) {
    return type.manual.summary.empty() ? "a command of " + tool.name : std::string(type.manual.summary);
}

std::string reference(const std::string& page) {
    return ".Xr " + page + " 1";
}

} // namespace

std::string toolManualPage(const Tool& tool, std::span<const BoundProperty> options) {
    std::string commands = ".Bl -tag -width Ds\n";
    std::vector<std::string> pages;
    for (const SubcommandType& type : tool.subcommands) {
        commands += ".It Cm " + escaped(type.name) + "\n" + filled(summaryOf(tool, type));
        pages.push_back(reference(tool.name + "-" + type.name));
    }
    commands += ".It Cm " + std::string(helpCommand) + " Op Ar command\nshow the help of a command, or of " +
                escaped(tool.name) + "\n";
    std::sort(pages.begin(), pages.end());
    std::string_view summary = given(tool.manual.summary, tool.summary);
    summary.remove_suffix(summary.ends_with('.') ? 1 : 0);
    return start(tool, tool.name, summary) +
           section("SYNOPSIS", ".Nm\n.Op Ar options\n.Ar command\n.Op Ar options of the command\n") +
           section("DESCRIPTION", body(tool, given(tool.manual.description, tool.summary))) +
           section("COMMANDS", commands + ".El\n") +
           section("OPTIONS", "These are given in front of the command.\n" + optionList(options)) +
           section("EXIT STATUS", std::string(exitStatuses)) +
           section("EXAMPLES", body(tool, tool.manual.examples)) +
           section("SEE ALSO", joined(pages, " ,\n") + "\n");
}

std::string commandManualPage(const Tool& tool, const SubcommandType& type) {
    const Invocation invocation(tool, type);
    return start(tool, tool.name + "-" + type.name, summaryOf(tool, type)) +
           section("SYNOPSIS", ".Nm " + escaped(tool.name) + " " + escaped(type.name) + "\n" +
                                   synopsis(invocation.options())) +
           section("DESCRIPTION", body(tool, type.manual.description)) +
           section("OPTIONS", optionList(invocation.options())) +
           section("EXIT STATUS", body(tool, type.manual.exitStatus) + std::string(exitStatuses)) +
           section("EXAMPLES", body(tool, type.manual.examples)) +
           section("SEE ALSO", reference(tool.name) + "\n");
}

} // namespace Orvex
