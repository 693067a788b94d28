#pragma once

#include "Foundation/Enumeration.h"
#include "Orvex/model/StoredMessage.h"
#include "ZelvoMessageStore/SQLite.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// The columns of a message, in the order in which `StoredMessage` declares its values.
inline constexpr std::string_view messageColumns =
    "conversation_id, message_file, thumbnail, type, transcript, sender, provider, duration, sensitive, "
    "recipient, "
    "rtt, sim_id, quality, record_uuid, voicemail_id, call_uuid, mailbox, read, transcription, created";

/// Adds the message in the current row of a query for the `id` and then the `messageColumns`. Throws
/// `StoreFault` when a column holds what no message has: the file may have been written by anyone.
void appendMessageFromRow(std::vector<StoredMessage>& messages, SQLite::Statement& row);

// How the values of a message are stored. What is bound must outlive the statement's run.

inline void bind(SQLite::Statement& statement, int parameter, const std::string& text) {
    statement.bind(parameter, std::string_view(text));
}
inline void bind(SQLite::Statement& statement, int parameter, const SharedText& text) {
    statement.bind(parameter, std::string_view(text));
}
inline void bind(SQLite::Statement& statement, int parameter, const UUID& uuid) {
    statement.bind(parameter, SQLite::Blob(uuid.bytes()));
}
inline void bind(SQLite::Statement& statement, int parameter, const FileURL& url) {
    statement.bind(parameter, url.text());
}
inline void bind(SQLite::Statement& statement, int parameter, bool value) {
    statement.bind(parameter, std::int64_t{value});
}
inline void bind(SQLite::Statement& statement, int parameter, std::int32_t value) {
    statement.bind(parameter, std::int64_t{value});
}
inline void bind(SQLite::Statement& statement, int parameter, Seconds duration) {
    statement.bind(parameter, duration.count());
}
inline void bind(SQLite::Statement& statement, int parameter, Timestamp moment) {
    statement.bind(parameter, std::int64_t{moment.time_since_epoch().count()});
}
template <RawRepresentable E>
void bind(SQLite::Statement& statement, int parameter, E value) {
    statement.bind(parameter, std::int64_t{rawValue(value)});
}
template <class T>
void bind(SQLite::Statement& statement, int parameter, const std::optional<T>& value) {
    if (value) {
        bind(statement, parameter, *value);
    } else {
        statement.bindNull(parameter);
    }
}

/// Binds the values to the parameters 1, 2, 3 …
template <class... Values>
void bindAll(SQLite::Statement& statement, const Values&... values) {
    int parameter = 0;
    (bind(statement, ++parameter, values), ...);
}

} // namespace Orvex
