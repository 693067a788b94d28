#pragma once

#include "Orvex/store/MessageStore.h"
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace MyTool {

using namespace Orvex;

/// A message store in memory that lasts as long as the object. Yours would ask the device instead.
/// `MessageStore` describes the operations; those that have to wait can `co_await`.
class MemoryStore : public MessageStore {
  public:
    Async<bool> isTranscriptionEnabled() override { co_return true; }
    Async<std::int64_t> messageCount() override { co_return std::ssize(messages_); }
    Async<AccountStatus> accountStatus() override { co_return AccountStatus::noAccount; }
    [[nodiscard]] std::string description(AccountStatus) const override { return "no account"; }

    Async<std::vector<StoredMessage>> messages(std::vector<UUID> recordUUIDs) override {
        co_return those([&](const StoredMessage& message) { return isIn(recordUUIDs, message.recordUUID); });
    }

    Async<std::vector<StoredMessage>> messages(std::vector<std::string> handles) override {
        co_return those([&](const StoredMessage& message) { return isIn(handles, message.from); });
    }

    Async<std::vector<StoredMessage>> messages(std::vector<MessageProvider> providers,
                                               std::vector<MessageType> types) override {
        co_return those([&](const StoredMessage& message) {
            return isIn(providers, message.provider) && isIn(types, message.type);
        });
    }

    Async<std::vector<StoredMessage>> messages(MessageQuery matching, std::int64_t limit,
                                               std::int64_t offset) override {
        const std::vector<StoredMessage> all = those([&](const StoredMessage& message) {
            return message.voicemailID && isIn(matching.voicemailIDs, *message.voicemailID);
        });
        // `limit` may be the largest number, for "all": adding to it would overflow.
        const auto begin = all.begin() + std::min(offset, std::ssize(all));
        const auto end = begin + std::min<std::int64_t>(limit, all.end() - begin);
        co_return std::vector<StoredMessage>(begin, end);
    }

    Async<std::vector<StoredMessage>> allMessages() override { co_return messages_; }

    Async<std::vector<StoredMessage>> voicemailMessages(MessageProvider provider, MessageType type) override {
        co_return those([&](const StoredMessage& message) {
            return isVoicemail(message) && message.provider == provider && message.type == type;
        });
    }

    Async<StoredMessage> saveMessage(StoredMessage message) override {
        if (std::ranges::find(messages_, message.recordUUID, &StoredMessage::recordUUID) != messages_.end()) {
            throw MessageStoreError("cannot save message " + message.recordUUID.text() +
                                    ": there is one with this record UUID");
        }
        // The store sets these fields, so that the caller's values are ignored.
        message.callUUID.reset();
        message.mailbox = Mailbox::inbox;
        message.read = false;
        message.transcription = TranscriptionStatus::notAvailable;
        message.created = currentTime();
        message.voicemailID.reset();
        identifyVoicemail(message);
        messages_.push_back(message);
        co_return message;
    }

    Async<void> updateMessage(std::vector<MessageUpdate> updates) override {
        // Changes a copy first: all updates are applied, or none.
        std::vector<StoredMessage> updated = messages_;
        for (const MessageUpdate& update : updates) {
            const auto message = std::ranges::find(updated, update.recordUUID, &StoredMessage::recordUUID);
            if (message == updated.end()) {
                throw MessageStoreError("cannot update message " + update.recordUUID.text() +
                                        ": there is none");
            }
            update.applyTo(*message);
            identifyVoicemail(*message);
        }
        messages_ = std::move(updated);
        co_return;
    }

    Async<void> deleteMessages(std::vector<UUID> recordUUIDs) override {
        std::erase_if(messages_,
                      [&](const StoredMessage& message) { return isIn(recordUUIDs, message.recordUUID); });
        co_return;
    }

  protected:
    /// In the order of saving.
    std::vector<StoredMessage> messages_;

  private:
    template <class T, class U>
    static bool isIn(const std::vector<T>& values, const U& value) {
        return std::ranges::find(values, value) != values.end();
    }

    static bool isVoicemail(const StoredMessage& message) {
        return message.provider == MessageProvider::Telephony && message.type == MessageType::audio;
    }

    template <class Condition>
    std::vector<StoredMessage> those(Condition condition) const {
        std::vector<StoredMessage> found;
        std::ranges::copy_if(messages_, std::back_inserter(found), condition);
        return found;
    }

    /// Gives a voicemail an identifier unless it has one, and removes that of any other message.
    void identifyVoicemail(StoredMessage& message) {
        if (!isVoicemail(message)) {
            message.voicemailID.reset();
        } else if (!message.voicemailID) {
            message.voicemailID = ++lastVoicemailID_;
        }
    }

    std::int32_t lastVoicemailID_ = 0;
};

} // namespace MyTool
