#pragma once

#include <string>
#include <string_view>

namespace Orvex {

// Of ASCII only, in any locale.

[[nodiscard]] constexpr bool isUpperCase(char c) noexcept {
    return c >= 'A' && c <= 'Z';
}

[[nodiscard]] constexpr bool isLetter(char c) noexcept {
    return (c >= 'a' && c <= 'z') || isUpperCase(c);
}

[[nodiscard]] constexpr bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

[[nodiscard]] constexpr char lowerCased(char c) noexcept {
    return isUpperCase(c) ? static_cast<char>(c - 'A' + 'a') : c;
}

[[nodiscard]] inline std::string lowerCased(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = lowerCased(c);
    }
    return lower;
}

} // namespace Orvex
