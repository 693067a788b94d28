#include "Orvex/TerminalTools.h"

#include "Foundation/FatalError.h"
#include "Foundation/RegularExpression.h"
#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace Orvex {

namespace {

constexpr std::string_view green = "\x1b[0;32m";
constexpr std::string_view red = "\x1b[0;31m";
constexpr std::string_view yellow = "\x1b[0;33m";
constexpr std::string_view reset = "\x1b[0;0m";

constexpr char escapeCharacter = '\x1b';

/// A two-character escape sequence, or a control sequence with its parameters (ECMA-48, section 5).
constexpr std::string_view escapePattern = "\x1b(?:[@-Z\\-_]|\\[[0-?]*[ -/]*[@-~])";

/// A fixed name in crash reports: it stays when lines of this file move.
constexpr std::string_view placeOfPatternFault = "Orvex/TerminalTools:38";

std::string colored(std::string_view color, std::string_view label) {
    std::string text;
    text.reserve(color.size() + label.size() + reset.size());
    return text.append(color).append(label).append(reset);
}

std::string strippingEscapes(std::string_view text) {
    try {
        RegularExpression escape(escapePattern, RegularExpression::CaseSensitivity::insensitive);
        const std::size_t last = text.rfind(escapeCharacter);
        if (last == std::string_view::npos) {
            return std::string(text);
        }
        // Characters after the line of the last escape cannot matter: an escape does not cross lines.
        // Counting all characters of a long transcript would take seconds.
        const std::size_t end = std::min(text.find('\n', last), text.size());
        return escape.removingMatches(text, characterCount(text, end));
    } catch (const std::invalid_argument& error) {
        fatalError(placeOfPatternFault, error.what());
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

} // namespace Orvex
