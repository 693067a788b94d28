#include "Orvex/store/MessageTable.h"

namespace Orvex {

std::string insertMessage() {
    return "INSERT INTO messages (" + std::string(messageColumns) +
           ") VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, "
           "?20) ON CONFLICT (record_uuid) DO NOTHING";
}

std::string_view updateMessageRow() noexcept {
    return R"sql(
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
        WHERE record_uuid = ?1)sql";
}

std::int32_t takenVoicemailID(std::optional<std::int64_t> value) {
    // A server may answer anything.
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

void decideValues(StoredMessage& message) {
    message.voicemailID.reset();
    message.callUUID.reset();
    message.mailbox = Mailbox::inbox;
    message.read = false;
    message.transcription = TranscriptionStatus::notAvailable;
    message.created = currentTime();
}

void refuseSecond(const StoredMessage& message) {
    throw std::runtime_error("it holds a message with the record UUID " + message.recordUUID.text() +
                             " already; choose another");
}

void refuseAbsent(const MessageUpdate& update) {
    throw std::runtime_error("it holds no message with the record UUID " + update.recordUUID.text() +
                             "; it may have been deleted meanwhile");
}

bool transcriptionSetting(std::int64_t value) {
    if (value != 0 && value != 1) {
        throw std::runtime_error("the setting transcriptionEnabled is " + std::to_string(value) +
                                 ", not 0 or 1");
    }
    return value == 1;
}

std::string_view usualDescription(AccountStatus status) {
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

} // namespace Orvex
