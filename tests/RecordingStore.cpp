#include "RecordingStore.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace Orvex::Testing {

namespace {

template <class T>
bool holds(const std::vector<T>& list, const T& element) {
    return std::find(list.begin(), list.end(), element) != list.end();
}

template <class T>
void assign(T& field, const std::optional<T>& change) {
    if (change) {
        field = *change;
    }
}

template <class T>
void assign(std::optional<T>& field, const std::optional<T>& change) {
    if (change) {
        field = change;
    }
}

bool isVoicemail(const StoredMessage& message) {
    return message.provider == MessageProvider::Telephony && message.type == MessageType::audio;
}

std::string counted(const std::string& call, std::size_t count) {
    return call + " " + std::to_string(count);
}

} // namespace

void RecordingStore::record(const std::string& call) {
    calls.push_back(call);
    if (static_cast<int>(calls.size()) == failingCall + 1) {
        throw MessageStoreError(error);
    }
}

template <class Condition>
std::vector<StoredMessage> RecordingStore::those(Condition condition) const {
    std::vector<StoredMessage> found;
    std::copy_if(stored.begin(), stored.end(), std::back_inserter(found), condition);
    return found;
}

Async<bool> RecordingStore::isTranscriptionEnabled() {
    record("isTranscriptionEnabled");
    co_return transcriptionEnabled;
}

Async<std::int64_t> RecordingStore::messageCount() {
    record("messageCount");
    co_return static_cast<std::int64_t>(stored.size());
}

Async<AccountStatus> RecordingStore::accountStatus() {
    record("accountStatus");
    co_return status;
}

std::string RecordingStore::description(AccountStatus of) const {
    return "state " + std::to_string(static_cast<std::int64_t>(of));
}

Async<std::vector<StoredMessage>> RecordingStore::messages(std::vector<UUID> recordUUIDs) {
    record(counted("messages(recordUUIDs:)", recordUUIDs.size()));
    co_return those([&](const StoredMessage& message) { return holds(recordUUIDs, message.recordUUID); });
}

Async<std::vector<StoredMessage>> RecordingStore::messages(std::vector<std::string> handles) {
    record(counted("messages(handles:)", handles.size()));
    co_return those([&](const StoredMessage& message) { return holds(handles, message.from); });
}

Async<std::vector<StoredMessage>> RecordingStore::messages(std::vector<MessageProvider> providers,
                                                           std::vector<MessageType> types) {
    record(counted(counted("messages(providers:types:)", providers.size()), types.size()));
    co_return those([&](const StoredMessage& message) {
        return holds(providers, message.provider) && holds(types, message.type);
    });
}

Async<std::vector<StoredMessage>> RecordingStore::messages(MessageQuery matching, std::int64_t limit,
                                                           std::int64_t offset) {
    record(counted("messages(matching:limit:offset:)", matching.voicemailIDs.size()) + " " +
           std::to_string(limit) + " " + std::to_string(offset));
    std::vector<StoredMessage> found = those([&](const StoredMessage& message) {
        return message.voicemailID && holds(matching.voicemailIDs, *message.voicemailID);
    });
    found.erase(found.begin(), found.begin() + std::min(offset, std::ssize(found)));
    found.erase(found.begin() + std::min(limit, std::ssize(found)), found.end());
    co_return found;
}

Async<std::vector<StoredMessage>> RecordingStore::allMessages() {
    record("allMessages");
    co_return stored;
}

Async<std::vector<StoredMessage>> RecordingStore::voicemailMessages(MessageProvider provider,
                                                                    MessageType type) {
    record("voicemailMessages " + std::to_string(rawValue(provider)) + " " + std::to_string(rawValue(type)));
    co_return those([&](const StoredMessage& message) {
        return isVoicemail(message) && message.provider == provider && message.type == type;
    });
}

Async<StoredMessage> RecordingStore::saveMessage(StoredMessage message) {
    record("saveMessage");
    for (const StoredMessage& other : stored) {
        if (other.recordUUID == message.recordUUID) {
            throw MessageStoreError("there is a message " + message.recordUUID.text());
        }
    }
    message.voicemailID = isVoicemail(message) ? std::optional(++lastVoicemailID_) : std::nullopt;
    message.callUUID.reset();
    message.mailbox = Mailbox::inbox;
    message.read = false;
    message.transcription = TranscriptionStatus::notAvailable;
    message.created = currentTime();
    stored.push_back(message);
    co_return message;
}

Async<void> RecordingStore::updateMessage(std::vector<MessageUpdate> updates) {
    record(counted("updateMessage", updates.size()));
    std::vector<StoredMessage> changed = stored;
    for (const MessageUpdate& update : updates) {
        const auto found = std::find_if(changed.begin(), changed.end(), [&](const StoredMessage& message) {
            return message.recordUUID == update.recordUUID;
        });
        if (found == changed.end()) {
            throw MessageStoreError("there is no message " + update.recordUUID.text());
        }
        assign(found->callUUID, update.callUUID);
        assign(found->conversationID, update.conversationID);
        assign(found->from, update.from);
        assign(found->provider, update.provider);
        assign(found->read, update.read);
        assign(found->duration, update.duration);
        assign(found->mailbox, update.mailbox);
        assign(found->recipient, update.recipient);
        assign(found->transcription, update.transcription);
        assign(found->isRTT, update.isRTT);
        assign(found->transcriptURL, update.transcriptURL);
        assign(found->simID, update.simID);
        if (update.undelete && found->mailbox == Mailbox::trash) {
            found->mailbox = Mailbox::inbox;
        }
        if (!isVoicemail(*found)) {
            found->voicemailID.reset();
        } else if (!found->voicemailID) {
            found->voicemailID = ++lastVoicemailID_;
        }
    }
    stored = std::move(changed);
    co_return;
}

Async<void> RecordingStore::deleteMessages(std::vector<UUID> recordUUIDs) {
    record(counted("deleteMessages", recordUUIDs.size()));
    std::erase_if(stored,
                  [&](const StoredMessage& message) { return holds(recordUUIDs, message.recordUUID); });
    co_return;
}

} // namespace Orvex::Testing
