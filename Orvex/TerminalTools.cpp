#include "Orvex/TerminalTools.h"

#include "Foundation/FatalError.h"
#include "Foundation/QuotedText.h"
#include "Foundation/RegularExpression.h"
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Orvex {

namespace {

constexpr std::string_view green = "\x1b[0;32m";
constexpr std::string_view red = "\x1b[0;31m";
constexpr std::string_view yellow = "\x1b[0;33m";
constexpr std::string_view reset = "\x1b[0;0m";

constexpr char escapeCharacter = '\x1b';

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
        const std::size_t last = text.rfind(escapeCharacter);
        if (last == std::string_view::npos) {
            return std::string(text);
        }
        // No escape goes beyond its line, so that it does not matter how many more characters there are:
        // counting those of a long transcript would take seconds.
        const std::size_t end = std::min(text.find('\n', last), text.size());
        return escape.removingMatches(text, characterCount(text, end));
    } catch (const std::invalid_argument& error) {
        fatalError("Orvex/TerminalTools:38", error.what());
    }
}

void writeLine(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

[[noreturn]] void failToRead(int error) {
    const std::string line =
        onOneLine(program_invocation_short_name) +
        ": cannot read an answer from standard input: " + std::generic_category().message(error) +
        "; answer in a terminal or through a pipe\n";
    std::fputs(line.c_str(), stderr);
    std::exit(EXIT_FAILURE);
}

/// Waits for it. No value at the end of input.
std::optional<char> nextByteOfInput() {
    while (true) {
        char byte = 0;
        const ssize_t count = read(STDIN_FILENO, &byte, 1);
        if (count >= 0) {
            return count > 0 ? std::optional(byte) : std::nullopt;
        }
        pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
        const bool isThere = errno == EAGAIN && poll(&input, 1, -1) > 0;
        if (!isThere && errno != EINTR) {
            failToRead(errno);
        }
    }
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
    while (const std::optional<char> byte = nextByteOfInput()) {
        if (*byte == '\n') {
            if (line.ends_with('\r')) {
                line.pop_back();
            }
            return line;
        }
        line += *byte;
    }
    return line.empty() ? std::nullopt : std::optional(std::move(line));
}

} // namespace Orvex
