#include "Orvex/Prompts.h"

#include "Foundation/CharacterSets.h"
#include "Foundation/LetterCase.h"
#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include "Foundation/SystemCalls.h"
#include "Foundation/UTF8.h"
#include "Orvex/TerminalTools.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Orvex {

namespace {

[[noreturn]] void failToRead(int error) {
    const std::string line =
        onOneLine(program_invocation_short_name) +
        ": cannot read an answer from standard input: " + std::generic_category().message(error) +
        "; answer in a terminal or through a pipe\n";
    std::fputs(line.c_str(), stderr);
    std::exit(EXIT_FAILURE);
}

/// Blocks until there is a byte. No value at the end of input.
std::optional<char> nextByteOfInput() {
    while (true) {
        char byte = 0;
        const ssize_t count = uninterrupted([&] { return read(STDIN_FILENO, &byte, 1); });
        if (count >= 0) {
            return count > 0 ? std::optional(byte) : std::nullopt;
        }
        pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
        if (errno != EAGAIN || uninterrupted([&] { return poll(&input, 1, -1); }) < 0) {
            failToRead(errno);
        }
    }
}

/// Removes white space at both ends, and byte order marks, which some programs put before a text.
std::string_view trimmed(std::string_view text) {
    constexpr char32_t byteOrderMark = 0xFEFF;
    std::size_t begin = text.size();
    std::size_t end = begin;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const std::optional<char32_t> c = nextCharacter(text, position);
        if (!c || (!isWhiteSpace(*c) && c != byteOrderMark)) {
            begin = std::min(begin, start);
            end = position;
        }
    }
    return text.substr(begin, end - begin);
}

} // namespace

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

std::vector<std::int64_t> numbersIn(std::string_view line) {
    std::vector<std::int64_t> numbers;
    for (std::size_t start = 0; start <= line.size();) {
        const std::size_t end = std::min(line.find(',', start), line.size());
        if (const auto number = parseNumber<std::int64_t>(trimmed(line.substr(start, end - start)))) {
            numbers.push_back(*number);
        }
        start = end + 1;
    }
    return numbers;
}

std::vector<std::int64_t> askForNumbers(std::string_view prompt, bool noColor) {
    printLine(prompt, noColor);
    return numbersIn(readLine().value_or(""));
}

bool askYesNo(std::string_view prompt, bool noColor) {
    constexpr std::array<std::string_view, 4> noes = {"false", "no", "0", "n"};
    constexpr std::array<std::string_view, 4> yeses = {"true", "yes", "1", "y"};
    while (true) {
        printLine(prompt, noColor);
        const std::optional<std::string> line = readLine();
        if (!line) {
            continue;
        }
        const std::string answer = lowerCased(*line);
        if (std::find(noes.begin(), noes.end(), answer) != noes.end()) {
            return false;
        }
        if (std::find(yeses.begin(), yeses.end(), answer) != yeses.end()) {
            return true;
        }
    }
}

} // namespace Orvex
