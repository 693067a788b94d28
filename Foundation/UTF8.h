#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Orvex {

/// True for a byte that is a whole character, not a part of a longer one.
[[nodiscard]] constexpr bool isASCII(char byte) noexcept {
    return static_cast<unsigned char>(byte) < 0x80;
}

/// Reads the character that begins at byte `position` of `text`, which must be inside, and moves on behind
/// it. No value, for as many bytes as can be told to belong together, where they are no well-formed UTF-8
/// (Unicode Standard, section 3.9).
[[nodiscard]] std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& position);

/// Appends the character, which must be a Unicode scalar value.
void appendUTF8(std::string& out, char32_t c);

} // namespace Orvex
