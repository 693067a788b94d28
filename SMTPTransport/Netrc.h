#pragma once

#include <optional>
#include <string>

namespace Orvex {

/// The password of a user on a machine, as the text of a `.netrc` file has it. libcurl would take another
/// user's, and try an empty one where there is none.
[[nodiscard]] std::optional<std::string> passwordInNetrc(const std::string& netrc, const std::string& machine,
                                                         const std::string& user);

} // namespace Orvex
