#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>

namespace Orvex {

/// Reads the whole of `text` as a number: an optional sign, then decimal digits, for a floating-point type
/// also a fraction and an exponent. No value for anything else: white space, another base, a number out of
/// range or not finite.
template <class T>
requires std::integral<T> || std::floating_point<T>
[[nodiscard]] std::optional<T> parseNumber(std::string_view text) {
    const bool hasPlus = text.starts_with('+');
    if (hasPlus) {
        text.remove_prefix(1);
    }
    T number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc{} && end == text.data() + text.size();
    if (!whole || (hasPlus && text.starts_with('-'))) {
        return std::nullopt;
    }
    if constexpr (std::floating_point<T>) {
        if (!std::isfinite(number)) {
            return std::nullopt;
        }
    }
    return number;
}

/// The shortest decimal text that reads back as the same number.
[[nodiscard]] inline std::string shortestText(double number) {
    // The longest has 24 characters, "-1.7976931348623157e+308" for one.
    std::array<char, 32> digits{};
    // Few decimals, as most numbers have, are found in a tenth of the time that any others take.
    if (number < 100000 && !std::signbit(number)) {
        const auto thousandths = static_cast<unsigned>(std::lround(number * 1000));
        if (thousandths / 1000.0 == number) {
            char* end = std::to_chars(digits.data(), digits.data() + digits.size(), thousandths / 1000).ptr;
            if (unsigned rest = thousandths % 1000; rest != 0) {
                *end++ = '.';
                for (; rest != 0; rest = rest * 10 % 1000) {
                    *end++ = static_cast<char>('0' + rest / 100);
                }
            }
            return {digits.data(), end};
        }
    }
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

} // namespace Orvex
