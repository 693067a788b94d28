#include "Foundation/QuotedText.h"

#include "Foundation/CharacterSets.h"
#include "Foundation/UTF8.h"
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>

namespace Orvex {

namespace {

/// Characters that are not escaped, in addition to the plain ones.
enum class Kept { none, delimiters, shaping };

/// Returns true for an ASCII character that is never escaped.
bool isPlainASCII(char c) {
    return (c >= 0x20) & (c < 0x7F) & (c != '"') & (c != '\\');
}

/// Returns true if all of the next eight bytes are such characters. Looks at them in one 64-bit word: a third
/// of the time of a loop over bytes (docs/performance.md, "What helped").
bool arePlainASCII(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    const auto inEach = [](unsigned char byte) { return std::uint64_t{0x0101010101010101} * byte; };
    // Each of these sets the highest bit of the bytes that its name says. A carry or borrow may also set that
    // of a neighbour, but only if there is such a byte.
    const std::uint64_t notASCII = word;
    const std::uint64_t belowSpace = word - inEach(0x20);
    const std::uint64_t deletes = word + inEach(1);
    const auto equalTo = [&](char c) {
        const std::uint64_t difference = word ^ inEach(static_cast<unsigned char>(c));
        return (difference - inEach(1)) & ~difference;
    };
    const std::uint64_t others = notASCII | belowSpace | deletes | equalTo('"') | equalTo('\\');
    return (others & inEach(0x80)) == 0;
}

/// Returns the number of such characters at the beginning.
std::size_t plainLength(std::string_view text) {
    constexpr std::size_t block = 8;
    std::size_t length = 0;
    while (text.size() - length >= block && arePlainASCII(text.data() + length)) {
        length += block;
    }
    // The last block overlaps the one before.
    if (length > 0 && text.size() - length < block && arePlainASCII(text.data() + text.size() - block)) {
        return text.size();
    }
    while (length < text.size() && isPlainASCII(text[length])) {
        ++length;
    }
    return length;
}

/// Returns true if a terminal or an editor might obey the character, or not show it.
bool isDeceptive(char32_t c, Kept kept) {
    const bool separator = c == 0x2028 || c == 0x2029;
    const bool shaping = c == 0x200C || c == 0x200D || isVariationSelector(c);
    return isControl(c) || separator || (isInvisible(c) && !(shaping && kept == Kept::shaping));
}

void appendHex(std::string& out, std::uint32_t number) {
    std::array<char, 8> digits{};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
    for (const char* digit = digits.data(); digit != end; ++digit) {
        out += *digit >= 'a' ? static_cast<char>(*digit - 'a' + 'A') : *digit;
    }
}

void appendCharacter(std::string& out, std::optional<char32_t> c, std::string_view bytes, Kept kept) {
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
    } else if ((c == U'"' || c == U'\\') && kept != Kept::delimiters) {
        out += {'\\', static_cast<char>(*c)};
    } else if (isDeceptive(*c, kept)) {
        out += "\\u{";
        appendHex(out, *c);
        out += '}';
    } else {
        out += bytes;
    }
}

void appendEscaped(std::string& out, std::string_view text, Kept kept) {
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t length = plainLength(text.substr(position));
        out += text.substr(position, length);
        position += length;
        if (position < text.size()) {
            const std::size_t first = position;
            const std::optional<char32_t> c = nextCharacter(text, position);
            appendCharacter(out, c, text.substr(first, position - first), kept);
        }
    }
}

} // namespace

void appendQuoted(std::string& out, std::string_view text) {
    out += '"';
    appendEscaped(out, text, Kept::none);
    out += '"';
}

void appendQuotedProse(std::string& out, std::string_view text) {
    out += '"';
    appendEscaped(out, text, Kept::shaping);
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
    appendEscaped(out, text, Kept::delimiters);
    return out;
}

} // namespace Orvex
