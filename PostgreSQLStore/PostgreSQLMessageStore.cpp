#include "PostgreSQLStore/PostgreSQLMessageStore.h"

#include "Foundation/QuotedText.h"
#include "Orvex/store/MessageTable.h"
#include "PostgreSQLStore/SharedSchema.h"
#include <algorithm>
#include <iterator>
#include <type_traits>
#include <utility>

namespace Orvex {

using PostgreSQL::parameters;
using PostgreSQL::Row;

namespace {

using std::chrono::steady_clock;

/// Translates a statement of `MessageTable`: its parameters, and the name of its only table.
std::string translated(std::string_view statement) {
    std::string changed(statement);
    std::replace(changed.begin(), changed.end(), '?', '$');
    for (const std::string_view table : {" messages ", " settings "}) {
        if (const std::size_t at = changed.find(table); at != std::string::npos) {
            changed.insert(at + 1, "orvex.");
        }
    }
    return changed;
}

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
    if (code == "23505" && text.find("voicemail_id") != std::string::npos) {
        return std::string(voicemailIDIsTaken);
    }
    return text;
}

/// Removes the places in the server's sources, which the verbose form of an error contains.
std::string withoutLocations(std::string text) {
    for (std::size_t at = 0; (at = text.find("; LOCATION:", at)) != std::string::npos;) {
        text.erase(at, std::min(text.find("; ", at + 1), text.size()) - at);
    }
    return text;
}

/// Yields an `AccountStatus` by the rights of the user.
constexpr std::string_view accountStatusQuery = R"sql(
    SELECT CASE
        WHEN NOT (has_table_privilege(messages, 'SELECT') AND has_table_privilege(settings, 'SELECT')) THEN 2
        WHEN current_setting('default_transaction_read_only') = 'off' AND NOT pg_is_in_recovery() AND coalesce(
            has_table_privilege(messages, 'INSERT')
                AND has_table_privilege(messages, 'UPDATE')
                AND has_table_privilege(messages, 'DELETE')
                AND has_table_privilege(settings, 'UPDATE'),
            has_schema_privilege(to_regnamespace('orvex'), 'CREATE'),
            has_database_privilege(current_database(), 'CREATE')) THEN 1
        ELSE 3 END :: bigint
    FROM to_regclass('orvex.messages') messages, to_regclass('orvex.settings') settings)sql";

using MessageList = std::vector<StoredMessage>;

/// A list of unknown length grows in parts of this size: a growing vector would need memory for two lists.
constexpr std::size_t partSize = 1 << 16;

/// Moves all messages into one list, and frees each part after that.
MessageList joined(std::vector<MessageList> parts) {
    MessageList messages = std::move(parts.front());
    messages.reserve((parts.size() - 1) * partSize + parts.back().size());
    for (auto part = parts.begin() + 1; part != parts.end(); ++part) {
        std::ranges::move(*part, std::back_inserter(messages));
        *part = MessageList(); // frees the memory, which `clear` keeps
    }
    return messages;
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
    Orvex::rethrowExplained(attempt, inQuotes(uri_.name()), causeOf, [](const std::string& condition) {
        return ", run in psql: DELETE FROM orvex.messages WHERE " + condition;
    });
}

Async<void> PostgreSQLMessageStore::connect(Connection::Deadline deadline, Connection::ErrorText errorText) {
    if (connection_.isOpen()) {
        co_return;
    }
    hasStore_ = false;
    co_await connection_.open(uri_, deadline, errorText);
}

template <class T>
Async<T> PostgreSQLMessageStore::read(const char* attempt, Async<T> operation, T inEmptyStore) {
    try {
        co_await connect(Connection::never, Connection::ErrorText::sentence);
        hasStore_ = co_await beginRead(connection_, hasStore_);
        T result = std::move(inEmptyStore);
        if (hasStore_) {
            result = co_await std::move(operation);
        }
        co_await connection_.execute("COMMIT");
        co_return result;
    } catch (const std::exception&) {
        rethrowExplained(attempt);
    }
}

template <class T>
Async<T> PostgreSQLMessageStore::write(const char* attempt, Async<T> operation) {
    try {
        co_await connect(Connection::never, Connection::ErrorText::sentence);
        co_await beginChange(connection_, hasStore_);
        hasStore_ = true;
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

Async<bool> PostgreSQLMessageStore::isEnabled() {
    Parameters none;
    const std::optional<std::int64_t> value = co_await connection_.integer(
        "SELECT value FROM orvex.settings WHERE name = 'transcriptionEnabled'", std::move(none));
    co_return Orvex::isTranscriptionEnabled(value.value_or(1));
}

Async<bool> PostgreSQLMessageStore::isTranscriptionEnabled() {
    return read("look up whether transcription is enabled", isEnabled(), true);
}

Async<std::int64_t> PostgreSQLMessageStore::messageCount() {
    return read("count the messages", connection_.oneInteger("SELECT count(*) FROM orvex.messages"));
}

Async<AccountStatus> PostgreSQLMessageStore::accountStatus() {
    const auto deadline = steady_clock::now() + std::chrono::seconds(2);
    auto status = AccountStatus::couldNotDetermine;
    try {
        co_await connect(deadline, Connection::ErrorText::code);
        connection_.setDeadline(deadline);
        hasStore_ = co_await beginRead(connection_, true) && hasStore_;
        const std::int64_t found = co_await connection_.oneInteger(accountStatusQuery);
        co_await connection_.execute("COMMIT");
        status = static_cast<AccountStatus>(found);
        if (status != AccountStatus::signedIn && status != AccountStatus::noAccount &&
            status != AccountStatus::restricted) {
            PostgreSQL::refuseAnswer("SELECT", "an account status that has no name");
        }
        connection_.setDeadline(Connection::never);
        co_return status;
    } catch (const PostgreSQL::Timeout&) {
        status = AccountStatus::waiting;
    } catch (const PostgreSQL::Error& error) {
        status = statusOf(error);
        if (status == AccountStatus::couldNotDetermine) {
            report("cannot determine the account status by the message store " + inQuotes(uri_.name()) +
                   ": " + withoutLocations(causeOf(error)));
        }
    } catch (const std::exception&) {
        rethrowExplained("look up the account status");
    }
    connection_.close();
    co_return status;
}

Async<std::vector<StoredMessage>> PostgreSQLMessageStore::select(std::string_view rest,
                                                                 Parameters parameters) {
    const std::string query = translated(selectStatement(rest));
    constexpr int columns = 1 + static_cast<int>(selectedColumns.size());
    std::vector<MessageList> parts(1);
    Connection::Rows rows{.columns = columns, .handler = [&parts](const Row& row) {
                              if (parts.back().size() == partSize) {
                                  parts.emplace_back().reserve(partSize);
                              }
                              appendMessageFromRow(parts.back(), row);
                          }};
    co_await connection_.run(query, std::move(parameters), std::move(rows));
    co_return joined(std::move(parts));
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
    const std::string statement = translated(takeVoicemailIDStatement);
    co_return checkedVoicemailID(co_await connection_.integer(statement, std::move(none)));
}

Async<StoredMessage> PostgreSQLMessageStore::insert(StoredMessage message) {
    setInitialValues(message);
    if (isVoicemail(message)) {
        message.voicemailID = co_await takeNextVoicemailID();
    }
    const std::string statement = translated(insertStatement());
    Parameters values = withValues(message, [](const auto&... each) { return parameters(each...); });
    Connection::Rows one{.most = 1};
    if (co_await connection_.run(statement, std::move(values), std::move(one)) == 0) {
        refuseDuplicate(message);
    }
    co_return message;
}

Async<StoredMessage> PostgreSQLMessageStore::saveMessage(StoredMessage message) {
    return write("save a message", insert(std::move(message)));
}

Async<void> PostgreSQLMessageStore::applyAll(std::vector<MessageUpdate> updates) {
    const std::string find = translated(findNewVoicemailStatement);
    const std::string statement = translated(updateStatement());
    for (const MessageUpdate& update : updates) {
        std::optional<std::int32_t> newVoicemailID;
        Parameters which = parameters(update.recordUUID);
        if (update.provider == MessageProvider::Telephony &&
            co_await connection_.integer(find, std::move(which))) {
            newVoicemailID = co_await takeNextVoicemailID();
        }
        Parameters values =
            withValues(update, newVoicemailID, [](const auto&... each) { return parameters(each...); });
        Connection::Rows one{.most = 1};
        if (co_await connection_.run(statement, std::move(values), std::move(one)) == 0) {
            refuseAbsent(update);
        }
    }
}

Async<void> PostgreSQLMessageStore::updateMessage(std::vector<MessageUpdate> updates) {
    return write("update messages", applyAll(std::move(updates)));
}

Async<void> PostgreSQLMessageStore::remove(std::vector<UUID> recordUUIDs) {
    Parameters which = parameters(recordUUIDs);
    Connection::Rows rows{.most = static_cast<std::int64_t>(recordUUIDs.size())};
    co_await connection_.run("DELETE FROM orvex.messages WHERE record_uuid = ANY ($1)", std::move(which),
                             std::move(rows));
}

Async<void> PostgreSQLMessageStore::deleteMessages(std::vector<UUID> recordUUIDs) {
    return write("delete messages", remove(std::move(recordUUIDs)));
}

} // namespace Orvex
