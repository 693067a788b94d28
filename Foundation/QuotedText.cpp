#include "Foundation/QuotedText.h"

#include "Foundation/UTF8.h"
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

namespace Orvex {

namespace {

enum class Delimiters { escaped, leftAlone };

/// Whether a byte is an ASCII character that is shown as it is, inside quotes too.
bool isPlainASCII(char c) {
    return (c >= 0x20) & (c < 0x7F) & (c != '"') & (c != '\\');
}

/// How many such bytes `text` begins with.
std::size_t plainLength(std::string_view text) {
    // Without a branch inside, the compiler looks at the bytes of a block all at once.
    constexpr std::size_t block = 16;
    std::size_t length = 0;
    while (text.size() - length >= block) {
        bool isPlain = true;
        for (std::size_t i = 0; i < block; ++i) {
            isPlain &= isPlainASCII(text[length + i]);
        }
        if (!isPlain) {
            break;
        }
        length += block;
    }
    while (length < text.size() && isPlainASCII(text[length])) {
        ++length;
    }
    return length;
}

/// Whether a terminal or an editor might obey the character instead of showing it.
bool isObeyed(char32_t c) {
    const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0);
    const bool bidirectional = c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
                               (c >= 0x2066 && c <= 0x2069);
    const bool separator = c == 0x2028 || c == 0x2029;
    return control || bidirectional || separator;
}

void appendHex(std::string& out, std::uint32_t number) {
    std::array<char, 8> digits{};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
    for (const char* digit = digits.data(); digit != end; ++digit) {
        out += *digit >= 'a' ? static_cast<char>(*digit - 'a' + 'A') : *digit;
    }
}

void appendCharacter(std::string& out, std::optional<char32_t> c, std::string_view bytes,
                     Delimiters delimiters) {
    if (!c) {
        for (const char byte : bytes) {
            out += "\\x";
            appendHex(out, static_cast<unsigned char>(byte));
        }
    } else if (c == U'\n') {
        out += "\\n";
    } else if (c == U'\r') {
        out += "\\r";
    } else if (c == U'\t') {
        out += "\\t";
    } else if ((c == U'"' || c == U'\\') && delimiters == Delimiters::escaped) {
        out += {'\\', static_cast<char>(*c)};
    } else if (isObeyed(*c)) {
        out += "\\u{";
        appendHex(out, *c);
        out += '}';
    } else {
        out += bytes;
    }
}

void appendEscaped(std::string& out, std::string_view text, Delimiters delimiters) {
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t length = plainLength(text.substr(position));
        out += text.substr(position, length);
        position += length;
        if (position < text.size()) {
            const std::size_t first = position;
            const std::optional<char32_t> c = nextCharacter(text, position);
            appendCharacter(out, c, text.substr(first, position - first), delimiters);
        }
    }
}

} // namespace

void appendQuoted(std::string& out, std::string_view text) {
    out += '"';
    appendEscaped(out, text, Delimiters::escaped);
    out += '"';
}

std::string inQuotes(std::string_view text) {
    std::string out;
    appendQuoted(out, text);
    return out;
}

std::string excerptInQuotes(std::string_view text) {
    constexpr std::size_t longest = 64;
    std::size_t end = 0;
    while (end < text.size() && end < longest) {
        static_cast<void>(nextCharacter(text, end));
    }
    return end == text.size() ? inQuotes(text) : inQuotes(text.substr(0, end)) + "…";
}

std::string onOneLine(std::string_view text) {
    std::string out;
    appendEscaped(out, text, Delimiters::leftAlone);
    return out;
}

} // namespace Orvex
