#include "SMTPTransport/Base64.h"

namespace Orvex {

namespace {

constexpr std::size_t bytesInGroup = 3;

} // namespace

std::string base64Lines(std::string_view bytes) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string lines;
    lines.reserve(base64Size(bytes.size()));
    for (std::size_t i = 0; i < bytes.size(); i += bytesInGroup) {
        const auto byte = [&](std::size_t place) {
            return i + place < bytes.size() ? static_cast<unsigned char>(bytes[i + place]) : 0U;
        };
        const unsigned group = byte(0) << 16U | byte(1) << 8U | byte(2);
        lines += digits[group >> 18U];
        lines += digits[group >> 12U & 63U];
        lines += i + 1 < bytes.size() ? digits[group >> 6U & 63U] : '=';
        lines += i + 2 < bytes.size() ? digits[group & 63U] : '=';
        if ((i + bytesInGroup) % bytesInBase64Line == 0 || i + bytesInGroup >= bytes.size()) {
            lines += "\r\n";
        }
    }
    return lines;
}

std::uintmax_t base64Size(std::uintmax_t bytes) {
    const std::uintmax_t groups = (bytes + bytesInGroup - 1) / bytesInGroup;
    return groups * 4 + (bytes + bytesInBase64Line - 1) / bytesInBase64Line * 2;
}

} // namespace Orvex
