#pragma once

#include <string>
#include <string_view>

namespace Orvex {

/// Returns true for a host name: labels of ASCII letters, digits and hyphens (RFC 5321, section 4.1.2).
[[nodiscard]] bool isDomain(std::string_view text);

/// Returns the mailbox of a handle: the handle itself if it is an e-mail address, `number@phoneDomain` if it
/// is a telephone number and `phoneDomain` is not empty. Throws `SendingServiceError`, which begins with
/// `whose`, for all other handles, including addresses in quotes or with other than ASCII characters.
[[nodiscard]] std::string mailAddress(const std::string& handle, const std::string& phoneDomain,
                                      const std::string& whose);

} // namespace Orvex
