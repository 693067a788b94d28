#include "ZelvoMessageStore/SQLiteMessageStore.h"

#include "Orvex/store/MessageTable.h"
#include "ZelvoMessageStore/MessageCount.h"
#include "ZelvoMessageStore/Schema.h"
#include "ZelvoMessageStore/StoreConnection.h"
#include "ZelvoMessageStore/Values.h"
#include <algorithm>
#include <numeric>
#include <utility>

namespace Orvex {

namespace {

using SQLite::Database;
using SQLite::Statement;

/// The value of a setting; `absent` if the store does not have it.
std::int64_t setting(Database& database, std::string_view name, std::int64_t absent) {
    Statement query = database.prepare("SELECT value FROM settings WHERE name = ?");
    query.bind(1, name);
    return query.step() ? query.integer(0) : absent;
}

std::int32_t takeNextVoicemailID(Database& database) {
    Statement take = database.prepare(takeVoicemailIDStatement);
    const std::int32_t identifier =
        checkedVoicemailID(take.step() ? std::optional(take.integer(0)) : std::nullopt);
    take.run();
    return identifier;
}

/// The values in ascending order, each once.
template <class T>
std::vector<T> distinct(std::vector<T> values) {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

/// Collects the messages that meet `condition` for several lists of parameters. No message may meet it for
/// two of them.
class MessageFinder {
  public:
    MessageFinder(Database& database, std::string_view condition)
        : query_(database.prepare(selectStatement("WHERE " + std::string(condition) + " ORDER BY id"))) {}

    template <class... Values>
    void find(const Values&... values) {
        bindAll(query_, values...);
        while (query_.step()) {
            rows_.push_back(query_.integer(0));
            appendMessageFromRow(found_, SQLite::Row(query_));
        }
        query_.reset();
    }

    /// The messages found, in the order in which they were saved.
    std::vector<StoredMessage> messages() && {
        if (std::is_sorted(rows_.begin(), rows_.end())) {
            return std::move(found_);
        }
        std::vector<std::size_t> order(rows_.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::sort(order.begin(), order.end(),
                  [&](std::size_t left, std::size_t right) { return rows_[left] < rows_[right]; });
        std::vector<StoredMessage> sorted;
        sorted.reserve(order.size());
        for (const std::size_t position : order) {
            sorted.push_back(std::move(found_[position]));
        }
        return sorted;
    }

  private:
    Statement query_;
    std::vector<std::int64_t> rows_;
    std::vector<StoredMessage> found_;
};

void apply(Database& database, const MessageUpdate& update) {
    std::optional<std::int32_t> newVoicemailID;
    if (update.provider == MessageProvider::Telephony) {
        Statement query = database.prepare(findNewVoicemailStatement);
        bindAll(query, update.recordUUID);
        if (query.step()) {
            newVoicemailID = takeNextVoicemailID(database);
        }
    }
    Statement statement = database.prepare(updateStatement());
    withValues(update, newVoicemailID, [&](const auto&... values) { bindAll(statement, values...); });
    statement.run();
    if (database.changedRows() == 0) {
        refuseAbsent(update);
    }
}

} // namespace

SQLiteMessageStore::SQLiteMessageStore(const std::filesystem::path& file, Absence absence)
    : connection_(std::make_unique<StoreConnection>(file, [this, absence](const std::string& name) {
          if (absence == Absence::reported) {
              report("there is no message store at " + name + " yet; the first change makes it");
          }
      })) {}

SQLiteMessageStore::~SQLiteMessageStore() = default;

Async<bool> SQLiteMessageStore::isTranscriptionEnabled() {
    co_return connection_->read("look up whether transcription is enabled", [](Database& database) {
        return Orvex::isTranscriptionEnabled(setting(database, "transcriptionEnabled", 1));
    });
}

Async<std::int64_t> SQLiteMessageStore::messageCount() {
    co_return connection_->read("count the messages",
                                [](Database& database) { return MessageCount(database).value(); });
}

Async<AccountStatus> SQLiteMessageStore::accountStatus() {
    const auto status = connection_->read("look up the account status", [](Database& database) {
        constexpr auto absent = static_cast<std::int64_t>(AccountStatus::noAccount);
        return static_cast<AccountStatus>(setting(database, "accountStatus", absent));
    });
    if (status == AccountStatus::couldNotDetermine) {
        report("cannot determine the account status by the message store " + connection_->name() +
               ": its setting accountStatus is 0, which stands for that");
    }
    co_return status;
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(std::vector<UUID> recordUUIDs) {
    co_return connection_->read("find messages by record UUID", [&](Database& database) {
        MessageFinder finder(database, "record_uuid = ?");
        for (const UUID& recordUUID : distinct(recordUUIDs)) {
            finder.find(recordUUID);
        }
        return std::move(finder).messages();
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(std::vector<std::string> handles) {
    co_return connection_->read("find messages by handle", [&](Database& database) {
        MessageFinder finder(database, "sender = ?");
        for (const std::string& handle : distinct(handles)) {
            finder.find(handle);
        }
        return std::move(finder).messages();
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(std::vector<MessageProvider> providers,
                                                               std::vector<MessageType> types) {
    co_return connection_->read("find messages by provider and type", [&](Database& database) {
        MessageFinder finder(database, "provider = ? AND type = ?");
        for (const MessageProvider provider : distinct(providers)) {
            for (const MessageType type : distinct(types)) {
                finder.find(provider, type);
            }
        }
        return std::move(finder).messages();
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(MessageQuery matching, std::int64_t limit,
                                                               std::int64_t offset) {
    co_return connection_->read("find messages by voicemail identifier", [&](Database& database) {
        MessageFinder finder(database, "voicemail_id = ?");
        for (const std::int32_t voicemailID : distinct(matching.voicemailIDs)) {
            finder.find(voicemailID);
        }
        std::vector<StoredMessage> found = std::move(finder).messages();
        const auto count = static_cast<std::int64_t>(found.size());
        const std::int64_t first = std::clamp<std::int64_t>(offset, 0, count);
        const std::int64_t size = std::clamp<std::int64_t>(limit, 0, count - first);
        found.erase(found.begin() + first + size, found.end());
        found.erase(found.begin(), found.begin() + first);
        return found;
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::allMessages() {
    co_return connection_->read("list all messages", [](Database& database) {
        std::vector<StoredMessage> all;
        // Reading the count costs less than reallocating the list.
        all.reserve(static_cast<std::size_t>(MessageCount(database).value()));
        Statement query = database.prepare(selectStatement("ORDER BY id"));
        while (query.step()) {
            appendMessageFromRow(all, SQLite::Row(query));
        }
        return all;
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::voicemailMessages(MessageProvider provider,
                                                                        MessageType type) {
    co_return connection_->read("list the voicemails", [&](Database& database) {
        MessageFinder finder(database, "provider = ? AND type = ? AND voicemail_id IS NOT NULL");
        finder.find(provider, type);
        return std::move(finder).messages();
    });
}

Async<StoredMessage> SQLiteMessageStore::saveMessage(StoredMessage message) {
    co_return connection_->write("save a message", [&](Database& database) {
        MessageCount count(database);
        StoredMessage saved = message;
        setInitialValues(saved);
        if (isVoicemail(saved)) {
            saved.voicemailID = takeNextVoicemailID(database);
        }
        Statement statement = database.prepare(insertStatement());
        withValues(saved, [&](const auto&... values) { bindAll(statement, values...); });
        statement.run();
        if (database.changedRows() == 0) {
            refuseDuplicate(saved);
        }
        count.note(1);
        return saved;
    });
}

Async<void> SQLiteMessageStore::updateMessage(std::vector<MessageUpdate> updates) {
    connection_->write("update messages", [&](Database& database) {
        MessageCount count(database);
        for (const MessageUpdate& update : updates) {
            apply(database, update);
        }
        if (!updates.empty()) {
            count.note(0);
        }
    });
    co_return;
}

Async<void> SQLiteMessageStore::deleteMessages(std::vector<UUID> recordUUIDs) {
    connection_->write("delete messages", [&](Database& database) {
        MessageCount count(database);
        std::int64_t deleted = 0;
        Statement statement = database.prepare("DELETE FROM messages WHERE record_uuid = ?");
        for (const UUID& recordUUID : recordUUIDs) {
            bindAll(statement, recordUUID);
            statement.run();
            deleted += database.changedRows();
            statement.reset();
        }
        if (deleted > 0) {
            count.note(-deleted);
        }
    });
    co_return;
}

} // namespace Orvex
