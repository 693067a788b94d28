#include "Orvex/TerminalTools.h"

#include "Foundation/FatalError.h"
#include "Foundation/RegularExpression.h"
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace Orvex {

namespace {

constexpr std::string_view green = "\x1b[0;32m";
constexpr std::string_view red = "\x1b[0;31m";
constexpr std::string_view yellow = "\x1b[0;33m";
constexpr std::string_view reset = "\x1b[0;0m";

/// A two-character escape, or a control sequence with its parameters (ECMA-48).
constexpr std::string_view escapePattern = "\x1b(?:[@-Z\\-_]|\\[[0-?]*[ -/]*[@-~])";

std::string colored(std::string_view color, std::string_view label) {
    std::string text;
    text.reserve(color.size() + label.size() + reset.size());
    return text.append(color).append(label).append(reset);
}

std::string strippingEscapes(std::string_view text) {
    try {
        RegularExpression escape(escapePattern, RegularExpression::CaseSensitivity::insensitive);
        return escape.removingMatches(text, characterCount(text));
    } catch (const std::invalid_argument& error) {
        fatalError("Orvex/TerminalTools:38", error.what());
    }
}

void writeLine(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

} // namespace

std::string inGreen(std::string_view label) {
    return colored(green, label);
}

void appendInGreen(std::string& out, std::initializer_list<std::string_view> parts) {
    out += green;
    for (const std::string_view part : parts) {
        out += part;
    }
    out += reset;
}

std::string inRed(std::string_view label) {
    return colored(red, label);
}

std::string inYellow(std::string_view label) {
    return colored(yellow, label);
}

void prepareToPrint(bool noColor) {
    if (noColor) {
        static_cast<void>(strippingEscapes(""));
    }
}

void printLine(std::string_view text, bool noColor) {
    if (noColor) {
        writeLine(strippingEscapes(text));
    } else {
        writeLine(text);
    }
}

std::optional<std::string> readLine() {
    std::fflush(stdout);
    std::string line;
    for (int c = 0; (c = std::getc(stdin)) != '\n';) {
        if (c == EOF) {
            std::clearerr(stdin);
            return line.empty() ? std::nullopt : std::optional(std::move(line));
        }
        line += static_cast<char>(c);
    }
    return line;
}

} // namespace Orvex
