#include "ZelvoMessageStore/MessageDatabase.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/PrivateFolder.h"
#include "Foundation/QuotedText.h"
#include "ZelvoMessageStore/MessageRow.h"
#include "ZelvoMessageStore/Schema.h"
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sqlite3.h>
#include <sys/stat.h>
#include <system_error>

namespace Orvex {

namespace {

using SQLite::Database;
using SQLite::Statement;
using SQLite::Transaction;

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
    RowFinder finder(database, "record_uuid = ? AND type = 1 AND voicemail_id IS NULL");
    finder.find(update.recordUUID);
    return !std::move(finder).rows().empty();
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

MessageDatabase::MessageDatabase(std::filesystem::path file)
    : path_(std::filesystem::absolute(file).native()) {}

template <class Operation>
auto MessageDatabase::read(std::string_view attempt, Operation operation) {
    try {
        Database& database = databaseToRead();
        const Transaction transaction(database, Transaction::Kind::deferred);
        return operation(database);
    } catch (const std::exception&) {
        rethrowExplained(attempt);
    }
}

template <class Operation>
auto MessageDatabase::write(std::string_view attempt, Operation operation) {
    try {
        Database& database = databaseToWrite();
        Transaction transaction(database, Transaction::Kind::immediate);
        auto result = operation(database);
        transaction.commit();
        return result;
    } catch (const std::exception&) {
        rethrowExplained(attempt);
    }
}

bool MessageDatabase::openStore() {
    if (store_) {
        return true;
    }
    if (!holdsStore(path_)) {
        return false;
    }
    Database database(path_);
    const std::int64_t version = schemaVersion(database);
    if (version == 0) {
        return false;
    }
    adopt(std::move(database), version);
    return true;
}

void MessageDatabase::adopt(Database database, std::int64_t version) {
    // A journal that is emptied costs one less write of the folder than one that is deleted. A write-ahead
    // log is no choice: SQLite before 3.51.3 can damage it when two connections write and checkpoint at once.
    database.execute("PRAGMA journal_mode = TRUNCATE");
    migrate(database, version);
    store_ = std::move(database);
}

Database& MessageDatabase::databaseToRead() {
    if (openStore()) {
        return *store_;
    }
    if (!emptyStore_) {
        emptyStore_.emplace(std::string(Database::inMemory));
        migrate(*emptyStore_, 0);
    }
    return *emptyStore_;
}

Database& MessageDatabase::databaseToWrite() {
    if (!openStore()) {
        createFile();
        Database database(path_);
        const std::int64_t version = schemaVersion(database);
        adopt(std::move(database), version);
    }
    return *store_;
}

void MessageDatabase::createFile() const {
    makePrivateFolders(std::filesystem::path(path_).parent_path());
    constexpr mode_t mode = S_IRUSR | S_IWUSR;
    const FileDescriptor file(
        open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (file.get() >= 0) {
        // Whatever the umask is.
        fchmod(file.get(), mode);
    } else if (errno != EEXIST) {
        throw std::system_error(errno, std::generic_category(), "the file cannot be made");
    }
}

void MessageDatabase::rethrowExplained(std::string_view attempt) const {
    std::string reason;
    try {
        throw;
    } catch (const SQLite::Error& error) {
        reason = cause(error);
    } catch (const std::exception& error) {
        reason = error.what();
    }
    throw MessageStoreError("cannot " + std::string(attempt) + " in the message store " + inQuotes(path_) +
                            ": " + reason);
}

std::string MessageDatabase::cause(const SQLite::Error& error) const {
    switch (error.primaryCode()) {
    case SQLITE_BUSY:
        return "another program has kept it locked for too long; try again when that is done";
    case SQLITE_CANTOPEN:
        return "the file or the journal beside it cannot be opened (" + std::string(error.what()) + ")";
    case SQLITE_CORRUPT:
        return "the file is damaged (" + std::string(error.what()) +
               "); restore a copy of it, or see what 'sqlite3 " + inQuotes(path_) + " .recover' brings back";
    case SQLITE_FULL:
        return "the disk is full; make room and try again";
    case SQLITE_NOTADB:
        return "it is no message store, nor any other SQLite database; choose another file";
    case SQLITE_READONLY:
        return "the file cannot be written; check its permissions and those of its folder";
    default:
        return error.what();
    }
}

bool MessageDatabase::isTranscriptionEnabled() {
    return read("look up whether transcription is enabled", [](Database& database) {
        const std::int64_t value = setting(database, "transcriptionEnabled", 1);
        if (value != 0 && value != 1) {
            throw StoreFault("the setting transcriptionEnabled is " + std::to_string(value) + ", not 0 or 1");
        }
        return value == 1;
    });
}

std::int64_t MessageDatabase::messageCount() {
    return read("count the messages",
                [](Database& database) { return database.queryInteger("SELECT count(*) FROM messages"); });
}

AccountStatus MessageDatabase::accountStatus() {
    return read("look up the account status", [](Database& database) {
        constexpr auto absent = static_cast<std::int64_t>(AccountStatus::noAccount);
        return static_cast<AccountStatus>(setting(database, "accountStatus", absent));
    });
}

std::vector<StoredMessage> MessageDatabase::messages(const std::vector<UUID>& recordUUIDs) {
    return read("find messages by record UUID", [&](Database& database) {
        RowFinder finder(database, "record_uuid = ?");
        for (const UUID& recordUUID : recordUUIDs) {
            finder.find(recordUUID);
        }
        return messagesInRows(database, std::move(finder).rows());
    });
}

std::vector<StoredMessage> MessageDatabase::messages(const std::vector<std::string>& handles) {
    return read("find messages by handle", [&](Database& database) {
        RowFinder finder(database, "sender = ?");
        for (const std::string& handle : distinct(handles)) {
            finder.find(handle);
        }
        return messagesInRows(database, std::move(finder).rows());
    });
}

std::vector<StoredMessage> MessageDatabase::messages(const std::vector<MessageProvider>& providers,
                                                     const std::vector<MessageType>& types) {
    return read("find messages by provider and type", [&](Database& database) {
        RowFinder finder(database, "provider = ? AND type = ?");
        for (const MessageProvider provider : distinct(providers)) {
            for (const MessageType type : distinct(types)) {
                finder.find(provider, type);
            }
        }
        return messagesInRows(database, std::move(finder).rows());
    });
}

std::vector<StoredMessage> MessageDatabase::messages(const MessageQuery& matching, std::int64_t limit,
                                                     std::int64_t offset) {
    return read("find messages by voicemail identifier", [&](Database& database) {
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

std::vector<StoredMessage> MessageDatabase::allMessages() {
    return read("list all messages",
                [](Database& database) { return allRows(database.prepare(selectMessages("ORDER BY id"))); });
}

std::vector<StoredMessage> MessageDatabase::voicemailMessages(MessageProvider provider, MessageType type) {
    return read("list the voicemails", [&](Database& database) {
        Statement query = database.prepare(
            selectMessages("WHERE provider = ? AND type = ? AND voicemail_id IS NOT NULL ORDER BY id"));
        bindAll(query, provider, type);
        return allRows(std::move(query));
    });
}

StoredMessage MessageDatabase::saveMessage(const StoredMessage& message) {
    return write("save a message", [&](Database& database) {
        RowFinder sameUUID(database, "record_uuid = ?");
        sameUUID.find(message.recordUUID);
        if (!std::move(sameUUID).rows().empty()) {
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

void MessageDatabase::updateMessage(const std::vector<MessageUpdate>& updates) {
    write("update messages", [&](Database& database) {
        for (const MessageUpdate& update : updates) {
            apply(database, update);
        }
        return updates.size();
    });
}

void MessageDatabase::deleteMessages(const std::vector<UUID>& recordUUIDs) {
    write("delete messages", [&](Database& database) {
        Statement statement = database.prepare("DELETE FROM messages WHERE record_uuid = ?");
        for (const UUID& recordUUID : recordUUIDs) {
            bindAll(statement, recordUUID);
            statement.run();
            statement.reset();
        }
        return recordUUIDs.size();
    });
}

} // namespace Orvex
