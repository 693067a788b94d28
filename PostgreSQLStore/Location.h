#pragma once

#include <map>
#include <string>
#include <string_view>

namespace Orvex {

/// Where a shared store is: a connection URI of libpq, taken apart.
class Location {
  public:
    /// Throws `MessageStoreError` when it is none; what the URI holds is not repeated then, since a part of a
    /// misspelt one may be a part of a password.
    explicit Location(std::string_view uri);

    /// The parameters of a connection by their names, as libpq takes them.
    using Parameters = std::map<std::string, std::string>;
    [[nodiscard]] const Parameters& parameters() const noexcept { return parameters_; }

    /// The URI without user and password, for messages.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

  private:
    Parameters parameters_;
    std::string name_;
};

} // namespace Orvex
