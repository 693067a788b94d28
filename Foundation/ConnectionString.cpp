#include "Foundation/ConnectionString.h"

#include "Foundation/FileURL.h"
#include "Foundation/LetterCase.h"
#include <algorithm>

namespace Orvex {

namespace {

constexpr std::string_view mark = "://";

/// Prefixes of the parameters of libpq, up to version 18.
constexpr std::string_view parameters[] = {
    "application_name",
    "channel_binding",
    "client_encoding",
    "connect_timeout",
    "dbname",
    "fallback_",
    "gss",
    "host",
    "keepalives",
    "krbsrvname",
    "load_balance",
    "max_protocol",
    "min_protocol",
    "oauth_",
    "options",
    "passfile",
    "password",
    "port",
    "replication",
    "require",
    "scram_",
    "service",
    "ssl",
    "target_session_attrs",
    "tcp_user_timeout",
    "user",
};

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

template <class Beginnings>
bool beginsWithOneOf(std::string_view text, const Beginnings& beginnings) {
    return std::any_of(std::begin(beginnings), std::end(beginnings),
                       [text](std::string_view beginning) { return text.starts_with(beginning); });
}

} // namespace

bool isConnectionString(std::string_view word) {
    word.remove_prefix(std::min(word.find_first_not_of("- \t\n\v\f\r"), word.size()));
    if (FileURL::hasScheme(word)) {
        return false;
    }
    const std::string text = lowerCased(word);
    constexpr std::string_view services[] = {"postgres", "smtp"};
    const std::size_t equals = text.find('=');
    return contains(text, mark) ||
           (beginsWithOneOf(text, services) && (contains(text, "//") || contains(text, ":"))) ||
           (beginsWithOneOf(text, parameters) && equals != std::string::npos && text.find('/') > equals);
}

std::string withoutSecrets(std::string_view word) {
    if (!isConnectionString(word)) {
        return std::string(word);
    }
    const std::size_t end = word.find(mark);
    const bool isScheme =
        end != std::string_view::npos &&
        std::all_of(word.begin(), word.begin() + end, [](char c) { return isLetter(c) || c == '-'; });
    return (isScheme ? std::string(word.substr(0, end + mark.size())) : "") + "...";
}

} // namespace Orvex
