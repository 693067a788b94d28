#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// A header with a list of addresses, each on a line of its own. They have to be addresses.
[[nodiscard]] std::string addressHeader(std::string_view name, const std::vector<std::string>& addresses);

/// The moment of an ISO 8601 text in UTC as RFC 5322 has it, as in "Sat, 21 Nov 2026 03:56:09 +0000".
[[nodiscard]] std::string mailDate(const std::string& timestamp);

/// What tells a receiver to keep the part as a file of this name (RFC 2183), whatever bytes are in it: as
/// they are, or encoded as RFC 2231 has it. Bytes that are not text, and characters that
/// would move a cursor or change the order of others, become a replacement.
[[nodiscard]] std::string attachmentHeader(std::string_view fileName);

/// The media type of a video, by its file's extension.
[[nodiscard]] std::string videoType(std::string_view fileName);

} // namespace Orvex
