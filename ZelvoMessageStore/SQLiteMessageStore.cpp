#include "ZelvoMessageStore/SQLiteMessageStore.h"

#include "ZelvoMessageStore/MessageRow.h"
#include "ZelvoMessageStore/Schema.h"
#include "ZelvoMessageStore/StoreConnection.h"
#include <algorithm>
#include <limits>
#include <span>
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

std::vector<StoredMessage> allRows(Statement query) {
    std::vector<StoredMessage> messages;
    while (query.step()) {
        messages.push_back(messageFromRow(query));
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

using RowIDs = std::vector<std::int64_t>;

/// Adds the rows that meet `condition`, whose parameters are the values.
class RowFinder {
  public:
    RowFinder(Database& database, std::string_view condition)
        : query_(database.prepare("SELECT id FROM messages WHERE " + std::string(condition))) {}

    template <class... Values>
    void find(const Values&... values) {
        bindAll(query_, values...);
        while (query_.step()) {
            found_.push_back(query_.integer(0));
        }
        query_.reset();
    }

    /// The rows found, each once, in the order in which they were saved.
    RowIDs rows() && { return distinct(std::move(found_)); }

  private:
    Statement query_;
    RowIDs found_;
};

template <class... Values>
bool hasRow(Database& database, std::string_view condition, const Values&... values) {
    Statement query = database.prepare("SELECT 1 FROM messages WHERE " + std::string(condition));
    bindAll(query, values...);
    return query.step();
}

std::vector<StoredMessage> messagesInRows(Database& database, std::span<const std::int64_t> rows) {
    std::vector<StoredMessage> messages;
    messages.reserve(rows.size());
    Statement query = database.prepare(selectMessages("WHERE id = ?"));
    for (const std::int64_t row : rows) {
        query.bind(1, row);
        if (query.step()) {
            messages.push_back(messageFromRow(query));
        }
        query.reset();
    }
    return messages;
}

void insert(Database& database, const StoredMessage& message) {
    Statement statement = database.prepare("INSERT INTO messages (" + std::string(messageColumns) +
                                           ") VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
    bindAll(statement, message.conversationID, message.messageFile, message.thumbnail, message.type,
            message.transcriptURL, message.from, message.provider, message.duration, message.sensitive,
            message.recipient, message.isRTT, message.simID, message.quality, message.recordUUID,
            message.voicemailID, message.callUUID, message.mailbox, message.read, message.transcription,
            message.created);
    statement.run();
}

bool becomesVoicemail(Database& database, const MessageUpdate& update) {
    if (update.provider != MessageProvider::Telephony) {
        return false;
    }
    return hasRow(database, "record_uuid = ? AND type = 1 AND voicemail_id IS NULL", update.recordUUID);
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
    co_return connection_->read("count the messages", [](Database& database) {
        // Of all of them; SQLite does not interrupt a count without a condition.
        return database.queryInteger("SELECT count(*) FROM messages WHERE provider > 0");
    });
}

Async<AccountStatus> SQLiteMessageStore::accountStatus() {
    co_return connection_->read("look up the account status", [](Database& database) {
        constexpr auto absent = static_cast<std::int64_t>(AccountStatus::noAccount);
        return static_cast<AccountStatus>(setting(database, "accountStatus", absent));
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(std::vector<UUID> recordUUIDs) {
    co_return connection_->read("find messages by record UUID", [&](Database& database) {
        RowFinder finder(database, "record_uuid = ?");
        for (const UUID& recordUUID : recordUUIDs) {
            finder.find(recordUUID);
        }
        return messagesInRows(database, std::move(finder).rows());
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(std::vector<std::string> handles) {
    co_return connection_->read("find messages by handle", [&](Database& database) {
        RowFinder finder(database, "sender = ?");
        for (const std::string& handle : distinct(handles)) {
            finder.find(handle);
        }
        return messagesInRows(database, std::move(finder).rows());
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(std::vector<MessageProvider> providers,
                                                               std::vector<MessageType> types) {
    co_return connection_->read("find messages by provider and type", [&](Database& database) {
        RowFinder finder(database, "provider = ? AND type = ?");
        for (const MessageProvider provider : distinct(providers)) {
            for (const MessageType type : distinct(types)) {
                finder.find(provider, type);
            }
        }
        return messagesInRows(database, std::move(finder).rows());
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(MessageQuery matching, std::int64_t limit,
                                                               std::int64_t offset) {
    co_return connection_->read("find messages by voicemail identifier", [&](Database& database) {
        RowFinder finder(database, "voicemail_id = ?");
        for (const std::int32_t voicemailID : matching.voicemailIDs) {
            finder.find(voicemailID);
        }
        const RowIDs rows = std::move(finder).rows();
        const auto count = static_cast<std::int64_t>(rows.size());
        const std::int64_t first = std::clamp<std::int64_t>(offset, 0, count);
        const std::int64_t size = std::clamp<std::int64_t>(limit, 0, count - first);
        return messagesInRows(database, std::span(rows).subspan(static_cast<std::size_t>(first),
                                                                static_cast<std::size_t>(size)));
    });
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::allMessages() {
    co_return connection_->read("list all messages", [](Database& database) {
        return allRows(database.prepare(selectMessages("ORDER BY id")));
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
        if (hasRow(database, "record_uuid = ?", message.recordUUID)) {
            throw StoreFault("it holds a message with the record UUID " + message.recordUUID.text() +
                             " already; choose another");
        }
        StoredMessage saved = message;
        const bool isVoicemail =
            saved.provider == MessageProvider::Telephony && saved.type == MessageType::audio;
        saved.voicemailID = isVoicemail ? std::optional(takeNextVoicemailID(database)) : std::nullopt;
        saved.callUUID.reset();
        saved.mailbox = Mailbox::inbox;
        saved.read = false;
        saved.transcription = TranscriptionStatus::notAvailable;
        saved.created = currentTime();
        insert(database, saved);
        return saved;
    });
}

Async<void> SQLiteMessageStore::updateMessage(std::vector<MessageUpdate> updates) {
    connection_->write("update messages", [&](Database& database) {
        for (const MessageUpdate& update : updates) {
            apply(database, update);
        }
    });
    co_return;
}

Async<void> SQLiteMessageStore::deleteMessages(std::vector<UUID> recordUUIDs) {
    connection_->write("delete messages", [&](Database& database) {
        Statement statement = database.prepare("DELETE FROM messages WHERE record_uuid = ?");
        for (const UUID& recordUUID : recordUUIDs) {
            bindAll(statement, recordUUID);
            statement.run();
            statement.reset();
        }
    });
    co_return;
}

} // namespace Orvex
