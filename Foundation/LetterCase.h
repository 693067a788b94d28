#pragma once

#include <string>
#include <string_view>

namespace Orvex {

[[nodiscard]] constexpr bool isUpperCase(char c) noexcept {
    return c >= 'A' && c <= 'Z';
}

/// `c` in lower case if it is an ASCII letter.
[[nodiscard]] constexpr char lowerCased(char c) noexcept {
    return isUpperCase(c) ? static_cast<char>(c - 'A' + 'a') : c;
}

/// `text` with its ASCII letters in lower case.
[[nodiscard]] inline std::string lowerCased(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = lowerCased(c);
    }
    return lower;
}

} // namespace Orvex
