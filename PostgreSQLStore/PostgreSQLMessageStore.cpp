#include "PostgreSQLStore/PostgreSQLMessageStore.h"

#include "Foundation/QuotedText.h"
#include "PostgreSQLStore/MessageRow.h"
#include "PostgreSQLStore/SharedSchema.h"
#include <algorithm>
#include <type_traits>
#include <utility>

namespace Orvex {

using PostgreSQL::parameters;
using PostgreSQL::Row;

namespace {

using std::chrono::steady_clock;

/// SQLSTATEs: https://www.postgresql.org/docs/15/errcodes-appendix.html
std::string causeOf(const PostgreSQL::Error& error) {
    std::string text = error.what();
    const std::string& code = error.code();
    if (code == "42501") {
        return "the user may not do that (" + text + ")";
    }
    if (code == "25006") {
        return "it can only be read: the server is a standby, or the user may not write (" + text + ")";
    }
    if (code == "53100") {
        return "the server's disk is full (" + text + "); make room and try again";
    }
    if (code == "55P03") {
        return "another program keeps it locked; try again when that is done";
    }
    return text;
}

AccountStatus statusOf(const PostgreSQL::Error& error) {
    const std::string& code = error.code();
    if (code.starts_with("28") || code == "42501") {
        return AccountStatus::noAccount;
    }
    return code.starts_with("57P") ? AccountStatus::temporarilyUnavailable : AccountStatus::couldNotDetermine;
}

} // namespace

void PostgreSQLMessageStore::rethrowExplained(const char* attempt) {
    connection_.close();
    std::string reason;
    try {
        throw;
    } catch (const PostgreSQL::Error& error) {
        reason = causeOf(error);
    } catch (const std::exception& error) {
        reason = error.what();
    }
    throw MessageStoreError("cannot " + std::string(attempt) + " in the message store " +
                            inQuotes(location_.name()) + ": " + onOneLine(reason));
}

Async<void> PostgreSQLMessageStore::connect(Connection::Deadline deadline, Connection::ErrorText errorText) {
    if (connection_.isOpen()) {
        co_return;
    }
    hasStore_ = false;
    co_await connection_.open(location_, deadline, errorText);
    // Names are looked up in the store's schema alone. A client that waits in the middle of a change has
    // left, and must not keep the others waiting.
    co_await connection_.execute("SET search_path = orvex; SET client_min_messages = warning; "
                                 "SET lock_timeout = '30s'; SET idle_in_transaction_session_timeout = '30s'");
}

Async<bool> PostgreSQLMessageStore::openStore() {
    co_await connect(Connection::never, Connection::ErrorText::sentence);
    if (!hasStore_) {
        hasStore_ = co_await hasSharedStore(connection_);
    }
    co_return hasStore_;
}

template <class T>
Async<T> PostgreSQLMessageStore::read(const char* attempt, Async<T> operation, T inEmptyStore) {
    try {
        if (!co_await openStore()) {
            co_return inEmptyStore;
        }
        co_return co_await std::move(operation);
    } catch (const std::exception&) {
        rethrowExplained(attempt);
    }
}

template <class T>
Async<T> PostgreSQLMessageStore::write(const char* attempt, Async<T> operation) {
    try {
        if (!co_await openStore()) {
            co_await createSharedStore(connection_);
        }
        co_await beginChange(connection_);
        if constexpr (std::is_void_v<T>) {
            co_await std::move(operation);
            co_await connection_.commit();
        } else {
            T result = co_await std::move(operation);
            co_await connection_.commit();
            co_return result;
        }
    } catch (const std::exception&) {
        rethrowExplained(attempt);
    }
}

std::string PostgreSQLMessageStore::description(AccountStatus status) const {
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

Async<bool> PostgreSQLMessageStore::transcriptionSetting() {
    Parameters none;
    const std::int64_t value = co_await connection_.integer(
        "SELECT value FROM settings WHERE name = 'transcriptionEnabled'", std::move(none), 1);
    if (value != 0 && value != 1) {
        throw std::runtime_error("the setting transcriptionEnabled is " + std::to_string(value) +
                                 ", not 0 or 1");
    }
    co_return value == 1;
}

Async<bool> PostgreSQLMessageStore::isTranscriptionEnabled() {
    return read("look up whether transcription is enabled", transcriptionSetting(), true);
}

Async<std::int64_t> PostgreSQLMessageStore::messageCount() {
    return read("count the messages", connection_.integer("SELECT count(*) FROM messages", {}, 0));
}

Async<AccountStatus> PostgreSQLMessageStore::accountStatus() {
    const auto deadline = steady_clock::now() + std::chrono::seconds(2);
    auto status = AccountStatus::couldNotDetermine;
    try {
        co_await connect(deadline, Connection::ErrorText::code);
        connection_.setDeadline(deadline);
        Parameters none;
        status = static_cast<AccountStatus>(co_await connection_.integer(R"sql(
            SELECT CASE
                WHEN NOT has_table_privilege(to_regclass('orvex.messages'), 'SELECT') THEN 2
                WHEN current_setting('transaction_read_only') = 'off' AND coalesce(
                    has_table_privilege(to_regclass('orvex.messages'), 'INSERT')
                        AND has_table_privilege(to_regclass('orvex.messages'), 'UPDATE')
                        AND has_table_privilege(to_regclass('orvex.messages'), 'DELETE')
                        AND has_table_privilege(to_regclass('orvex.settings'), 'UPDATE'),
                    has_schema_privilege(to_regnamespace('orvex'), 'CREATE'),
                    has_database_privilege(current_database(), 'CREATE')) THEN 1
                ELSE 3 END :: bigint)sql",
                                                                         std::move(none), 0));
        connection_.setDeadline(Connection::never);
        co_return status;
    } catch (const PostgreSQL::Timeout&) {
        status = AccountStatus::waiting;
    } catch (const PostgreSQL::Error& error) {
        status = statusOf(error);
    } catch (const std::exception&) {
        rethrowExplained("look up the account status");
    }
    connection_.close();
    co_return status;
}

Async<std::vector<StoredMessage>> PostgreSQLMessageStore::select(std::string_view rest,
                                                                 Parameters parameters) {
    const std::string query =
        "SELECT id, " + std::string(sharedMessageColumns) + " FROM messages " + std::string(rest);
    std::vector<StoredMessage> messages;
    Connection::RowHandler keep = [&messages](const Row& row) {
        messages.push_back(messageFromSharedRow(row));
    };
    co_await connection_.run(query, std::move(parameters), std::move(keep));
    co_return messages;
}

Async<std::vector<StoredMessage>> PostgreSQLMessageStore::messages(std::vector<UUID> recordUUIDs) {
    return read("find messages by record UUID",
                select("WHERE record_uuid = ANY ($1) ORDER BY id", parameters(recordUUIDs)));
}

Async<std::vector<StoredMessage>> PostgreSQLMessageStore::messages(std::vector<std::string> handles) {
    return read("find messages by handle", select("WHERE substr(sender, 1, 256) = ANY (ARRAY(SELECT "
                                                  "substr(handle, 1, 256) FROM unnest($1) handle)) "
                                                  "AND sender = ANY ($1) ORDER BY id",
                                                  parameters(handles)));
}

Async<std::vector<StoredMessage>> PostgreSQLMessageStore::messages(std::vector<MessageProvider> providers,
                                                                   std::vector<MessageType> types) {
    return read(
        "find messages by provider and type",
        select("WHERE provider = ANY ($1) AND type = ANY ($2) ORDER BY id", parameters(providers, types)));
}

Async<std::vector<StoredMessage>> PostgreSQLMessageStore::messages(MessageQuery matching, std::int64_t limit,
                                                                   std::int64_t offset) {
    return read("find messages by voicemail identifier",
                select("WHERE voicemail_id = ANY ($1) ORDER BY id LIMIT $2 OFFSET $3",
                       parameters(matching.voicemailIDs, std::max(limit, std::int64_t{0}),
                                  std::max(offset, std::int64_t{0}))));
}

Async<std::vector<StoredMessage>> PostgreSQLMessageStore::allMessages() {
    return read("list all messages", select("ORDER BY id", {}));
}

Async<std::vector<StoredMessage>> PostgreSQLMessageStore::voicemailMessages(MessageProvider provider,
                                                                            MessageType type) {
    return read("list the voicemails",
                select("WHERE provider = $1 AND type = $2 AND voicemail_id IS NOT NULL ORDER BY id",
                       parameters(provider, type)));
}

Async<std::int32_t> PostgreSQLMessageStore::takeNextVoicemailID() {
    Parameters none;
    const std::int64_t identifier =
        co_await connection_.integer("UPDATE settings SET value = value + 1 WHERE name = 'lastVoicemailID' "
                                     "AND value BETWEEN 0 AND 2147483646 RETURNING value",
                                     std::move(none), 0);
    if (identifier == 0) {
        throw std::runtime_error(
            "there is no further voicemail identifier: the setting lastVoicemailID is missing or "
            "not between 0 and 2147483646");
    }
    co_return static_cast<std::int32_t>(identifier);
}

Async<StoredMessage> PostgreSQLMessageStore::insert(StoredMessage message) {
    message.voicemailID.reset();
    if (message.provider == MessageProvider::Telephony && message.type == MessageType::audio) {
        message.voicemailID = co_await takeNextVoicemailID();
    }
    message.callUUID.reset();
    message.mailbox = Mailbox::inbox;
    message.read = false;
    message.transcription = TranscriptionStatus::notAvailable;
    message.created = currentTime();
    const std::string statement =
        "INSERT INTO messages (" + std::string(sharedMessageColumns) +
        ") VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14, $15, $16, "
        "$17, $18, $19, $20) ON CONFLICT (record_uuid) DO NOTHING";
    Parameters values = parameters(
        message.conversationID, message.messageFile, message.thumbnail, message.type, message.transcriptURL,
        message.from, message.provider, message.duration, message.sensitive, message.recipient, message.isRTT,
        message.simID, message.quality, message.recordUUID, message.voicemailID, message.callUUID,
        message.mailbox, message.read, message.transcription, message.created);
    if (co_await connection_.run(statement, std::move(values)) == 0) {
        throw std::runtime_error("it holds a message with the record UUID " + message.recordUUID.text() +
                                 " already; choose another");
    }
    co_return message;
}

Async<StoredMessage> PostgreSQLMessageStore::saveMessage(StoredMessage message) {
    return write("save a message", insert(std::move(message)));
}

Async<void> PostgreSQLMessageStore::apply(MessageUpdate update) {
    std::optional<std::int32_t> newVoicemailID;
    if (update.provider == MessageProvider::Telephony) {
        Parameters which = parameters(update.recordUUID);
        const std::int64_t becomesVoicemail = co_await connection_.integer(
            "SELECT count(*) FROM messages WHERE record_uuid = $1 AND type = 1 AND voicemail_id IS NULL",
            std::move(which), 0);
        if (becomesVoicemail != 0) {
            newVoicemailID = co_await takeNextVoicemailID();
        }
    }
    Parameters values =
        parameters(update.recordUUID, update.callUUID, update.conversationID, update.from, update.provider,
                   update.read, update.duration, update.mailbox, update.recipient, update.transcription,
                   update.isRTT, update.transcriptURL, update.simID, update.undelete, newVoicemailID);
    const std::int64_t changed = co_await connection_.run(R"sql(
        UPDATE messages SET
            call_uuid = coalesce($2, call_uuid),
            conversation_id = coalesce($3, conversation_id),
            sender = coalesce($4, sender),
            provider = coalesce($5, provider),
            read = coalesce($6, read),
            duration = coalesce($7, duration),
            mailbox = CASE WHEN $14 AND coalesce($8, mailbox) = 2 THEN 0 ELSE coalesce($8, mailbox) END,
            recipient = coalesce($9, recipient),
            transcription = coalesce($10, transcription),
            rtt = coalesce($11, rtt),
            transcript = coalesce($12, transcript),
            sim_id = coalesce($13, sim_id),
            voicemail_id = CASE WHEN coalesce($5, provider) = 1 AND type = 1 THEN coalesce(voicemail_id, $15) END
        WHERE record_uuid = $1)sql",
                                                          std::move(values));
    if (changed == 0) {
        throw std::runtime_error("it holds no message with the record UUID " + update.recordUUID.text() +
                                 "; it may have been deleted meanwhile");
    }
}

Async<void> PostgreSQLMessageStore::applyAll(std::vector<MessageUpdate> updates) {
    for (MessageUpdate& update : updates) {
        co_await apply(std::move(update));
    }
}

Async<void> PostgreSQLMessageStore::updateMessage(std::vector<MessageUpdate> updates) {
    return write("update messages", applyAll(std::move(updates)));
}

Async<void> PostgreSQLMessageStore::remove(std::vector<UUID> recordUUIDs) {
    Parameters which = parameters(recordUUIDs);
    co_await connection_.run("DELETE FROM messages WHERE record_uuid = ANY ($1)", std::move(which));
}

Async<void> PostgreSQLMessageStore::deleteMessages(std::vector<UUID> recordUUIDs) {
    return write("delete messages", remove(std::move(recordUUIDs)));
}

} // namespace Orvex
