#include "Foundation/UTF8.h"

#include <array>
#include <unicode/utf8.h>

namespace Orvex {

std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& position) {
    UChar32 c = 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion" // inside the macro
    U8_NEXT(text.data(), position, text.size(), c);
#pragma GCC diagnostic pop
    return c < 0 ? std::nullopt : std::optional(static_cast<char32_t>(c));
}

void appendUTF8(std::string& out, char32_t c) {
    std::array<char, U8_MAX_LENGTH> bytes{};
    std::size_t size = 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion" // inside the macro
    U8_APPEND_UNSAFE(bytes, size, c);
#pragma GCC diagnostic pop
    out.append(bytes.data(), size);
}

} // namespace Orvex
