#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Orvex {

/// Bytes that fill a line. When a text is encoded in pieces, all but the last need a multiple of them.
inline constexpr std::size_t bytesInBase64Line = 57;

/// Encodes bytes as lines (RFC 2045, section 6.8), each with its CR LF.
[[nodiscard]] std::string base64Lines(std::string_view bytes);

/// Returns the length of these lines.
[[nodiscard]] std::uintmax_t base64Size(std::uintmax_t bytes);

} // namespace Orvex
