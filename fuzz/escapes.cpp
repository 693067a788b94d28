#include "Fuzzing.h"
#include "Orvex/TerminalTools.h"
#include <algorithm>

namespace Orvex::Fuzzing {

namespace {

std::string printed(std::string_view text, bool noColor) {
    const Capture capture(stdout);
    printLine(text, noColor);
    return capture.text();
}

bool isBetween(char c, char first, char last) {
    return c >= first && c <= last;
}

/// The size of the escape sequence at the start of an ASCII text; 0 if there is none.
std::size_t escapeSize(std::string_view text) {
    if (text.size() < 2 || text[0] != '\x1b') {
        return 0;
    }
    if (text[1] != '[') {
        const bool isLetter = isBetween(text[1], 'a', 'z') || isBetween(text[1], 'A', 'Z');
        return isLetter || text[1] == '@' || text[1] == '-' || text[1] == '_' ? 2 : 0;
    }
    std::size_t end = 2;
    while (end < text.size() && isBetween(text[end], '0', '?')) {
        ++end;
    }
    while (end < text.size() && isBetween(text[end], ' ', '/')) {
        ++end;
    }
    return end < text.size() && isBetween(text[end], '@', '~') ? end + 1 : 0;
}

std::string withoutEscapes(std::string_view text) {
    std::string kept;
    while (!text.empty()) {
        const std::size_t size = escapeSize(text);
        kept += text.substr(0, size == 0 ? 1 : 0);
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return kept;
}

} // namespace

/// The input is a text to print.
void tryInput(std::string_view input) {
    expect(printed(input, false) == std::string(input) + "\n", "in colour, a text is printed as it is");
    const std::string stripped = printed(input, true);
    // The printer searches as many code units as there are characters: all of an ASCII text, but CR LF is one
    // character.
    const bool isSimple = std::all_of(
        input.begin(), input.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80 && c != '\r'; });
    if (isSimple) {
        expect(stripped == withoutEscapes(input) + "\n", "every escape is removed, and nothing else");
    } else if (input.find('\x1b') == std::string_view::npos) {
        expect(stripped == std::string(input) + "\n", "a text without escapes is printed as it is");
    }
    expect(stripped.size() <= input.size() + 1, "nothing is added");
}

} // namespace Orvex::Fuzzing
