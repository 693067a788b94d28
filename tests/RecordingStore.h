#pragma once

#include "Orvex/store/MessageStoreClient.h"
#include "examples/own-host/MemoryStore.h"
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Orvex::Testing {

/// A message store in memory that records the calls, and fails on demand.
class RecordingStore final : public MyTool::MemoryStore {
  public:
    /// The calls so far: the name of the operation, and its arguments, with the lengths of lists.
    std::vector<std::string> calls;
    /// The number of the call that fails with `error`, from 0; none if negative.
    int failingCall = -1;
    std::string error = "the store is on fire";

    std::vector<StoredMessage>& stored = messages_;
    bool transcriptionEnabled = true;
    AccountStatus status = AccountStatus::noAccount;

    Async<bool> isTranscriptionEnabled() override {
        record("isTranscriptionEnabled");
        co_return transcriptionEnabled;
    }
    Async<std::int64_t> messageCount() override {
        record("messageCount");
        return MemoryStore::messageCount();
    }
    Async<AccountStatus> accountStatus() override {
        record("accountStatus");
        co_return status;
    }
    [[nodiscard]] std::string description(AccountStatus of) const override {
        return "state " + std::to_string(static_cast<std::int64_t>(of));
    }
    Async<std::vector<StoredMessage>> messages(std::vector<UUID> recordUUIDs) override {
        record("messages(recordUUIDs:)", recordUUIDs.size());
        return MemoryStore::messages(std::move(recordUUIDs));
    }
    Async<std::vector<StoredMessage>> messages(std::vector<std::string> handles) override {
        record("messages(handles:)", handles.size());
        return MemoryStore::messages(std::move(handles));
    }
    Async<std::vector<StoredMessage>> messages(std::vector<MessageProvider> providers,
                                               std::vector<MessageType> types) override {
        record("messages(providers:types:)", providers.size(), types.size());
        return MemoryStore::messages(std::move(providers), std::move(types));
    }
    Async<std::vector<StoredMessage>> messages(MessageQuery matching, std::int64_t limit,
                                               std::int64_t offset) override {
        record("messages(matching:limit:offset:)", matching.voicemailIDs.size(), limit, offset);
        return MemoryStore::messages(std::move(matching), limit, offset);
    }
    Async<std::vector<StoredMessage>> allMessages() override {
        record("allMessages");
        return MemoryStore::allMessages();
    }
    Async<std::vector<StoredMessage>> voicemailMessages(MessageProvider provider, MessageType type) override {
        record("voicemailMessages", rawValue(provider), rawValue(type));
        return MemoryStore::voicemailMessages(provider, type);
    }
    Async<StoredMessage> saveMessage(StoredMessage message) override {
        record("saveMessage");
        return MemoryStore::saveMessage(std::move(message));
    }
    Async<void> updateMessage(std::vector<MessageUpdate> updates) override {
        record("updateMessage", updates.size());
        return MemoryStore::updateMessage(std::move(updates));
    }
    Async<void> deleteMessages(std::vector<UUID> recordUUIDs) override {
        record("deleteMessages", recordUUIDs.size());
        return MemoryStore::deleteMessages(std::move(recordUUIDs));
    }

  private:
    template <class... Numbers>
    void record(std::string call, Numbers... numbers) {
        ((call += " " + std::to_string(numbers)), ...);
        calls.push_back(std::move(call));
        if (static_cast<int>(calls.size()) == failingCall + 1) {
            throw MessageStoreError(error);
        }
    }
};

/// Makes a store that every client uses from now on.
inline std::shared_ptr<RecordingStore> useRecordingStore() {
    auto store = std::make_shared<RecordingStore>();
    MessageStoreClient::setStoreFactory([store] { return store; });
    return store;
}

} // namespace Orvex::Testing
