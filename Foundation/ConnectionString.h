#pragma once

#include <string>
#include <string_view>

namespace Orvex {

/// True for a word that says how to reach a server, or is probably meant to: it is not a `file:` URL, and
/// contains "://", or begins with "postgres" or "smtp" and has "//" or ":" behind it, or begins with the name
/// of a connection's parameter
/// (https://www.postgresql.org/docs/current/libpq-connect.html#LIBPQ-PARAMKEYWORDS) and has a "=" with no "/"
/// before it. Letter case, and dashes and white space in front, make no difference. There may be a password
/// in it: it is never taken for the name of a file, and never repeated.
[[nodiscard]] bool isConnectionString(std::string_view word);

/// A word as an error may repeat it: of a connection string, at most the scheme.
[[nodiscard]] std::string withoutSecrets(std::string_view word);

} // namespace Orvex
