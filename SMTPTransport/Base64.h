#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Orvex {

/// So many bytes fill a line: a text that ends elsewhere has to be the last one.
inline constexpr std::size_t bytesInBase64Line = 57;

/// The lines of RFC 2045, each with its end.
[[nodiscard]] std::string base64Lines(std::string_view bytes);

/// How many characters the lines of so many bytes have.
[[nodiscard]] std::uintmax_t base64Size(std::uintmax_t bytes);

} // namespace Orvex
