#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Orvex {

/// Where a shared store is: a connection URI of libpq, taken apart.
class Location {
  public:
    /// Throws `MessageStoreError` when it is none; what the URI holds is not repeated then, since a part of a
    /// misspelt one may be a part of a password.
    explicit Location(std::string_view uri);

    /// The parameters of the connection, as libpq takes them.
    [[nodiscard]] const std::vector<std::pair<std::string, std::string>>& parameters() const noexcept {
        return parameters_;
    }

    /// The URI without user and password, for messages.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

  private:
    std::vector<std::pair<std::string, std::string>> parameters_;
    std::string name_;
};

} // namespace Orvex
