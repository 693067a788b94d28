#pragma once

#include <string>
#include <string_view>

namespace Orvex {

/// Whether this is the name of a host: labels of ASCII letters, digits and hyphens (RFC 5321, section 4.1.2).
[[nodiscard]] bool isDomain(std::string_view text);

/// Where mail for a handle goes: to the handle itself where it is an e-mail address, to `number@phoneDomain`
/// where it is a telephone number and `phoneDomain` is not empty. Throws `SendingServiceError` for all else:
/// an address in quotes or with other than ASCII characters, too. `whose` begins the error.
[[nodiscard]] std::string mailAddress(const std::string& handle, const std::string& phoneDomain,
                                      const std::string& whose);

} // namespace Orvex
