#pragma once

#include <map>
#include <string>
#include <string_view>

namespace Orvex {

/// A parsed connection URI of libpq.
/// See https://www.postgresql.org/docs/15/libpq-connect.html#LIBPQ-CONNSTRING-URIS
class ConnectionURI {
  public:
    /// Throws `MessageStoreError` if the text is not such a URI. The error does not repeat it, since any part
    /// of a misspelt URI may be a part of a password.
    explicit ConnectionURI(std::string_view uri);

    /// Parameters of a connection by their keywords.
    using Parameters = std::map<std::string, std::string>;
    [[nodiscard]] const Parameters& parameters() const noexcept { return parameters_; }

    /// The URI without user and password, for messages.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

  private:
    Parameters parameters_;
    std::string name_;
};

} // namespace Orvex
