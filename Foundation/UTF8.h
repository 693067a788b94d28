#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Orvex {

[[nodiscard]] constexpr bool isASCII(char byte) noexcept {
    return static_cast<unsigned char>(byte) < 0x80;
}

/// Decodes the character at byte `position`, which must be inside `text`, and advances `position`. No value
/// for an ill-formed sequence (Unicode Standard, section 3.9); `position` advances by its maximal subpart.
[[nodiscard]] std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& position);

/// Appends a character, which must be a Unicode scalar value.
void appendUTF8(std::string& out, char32_t c);

} // namespace Orvex
