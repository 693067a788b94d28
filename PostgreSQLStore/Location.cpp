#include "PostgreSQLStore/Location.h"

#include "Orvex/store/MessageStore.h"
#include <algorithm>
#include <libpq-fe.h>
#include <memory>

namespace Orvex {

namespace {

/// A password with "@" or "/" in it, unescaped, would be taken for a host or a database and be shown.
bool isAmbiguous(std::string_view uri) {
    const std::size_t authority = uri.find("://") + 3;
    const std::size_t at = uri.rfind('@');
    return at != std::string_view::npos &&
           (uri.find('@') != at ||
            uri.substr(authority, at - authority).find_first_of("/?") != std::string_view::npos);
}

} // namespace

Location::Location(std::string_view uri) {
    const std::string text(uri);
    // libpq's own message would repeat the URI.
    const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> options(
        isAmbiguous(uri) ? nullptr : PQconninfoParse(text.c_str(), nullptr), PQconninfoFree);
    if (!options) {
        throw MessageStoreError(
            "cannot tell where the message store is: what was given is no connection URI, as in "
            "postgresql://user@host/database?sslmode=require; in its parts, write %40 for @, %3A for :, %2F "
            "for / and "
            "%3F for ?");
    }
    const auto valueOf = [&](std::string_view keyword) -> std::string {
        const auto* option = options.get();
        while (option->keyword != nullptr && option->keyword != keyword) {
            ++option;
        }
        return option->val != nullptr ? option->val : "";
    };
    for (const auto* option = options.get(); option->keyword != nullptr; ++option) {
        if (option->val != nullptr) {
            parameters_.emplace_back(option->keyword, option->val);
        }
    }
    // The first of two parameters with one keyword would lose against the second.
    const auto addDefault = [&](const char* keyword, const char* value) {
        if (valueOf(keyword).empty()) {
            parameters_.emplace_back(keyword, value);
        }
    };
    addDefault("fallback_application_name", "orvex");
    // In milliseconds and seconds: a host that is gone without a word is given up, and the next one tried.
    addDefault("tcp_user_timeout", "10000");
    addDefault("keepalives_idle", "10");
    addDefault("keepalives_interval", "5");
    parameters_.emplace_back("client_encoding", "UTF8");

    name_ = "postgresql://" + (valueOf("host").empty() ? valueOf("hostaddr") : valueOf("host"));
    if (const std::string port = valueOf("port"); !port.empty()) {
        name_ += ":" + port;
    }
    name_ += "/" + valueOf("dbname");
    if (const std::string service = valueOf("service"); !service.empty()) {
        name_ += "?service=" + service;
    }
}

} // namespace Orvex
