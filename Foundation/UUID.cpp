#include "Foundation/UUID.h"

#include <cstring>
#include <uuid/uuid.h>

namespace Orvex {

UUID UUID::random() {
    Bytes bytes;
    uuid_generate_random(bytes.data());
    return UUID(bytes);
}

std::optional<UUID> UUID::parse(std::string_view text) {
    Bytes bytes;
    if (uuid_parse_range(text.data(), text.data() + text.size(), bytes.data()) != 0) {
        return std::nullopt;
    }
    return UUID(bytes);
}

std::string UUID::text() const {
    const auto text = characters();
    return {text.begin(), text.end()};
}

std::array<char, 36> UUID::characters() const noexcept {
    std::array<char, 2 * std::tuple_size_v<Bytes>> digits{};
    // Without branches: the compiler does many digits at once.
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
