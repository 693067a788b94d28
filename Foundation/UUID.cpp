#include "Foundation/UUID.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <system_error>
#include <unistd.h>

namespace Orvex {

UUID UUID::random() {
    Bytes bytes{};
    if (getentropy(bytes.data(), bytes.size()) != 0) {
        throw std::system_error(errno, std::generic_category(), "the system has no random numbers");
    }
    // The version and the variant: RFC 9562, section 5.4.
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0FU) | 0x40U);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3FU) | 0x80U);
    return UUID(bytes);
}

std::optional<UUID> UUID::parse(std::string_view text) {
    constexpr std::size_t size = 36;
    if (text.size() != size) {
        return std::nullopt;
    }
    Bytes bytes{};
    const char* next = text.data();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if ((i == 4 || i == 6 || i == 8 || i == 10) && *next++ != '-') {
            return std::nullopt;
        }
        const char* const end = next + 2;
        if (std::from_chars(next, end, bytes[i], 16).ptr != end) {
            return std::nullopt;
        }
        next = end;
    }
    return UUID(bytes);
}

std::string UUID::text() const {
    const auto text = characters();
    return {text.begin(), text.end()};
}

std::array<char, 36> UUID::characters() const noexcept {
    std::array<char, 2 * std::tuple_size_v<Bytes>> digits{};
    // Without branches, so that the compiler can vectorise the loop.
    const auto digit = [](unsigned value) {
        return static_cast<char>('0' + value + (value > 9) * ('A' - '9' - 1));
    };
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        digits[2 * i] = digit(bytes_[i] >> 4U);
        digits[2 * i + 1] = digit(bytes_[i] & 0xFU);
    }
    std::array<char, 36> text{};
    text[8] = text[13] = text[18] = text[23] = '-';
    std::memcpy(text.data(), digits.data(), 8);
    std::memcpy(text.data() + 9, digits.data() + 8, 4);
    std::memcpy(text.data() + 14, digits.data() + 12, 4);
    std::memcpy(text.data() + 19, digits.data() + 16, 4);
    std::memcpy(text.data() + 24, digits.data() + 20, 12);
    return text;
}

} // namespace Orvex
