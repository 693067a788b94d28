#include "Orvex/arguments/Help.h"

#include "Orvex/arguments/Wording.h"
#include <algorithm>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

namespace Orvex {

namespace {

constexpr std::string_view otherOptions = "[options]";

/// " <text>..." for a list, nothing for a flag.
std::string placeholder(const Property& property) {
    if (property.valueCount() == ValueCount::none) {
        return "";
    }
    const bool severalAtOnce = property.valueCount() == ValueCount::upToNextOption;
    return " " + property.syntax().placeholder + (severalAtOnce ? "..." : "");
}

/// What stands in brackets after the help text.
std::string remarks(const Property& property) {
    const ValueSyntax syntax = property.syntax();
    std::vector<std::string> remarks;
    if (!syntax.values.empty()) {
        std::string values = "values: " + joined(syntax.values, ", ");
        if (!syntax.meanings.empty()) {
            values += " for " + joined(syntax.meanings, ", ");
        }
        remarks.push_back(std::move(values));
    }
    if (property.isRequired()) {
        remarks.emplace_back("required");
    }
    if (property.valueCount() == ValueCount::onePerOccurrence) {
        remarks.emplace_back("may be repeated");
    }
    if (const auto text = property.defaultText()) {
        remarks.push_back("default: " + *text);
    }
    return remarks.empty() ? "" : "(" + joined(remarks, "; ") + ")";
}

} // namespace

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
        std::string text(bound.property->help());
        if (const std::string inBrackets = remarks(*bound.property); !inBrackets.empty()) {
            text += " " + inBrackets;
        }
        const std::size_t column = margin + syntax.size();
        if (column + margin <= indent) {
            out.append(indent - column, ' ');
        } else {
            out += '\n';
            out.append(indent, ' ');
        }
        appendWrapped(out, text, indent, indent, width);
        out += '\n';
    }
}

std::size_t terminalWidth() {
    constexpr std::size_t usualWidth = 80;
    constexpr std::size_t narrowestWidth = 40;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return usualWidth;
    }
    return std::max<std::size_t>(size.ws_col, narrowestWidth);
}

} // namespace Orvex
