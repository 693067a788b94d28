#include "PostgreSQLStore/ConnectionURI.h"

#include "Orvex/store/MessageStore.h"
#include <libpq-fe.h>
#include <memory>

namespace Orvex {

namespace {

/// True if libpq might take a part of the password for a host or a database, which is shown: an "@" or "/" in
/// the password must be escaped.
bool isAmbiguous(std::string_view uri) {
    const std::size_t authority = uri.find("://") + 3;
    const std::size_t at = uri.rfind('@');
    return at != std::string_view::npos &&
           (uri.find('@') != at ||
            uri.substr(authority, at - authority).find_first_of("/?") != std::string_view::npos);
}

[[noreturn]] void refuse() {
    throw MessageStoreError(
        "cannot tell where the message store is: its location is not a connection URI such as "
        "postgresql://user@host/database?sslmode=require; in its parts, write %40 for @, %3A for :, %2F for "
        "/ and %3F for ?");
}

} // namespace

ConnectionURI::ConnectionURI(std::string_view uri) {
    const std::string text(uri);
    // Without a buffer for its error message, which repeats the URI.
    const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> options(
        isAmbiguous(uri) ? nullptr : PQconninfoParse(text.c_str(), nullptr), PQconninfoFree);
    if (!options) {
        refuse();
    }
    for (const auto* option = options.get(); option->keyword != nullptr; ++option) {
        if (option->val != nullptr) {
            parameters_.emplace(option->keyword, option->val);
        }
    }
    const auto valueOf = [&](const char* keyword) {
        const auto found = parameters_.find(keyword);
        return found != parameters_.end() ? found->second : "";
    };
    const std::string port = valueOf("port");
    if (port.find_first_not_of("0123456789,") != std::string::npos) {
        refuse();
    }
    name_ = "postgresql://" + (valueOf("host").empty() ? valueOf("hostaddr") : valueOf("host")) +
            (port.empty() ? "" : ":") + port + "/" + valueOf("dbname");
    if (const std::string service = valueOf("service"); !service.empty()) {
        name_ += "?service=" + service;
    }

    parameters_.emplace("fallback_application_name", "orvex");
    // In milliseconds and seconds: libpq gives up a host that has vanished, and tries the next one.
    parameters_.emplace("tcp_user_timeout", "10000");
    parameters_.emplace("keepalives_idle", "10");
    parameters_.emplace("keepalives_interval", "5");
    parameters_["client_encoding"] = "UTF8";
}

} // namespace Orvex
