#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// Returns a header with a list of addresses, one a line. They must be valid.
[[nodiscard]] std::string addressHeader(std::string_view name, const std::vector<std::string>& addresses);

/// Converts an ISO 8601 time in UTC to the form of RFC 5322, as in "Sat, 21 Nov 2026 03:56:09 +0000". Throws
/// `std::runtime_error`.
[[nodiscard]] std::string mailDate(const std::string& timestamp);

/// Returns the header that makes a part an attachment (RFC 2183) with this file name, encoded (RFC 2231) if
/// necessary. The name may have any bytes: those that are not UTF-8, and characters that would move a cursor
/// or change the order of others, become U+FFFD.
[[nodiscard]] std::string attachmentHeader(std::string_view fileName);

/// Returns the media type for the extension of a video's file name.
[[nodiscard]] std::string videoType(std::string_view fileName);

} // namespace Orvex
