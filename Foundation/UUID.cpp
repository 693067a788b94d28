#include "Foundation/UUID.h"

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
    std::string text;
    appendText(text);
    return text;
}

void UUID::appendText(std::string& out) const {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::array<char, UUID_STR_LEN - 1> text{};
    auto next = text.begin();
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            *next++ = '-';
        }
        *next++ = digits[bytes_[i] >> 4U];
        *next++ = digits[bytes_[i] & 0xFU];
    }
    out.append(text.data(), text.size());
}

} // namespace Orvex
