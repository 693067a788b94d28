#include "Foundation/ConnectionString.h"
#include "Foundation/FileURL.h"
#include "Foundation/QuotedText.h"
#include "Orvex/arguments/Tool.h"
#include "Orvex/commands/AllCommands.h"
#include "Orvex/host/Module.h"
#include "Orvex/store/MessageStoreClient.h"
#include "Orvex/store/SendingService.h"
#include "Outbox/OutboxSendingService.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// The place of the messages: a file, or a database on a server.
struct StoreLocation {
    std::filesystem::path file;
    /// A connection URI of libpq; empty for a file.
    std::string uri;
};

template <>
struct ArgumentConversion<StoreLocation> {
    static std::optional<StoreLocation> parse(std::string_view word) {
        if (word.starts_with("postgresql://") || word.starts_with("postgres://")) {
            return StoreLocation{.file = {}, .uri = std::string(word)};
        }
        if (word.empty() || isConnectionString(word)) {
            return std::nullopt;
        }
        if (FileURL::hasScheme(word)) {
            return StoreLocation{.file = ArgumentConversion<FileURL>::parse(word)->path(), .uri = {}};
        }
        return StoreLocation{.file = word, .uri = {}};
    }
    static std::string text(const StoreLocation& location) {
        return location.uri.empty() ? location.file.native() : location.uri;
    }
    static ValueSyntax syntax() {
        return {.placeholder = "<path>",
                .expected =
                    "a path (begin it with \"./\" if it has the look of a connection string), or a URI "
                    "such as postgresql://user@host/database",
                .values = {},
                .meanings = {},
                .isPath = true};
    }
};

/// What delivers video messages, by its URL.
struct ServiceLocation {
    std::string url;
};

template <>
struct ArgumentConversion<ServiceLocation> {
    static std::optional<ServiceLocation> parse(std::string_view word) {
        const bool isKnown = word.starts_with("smtp://") || word.starts_with("smtps://");
        return isKnown ? std::optional(ServiceLocation{std::string(word)}) : std::nullopt;
    }
    static std::string text(const ServiceLocation& location) { return location.url; }
    static ValueSyntax syntax() {
        return {.placeholder = "<url>",
                .expected = "a URL such as smtp://mail.example.com or smtps://ann@mail.example.com",
                .values = {},
                .meanings = {},
                .isSecret = true};
    }
};

} // namespace Orvex

namespace {

using namespace Orvex;

struct HostOptions {
    Option<std::optional<StoreLocation>> store{
        std::nullopt,
        {derivedLong},
        "The file of the message store (its path or file: URL), or the postgresql://... URI of one on a "
        "server. Without it: orvex/messages.db in $XDG_DATA_HOME, or else in ~/.local/share."};

    Option<std::optional<ServiceLocation>> sendingService{
        std::nullopt,
        {derivedLong},
        "The smtp:// or smtps:// URL of the server that video messages are sent by way of. Without it, they "
        "wait in the outbox."};

    ORVEX_CODING_KEYS(HostOptions, store, sendingService)
};
static_assert(ParsableArguments<HostOptions>);

constexpr ManualText manual{
    .summary = "look into a device's message store, and change it",
    .description =
        R"(A message store holds recorded video and audio messages and voicemails, with their
senders, recipients, mailboxes, transcripts and read state. {tool} lists, counts,
adds, changes and deletes them, sends video messages, and asks about transcription and
the cloud account.

The store is one file, by default orvex/messages.db in the folder that XDG_DATA_HOME names, or else in
~/.local/share. The first change makes it. Video messages that are sent go into the folder "outbox" beside
it.

A store that several machines share is in a database on a PostgreSQL server: {tool} --store
postgresql://host/database. It takes the package orvex-postgresql. Passwords are best kept in ~/.pgpass. Video
messages that are sent go into the outbox of the default store then.
A mail server delivers them as e-mail: {tool} --sending-service smtp://ann@mail.example.com. It takes the package
orvex-smtp. The password is looked up in ~/.netrc. Telephone numbers need a gateway, as in
smtp://mail.example.com?phone-domain=sms.example.com.

An option that takes a list takes all words up to the next option, and may be repeated. A value that
begins with "-" is joined to its option by "=". Types, providers, mailboxes and the state of a
transcription are given as numbers.)",
    .examples = R"(Add a test message to a store of its own, and list it:

    {tool} --store test.db save-message -frm ann@example.com
    {tool} --store test.db get-all-messages

Have the shell complete commands, options and values:

    source <({tool} --generate-completion-script bash))",
};

/// The user's data folder, as the XDG base directories have it: a relative path in the variable is to be
/// ignored.
std::filesystem::path userDataFolder() {
    if (const char* const data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data == '/') {
        return data;
    }
    if (const char* const home = std::getenv("HOME"); home != nullptr && *home == '/') {
        return std::filesystem::path(home) / ".local/share";
    }
    throw std::runtime_error("cannot tell where the message store is: HOME is not set; give --store <path>");
}

/// Prints what the store reports to standard error.
std::shared_ptr<MessageStore> reporting(std::shared_ptr<MessageStore> store) {
    store->setReporter([](const std::string& line) {
        std::fflush(stdout);
        std::fputs(("orvex: " + onOneLine(line) + "\n").c_str(), stderr);
    });
    return store;
}

/// Puts a store, and the outbox beside it or else beside the default one, behind the commands.
void chooseStoreAndService(const HostOptions& options) {
    const std::optional<StoreLocation>& store = *options.store;
    std::function<std::filesystem::path()> outbox;
    if (store && !store->uri.empty()) {
        MessageStoreClient::setStoreFactory([uri = store->uri] {
            return reporting(
                makeByModule<MessageStore>("postgresql", "orvexMakePostgreSQLStore", uri.c_str()));
        });
        // Only who sends something needs a home.
        outbox = [] { return userDataFolder() / "orvex/outbox"; };
    } else {
        const std::filesystem::path given = store ? store->file : userDataFolder() / "orvex/messages.db";
        const std::filesystem::path file = FileURL::fromPath(given.native()).path();
        MessageStoreClient::setStoreFactory([file, isGiven = store.has_value()] {
            // The default store is made when it is needed; one that is named may be misspelt.
            const auto absence =
                isGiven ? SQLiteMessageStore::Absence::reported : SQLiteMessageStore::Absence::usual;
            return reporting(std::make_shared<SQLiteMessageStore>(file, absence));
        });
        outbox = [folder = file.parent_path()] { return folder / "outbox"; };
    }
    SendingService::setFactory(
        [outbox, service = *options.sendingService]() -> std::shared_ptr<SendingService> {
            if (service) {
                return makeByModule<SendingService>("smtp", "orvexMakeSMTPSendingService",
                                                    service->url.c_str(), outbox().c_str());
            }
            return std::make_shared<OutboxSendingService>(outbox());
        });
}

} // namespace

int main(int argc, char* argv[]) {
    const std::vector<std::string_view> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    HostOptions options;
    const Tool tool{
        .name = "orvex",
        .version = ORVEX_VERSION,
        .summary = "Looks into a device's message store, and changes it.",
        .subcommands = allCommands(),
        .options = boundProperties(options),
        .prepare = [&options] { chooseStoreAndService(options); },
        .manual = manual,
        .released = ORVEX_RELEASED,
    };
    return static_cast<int>(run(tool, words));
}
