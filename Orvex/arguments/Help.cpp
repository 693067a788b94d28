#include "Orvex/arguments/Help.h"

#include "Orvex/arguments/Parser.h"
#include "Orvex/arguments/Wording.h"
#include <algorithm>
#include <sys/ioctl.h>
#include <vector>

namespace Orvex {

namespace {

constexpr std::string_view otherOptions = "[options]";

/// The placeholder after a spelling, as in " <text>..." for a list; empty for a flag.
std::string placeholder(const Property& property) {
    if (property.valueCount() == ValueCount::none) {
        return "";
    }
    const bool severalAtOnce = property.valueCount() == ValueCount::upToNextOption;
    return " " + property.syntax().placeholder + (severalAtOnce ? "..." : "");
}

/// Appends the options with a spelling, wrapped to `width` columns.
void appendOptions(std::string& out, std::span<const BoundProperty> properties, std::size_t width) {
    constexpr std::size_t margin = 2;
    constexpr std::size_t wideIndent = 30;
    constexpr std::size_t narrowIndent = 6;
    constexpr std::size_t narrowTerminal = 70;
    const std::size_t indent = width < narrowTerminal ? narrowIndent : wideIndent;
    for (const BoundProperty& bound : properties) {
        const std::vector<std::string> spellings = bound.spellings();
        if (spellings.empty()) {
            continue;
        }
        const std::string syntax = joined(spellings, ", ") + placeholder(*bound.property);
        out.append(margin, ' ');
        appendWrapped(out, syntax, margin, indent, width);
        const std::size_t column = margin + syntax.size();
        if (column + margin <= indent) {
            out.append(indent - column, ' ');
        } else {
            out += '\n';
            out.append(indent, ' ');
        }
        appendWrapped(out, helpWithRemarks(*bound.property), indent, indent, width);
        out += '\n';
    }
}

} // namespace

Flag helpFlag(std::span<const BoundProperty> others) {
    const Name shortName = singleDash("h");
    const Name longName = customLong("help");
    const std::vector<std::string> taken = allSpellings(others);
    const bool isTaken = std::find(taken.begin(), taken.end(), shortName.spelling("")) != taken.end();
    return {isTaken ? Names{longName} : Names{shortName, longName}, "Show this help."};
}

std::string helpWithRemarks(const Property& property) {
    const ValueSyntax syntax = property.syntax();
    std::vector<std::string> remarks;
    // Values without meanings are in the placeholder already.
    if (!syntax.meanings.empty()) {
        std::string values;
        for (std::size_t i = 0; i < syntax.values.size(); ++i) {
            values += (i > 0 ? ", " : "") + syntax.values[i] + " " + syntax.meanings[i];
        }
        remarks.push_back(std::move(values));
    }
    if (property.isRequired()) {
        remarks.emplace_back("required");
    }
    if (property.valueCount() == ValueCount::onePerOccurrence) {
        remarks.emplace_back("may be repeated");
    }
    if (const std::string text = property.defaultText().value_or(""); !text.empty()) {
        remarks.push_back("default: " + text);
    }
    std::string text(property.help());
    return remarks.empty() ? text : text + " (" + joined(remarks, "; ") + ")";
}

std::string usageLine(std::string_view invocation, std::span<const BoundProperty> properties) {
    std::string line = "Usage: " + std::string(invocation);
    bool hasOthers = false;
    for (const BoundProperty& bound : properties) {
        if (bound.property->isRequired()) {
            line += " " + bound.spellings().front() + placeholder(*bound.property);
        } else {
            hasOthers = true;
        }
    }
    if (hasOthers) {
        line += ' ';
        line += otherOptions;
    }
    return line;
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

std::size_t terminalWidth(int descriptor) {
    constexpr std::size_t usualWidth = 80;
    constexpr std::size_t narrowestWidth = 40;
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return usualWidth;
    }
    return std::max<std::size_t>(size.ws_col, narrowestWidth);
}

} // namespace Orvex
