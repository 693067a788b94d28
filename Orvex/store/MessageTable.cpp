#include "Orvex/store/MessageTable.h"

namespace Orvex {

void refuseNewerVersion(std::int64_t version, std::int64_t knownVersion) {
    if (version > knownVersion) {
        throw std::runtime_error("it was written by a newer version of this program (schema " +
                                 std::to_string(version) + ", this one knows up to " +
                                 std::to_string(knownVersion) + "); use that version");
    }
}

std::string selectStatement(std::string_view rest) {
    std::string columns = "id";
    for (const std::string_view column : selectedColumns) {
        columns += ", " + std::string(column);
    }
    return "SELECT " + columns + " FROM messages " + std::string(rest);
}

std::string insertStatement() {
    std::string columns;
    std::string parameters;
    int parameter = 0;
    forEach(messageFields, [&](const auto& field) {
        const std::string_view separator = parameter == 0 ? "" : ", ";
        columns += std::string(separator) + std::string(field.column);
        parameters += std::string(separator) + "?" + std::to_string(++parameter);
    });
    return "INSERT INTO messages (" + columns + ") VALUES (" + parameters +
           ") ON CONFLICT (record_uuid) DO NOTHING";
}

std::string updateStatement() {
    std::string assignments;
    std::string provider;
    // ?1 to ?3: the record UUID, `undelete`, and the new voicemail identifier.
    int parameter = 3;
    forEach(updateFields, [&](const auto& change) {
        const std::string column(change.field.column);
        // NULL leaves the field as it is.
        std::string value = "coalesce(?" + std::to_string(++parameter) + ", " + column + ")";
        if (column == "provider") {
            provider = value;
        }
        if (column == "mailbox") {
            value = "CASE WHEN ?2 AND " + value + " = 2 THEN 0 ELSE " + value + " END";
        }
        assignments += column + " = " + value + ", ";
    });
    return "UPDATE messages SET " + assignments + "voicemail_id = CASE WHEN " + provider +
           " = 1 AND type = 1 THEN coalesce(voicemail_id, ?3) END WHERE record_uuid = ?1";
}

std::int32_t checkedVoicemailID(std::optional<std::int64_t> value) {
    // Servers are not trusted.
    if (!value || *value < 1 || *value > std::numeric_limits<std::int32_t>::max()) {
        throw std::runtime_error(
            "there is no further voicemail identifier: the setting lastVoicemailID is missing or not "
            "between 0 and 2147483646");
    }
    return static_cast<std::int32_t>(*value);
}

bool isVoicemail(const StoredMessage& message) noexcept {
    return message.provider == MessageProvider::Telephony && message.type == MessageType::audio;
}

void setInitialValues(StoredMessage& message) {
    message.voicemailID.reset();
    message.callUUID.reset();
    message.mailbox = Mailbox::inbox;
    message.read = false;
    message.transcription = TranscriptionStatus::notAvailable;
    message.created = currentTime();
}

void refuseDuplicate(const StoredMessage& message) {
    throw std::runtime_error("it holds a message with the record UUID " + message.recordUUID.text() +
                             " already; choose another");
}

void refuseAbsent(const MessageUpdate& update) {
    throw std::runtime_error("it holds no message with the record UUID " + update.recordUUID.text() +
                             "; it may have been deleted meanwhile");
}

bool isTranscriptionEnabled(std::int64_t setting) {
    if (setting != 0 && setting != 1) {
        throw std::runtime_error("the setting transcriptionEnabled is " + std::to_string(setting) +
                                 ", not 0 or 1");
    }
    return setting == 1;
}

} // namespace Orvex
