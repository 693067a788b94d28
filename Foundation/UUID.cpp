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
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_upper(bytes_.data(), text.data());
    return {text.data(), text.size() - 1};
}

} // namespace Orvex
