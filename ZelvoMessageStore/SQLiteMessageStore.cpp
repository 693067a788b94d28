#include "ZelvoMessageStore/SQLiteMessageStore.h"

#include "ZelvoMessageStore/MessageCount.h"
#include "ZelvoMessageStore/MessageRow.h"
#include "ZelvoMessageStore/Schema.h"
#include "ZelvoMessageStore/StoreConnection.h"
#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace Orvex {

namespace {

using SQLite::Database;
using SQLite::Statement;

/// A row of the settings table; `absent` where there is none.
std::int64_t setting(Database& database, std::string_view name, std::int64_t absent) {
    Statement query = database.prepare("SELECT value FROM settings WHERE name = ?");
    query.bind(1, name);
    return query.step() ? query.integer(0) : absent;
}

std::int32_t takeNextVoicemailID(Database& database) {
    Statement increment = database.prepare(
        "UPDATE settings SET value = value + 1 WHERE name = 'lastVoicemailID' AND value BETWEEN 0 AND ? "
        "RETURNING value");
    increment.bind(1, std::int64_t{std::numeric_limits<std::int32_t>::max() - 1});
    if (!increment.step()) {
        throw StoreFault(
            "there is no further voicemail identifier: the setting lastVoicemailID is missing or not "
            "between 0 and 2147483646");
    }
    const auto identifier = static_cast<std::int32_t>(increment.integer(0));
    increment.run();
    return identifier;
}

std::vector<StoredMessage> allRows(Statement query, std::size_t likelyCount = 0) {
    std::vector<StoredMessage> messages;
    messages.reserve(likelyCount);
    while (query.step()) {
        appendMessageFromRow(messages, query);
    }
    return messages;
}

std::string selectMessages(std::string_view rest) {
    return "SELECT id, " + std::string(messageColumns) + " FROM messages " + std::string(rest);
}

/// The values in ascending order, each once.
template <class T>
std::vector<T> distinct(std::vector<T> values) {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

/// Gathers the messages that meet `condition`, whose parameters are the values. What is found for one list of
/// values must not be found for another.
class MessageFinder {
  public:
    MessageFinder(Database& database, std::string_view condition)
        : query_(database.prepare(selectMessages("WHERE " + std::string(condition) + " ORDER BY id"))) {}

    template <class... Values>
    void find(const Values&... values) {
        bindAll(query_, values...);
        while (query_.step()) {
            rows_.push_back(query_.integer(0));
            appendMessageFromRow(found_, query_);
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

/// False when there is a message with this record UUID.
[[nodiscard]] bool insert(Database& database, const StoredMessage& message) {
    Statement statement = database.prepare("INSERT INTO messages (" + std::string(messageColumns) +
                                           ") VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?) "
                                           "ON CONFLICT (record_uuid) DO NOTHING");
    bindAll(statement, message.conversationID, message.messageFile, message.thumbnail, message.type,
            message.transcriptURL, message.from, message.provider, message.duration, message.sensitive,
            message.recipient, message.isRTT, message.simID, message.quality, message.recordUUID,
            message.voicemailID, message.callUUID, message.mailbox, message.read, message.transcription,
            message.created);
    statement.run();
    return database.changedRows() > 0;
}

bool becomesVoicemail(Database& database, const MessageUpdate& update) {
    if (update.provider != MessageProvider::Telephony) {
        return false;
    }
    Statement query = database.prepare(
        "SELECT 1 FROM messages WHERE record_uuid = ? AND type = 1 AND voicemail_id IS NULL");
    bindAll(query, update.recordUUID);
    return query.step();
}

void apply(Database& database, const MessageUpdate& update) {
    std::optional<std::int32_t> newVoicemailID;
    if (becomesVoicemail(database, update)) {
        newVoicemailID = takeNextVoicemailID(database);
    }
    Statement statement = database.prepare(R"sql(
        UPDATE messages SET
            call_uuid = coalesce(?2, call_uuid),
            conversation_id = coalesce(?3, conversation_id),
            sender = coalesce(?4, sender),
            provider = coalesce(?5, provider),
            read = coalesce(?6, read),
            duration = coalesce(?7, duration),
            mailbox = CASE WHEN ?14 AND coalesce(?8, mailbox) = 2 THEN 0 ELSE coalesce(?8, mailbox) END,
            recipient = coalesce(?9, recipient),
            transcription = coalesce(?10, transcription),
            rtt = coalesce(?11, rtt),
            transcript = coalesce(?12, transcript),
            sim_id = coalesce(?13, sim_id),
            voicemail_id = CASE WHEN coalesce(?5, provider) = 1 AND type = 1 THEN coalesce(voicemail_id, ?15) END
        WHERE record_uuid = ?1)sql");
    bindAll(statement, update.recordUUID, update.callUUID, update.conversationID, update.from,
            update.provider, update.read, update.duration, update.mailbox, update.recipient,
            update.transcription, update.isRTT, update.transcriptURL, update.simID, update.undelete,
            newVoicemailID);
    statement.run();
    if (database.changedRows() == 0) {
        throw StoreFault("it holds no message with the record UUID " + update.recordUUID.text() +
                         "; it may have been deleted meanwhile");
    }
}

} // namespace

SQLiteMessageStore::SQLiteMessageStore(const std::filesystem::path& file)
    : connection_(std::make_unique<StoreConnection>(file)) {}

SQLiteMessageStore::~SQLiteMessageStore() = default;

std::string SQLiteMessageStore::description(AccountStatus status) const {
    switch (status) {
    case AccountStatus::signedIn:
        return "signed in";
    case AccountStatus::noAccount:
        return "no account";
    case AccountStatus::restricted:
        return "restricted";
    case AccountStatus::temporarilyUnavailable:
        return "temporarily unavailable";
    case AccountStatus::couldNotDetermine:
    case AccountStatus::waiting:
        break;
    }
    return "unknown";
}

Async<bool> SQLiteMessageStore::isTranscriptionEnabled() {
    co_return connection_->read("look up whether transcription is enabled", [](Database& database) {
        const std::int64_t value = setting(database, "transcriptionEnabled", 1);
        if (value != 0 && value != 1) {
            throw StoreFault("the setting transcriptionEnabled is " + std::to_string(value) + ", not 0 or 1");
        }
        return value == 1;
    });
}

Async<std::int64_t> SQLiteMessageStore::messageCount() {
    co_return connection_->read("count the messages",
                                [](Database& database) { return MessageCount(database).value(); });
}

Async<AccountStatus> SQLiteMessageStore::accountStatus() {
    co_return connection_->read("look up the account status", [](Database& database) {
        constexpr auto absent = static_cast<std::int64_t>(AccountStatus::noAccount);
        return static_cast<AccountStatus>(setting(database, "accountStatus", absent));
    });
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
        // Counting costs less than a list that moves each time it has grown.
        const auto count = static_cast<std::size_t>(MessageCount(database).value());
        return allRows(database.prepare(selectMessages("ORDER BY id")), count);
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::voicemailMessages(MessageProvider provider,
                                                                        MessageType type) {
    co_return connection_->read("list the voicemails", [&](Database& database) {
        Statement query = database.prepare(
            selectMessages("WHERE provider = ? AND type = ? AND voicemail_id IS NOT NULL ORDER BY id"));
        bindAll(query, provider, type);
        return allRows(std::move(query));
    });
}

Async<StoredMessage> SQLiteMessageStore::saveMessage(StoredMessage message) {
    co_return connection_->write("save a message", [&](Database& database) {
        MessageCount count(database);
        StoredMessage saved = message;
        const bool isVoicemail =
            saved.provider == MessageProvider::Telephony && saved.type == MessageType::audio;
        saved.voicemailID = isVoicemail ? std::optional(takeNextVoicemailID(database)) : std::nullopt;
        saved.callUUID.reset();
        saved.mailbox = Mailbox::inbox;
        saved.read = false;
        saved.transcription = TranscriptionStatus::notAvailable;
        saved.created = currentTime();
        if (!insert(database, saved)) {
            throw StoreFault("it holds a message with the record UUID " + saved.recordUUID.text() +
                             " already; choose another");
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
