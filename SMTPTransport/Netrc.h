#pragma once

#include <optional>
#include <string>

namespace Orvex {

/// Returns the password of a user on a machine, from the text of a `.netrc` file. We look it up ourselves
/// because libcurl would take another user's password, and try an empty one if there is none.
[[nodiscard]] std::optional<std::string> passwordInNetrc(const std::string& netrc, const std::string& machine,
                                                         const std::string& user);

} // namespace Orvex
