#pragma once

#include "Orvex/model/StoredMessage.h"
#include "PostgreSQLStore/Connection.h"
#include <string_view>

namespace Orvex {

/// The columns of a message, in the order in which `StoredMessage` declares its values.
inline constexpr std::string_view sharedMessageColumns =
    "conversation_id, message_file, thumbnail, type, transcript, sender, provider, duration, sensitive, "
    "recipient, rtt, sim_id, quality, record_uuid, voicemail_id, call_uuid, mailbox, read, transcription, "
    "created";

/// The message in a row of the `sharedMessageColumns`, behind the `id`. Throws `std::runtime_error` when a
/// column holds what no message has: anyone may have written it.
[[nodiscard]] StoredMessage messageFromSharedRow(const PostgreSQL::Row& row);

} // namespace Orvex
