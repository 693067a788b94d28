#include "Orvex/host/Backends.h"

#include "Foundation/ConnectionString.h"
#include "Foundation/FileURL.h"
#include "Foundation/QuotedText.h"
#include "Orvex/host/ModuleLoader.h"
#include "Orvex/store/MessageStoreClient.h"
#include "Orvex/store/SendingService.h"
#include "Outbox/OutboxSendingService.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <span>
#include <stdexcept>

namespace Orvex {

namespace {

/// Factories get the URL.
constexpr Backend stores[] = {
    {.scheme = "postgresql://", .module = "postgresql", .factory = "orvexMakePostgreSQLStore"},
    {.scheme = "postgres://", .module = "postgresql", .factory = "orvexMakePostgreSQLStore"},
};

/// Factories get the URL and the path of the outbox.
constexpr Backend services[] = {
    {.scheme = "smtp://", .module = "smtp", .factory = "orvexMakeSMTPSendingService"},
    {.scheme = "smtps://", .module = "smtp", .factory = "orvexMakeSMTPSendingService"},
};

/// Null if none of the backends has the URL's scheme.
const Backend* backendFor(std::string_view url, std::span<const Backend> backends) {
    const auto found = std::ranges::find_if(
        backends, [url](const Backend& backend) { return url.starts_with(backend.scheme); });
    return found != backends.end() ? &*found : nullptr;
}

/// The folder of the user's data by the XDG base directories, which have relative paths ignored.
std::filesystem::path userDataFolder() {
    if (const char* const data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data == '/') {
        return data;
    }
    if (const char* const home = std::getenv("HOME"); home != nullptr && *home == '/') {
        return std::filesystem::path(home) / ".local/share";
    }
    throw std::runtime_error("cannot tell where the message store is: HOME is not set; give --store <path>");
}

/// Makes the store print its reports to standard error.
std::shared_ptr<MessageStore> reporting(std::shared_ptr<MessageStore> store) {
    store->setReporter([](const std::string& line) {
        std::fflush(stdout);
        std::fputs(("orvex: " + onOneLine(line) + "\n").c_str(), stderr);
    });
    return store;
}

} // namespace

std::optional<StoreLocation> ArgumentConversion<StoreLocation>::parse(std::string_view word) {
    if (const Backend* const backend = backendFor(word, stores)) {
        return StoreLocation{.place = std::string(word), .backend = backend};
    }
    if (word.empty() || isConnectionString(word)) {
        return std::nullopt;
    }
    const std::string path =
        FileURL::hasScheme(word) ? ArgumentConversion<FileURL>::parse(word)->path() : std::string(word);
    return StoreLocation{.place = path, .backend = nullptr};
}

ValueSyntax ArgumentConversion<StoreLocation>::syntax() {
    return {.placeholder = "<path>",
            .expected = "a path (begin it with \"./\" if it looks like a connection string), or a URI "
                        "such as postgresql://user@host/database",
            .isPath = true};
}

std::optional<ServiceLocation> ArgumentConversion<ServiceLocation>::parse(std::string_view word) {
    const Backend* const backend = backendFor(word, services);
    return backend != nullptr ? std::optional(ServiceLocation{.url = std::string(word), .backend = backend})
                              : std::nullopt;
}

ValueSyntax ArgumentConversion<ServiceLocation>::syntax() {
    return {.placeholder = "<url>",
            .expected = "a URL such as smtp://mail.example.com or smtps://ann@mail.example.com",
            .isSecret = true};
}

void chooseStoreAndService(const std::optional<StoreLocation>& store,
                           const std::optional<ServiceLocation>& service) {
    std::function<std::filesystem::path()> outbox;
    if (store && store->backend != nullptr) {
        MessageStoreClient::setStoreFactory([store = *store] {
            return reporting(makeByModule<MessageStore>(store.backend->module, store.backend->factory,
                                                        store.place.c_str()));
        });
        // Only a command that sends something needs a home.
        outbox = [] { return userDataFolder() / "orvex/outbox"; };
    } else {
        const std::filesystem::path path =
            store ? std::filesystem::path(store->place) : userDataFolder() / "orvex/messages.db";
        const std::filesystem::path file = FileURL::fromPath(path.native()).path();
        MessageStoreClient::setStoreFactory([file, isGiven = store.has_value()] {
            // A path that was given may be misspelt, so its absence is reported.
            const auto absence =
                isGiven ? SQLiteMessageStore::Absence::reported : SQLiteMessageStore::Absence::usual;
            return reporting(std::make_shared<SQLiteMessageStore>(file, absence));
        });
        outbox = [folder = file.parent_path()] { return folder / "outbox"; };
    }
    SendingService::setFactory([outbox, service]() -> std::shared_ptr<SendingService> {
        if (service) {
            return makeByModule<SendingService>(service->backend->module, service->backend->factory,
                                                service->url.c_str(), outbox().c_str());
        }
        return std::make_shared<OutboxSendingService>(outbox());
    });
}

} // namespace Orvex
