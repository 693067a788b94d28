#pragma once

#include <string>
#include <string_view>

namespace Orvex {

/// Returns true for a word that names a server, or is probably meant to. It may have a password, so it must
/// not be repeated or taken for a file name. The rule ignores letter case and leading dashes and white space.
/// The word is not a `file:` URL, and
/// - contains "://", or
/// - begins with "postgres" or "smtp" and contains "//" or ":", or
/// - begins with the name of a libpq parameter
///   (https://www.postgresql.org/docs/current/libpq-connect.html#LIBPQ-PARAMKEYWORDS) and has a "=" before
///   any "/".
[[nodiscard]] bool isConnectionString(std::string_view word);

/// Returns a word in a form that an error may repeat: of a connection string, only the scheme.
[[nodiscard]] std::string withoutSecrets(std::string_view word);

} // namespace Orvex
