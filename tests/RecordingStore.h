#pragma once

#include "Orvex/store/MessageStore.h"
#include "Orvex/store/MessageStoreClient.h"
#include <memory>
#include <string>
#include <vector>

namespace Orvex::Testing {

/// A message store in memory that remembers what was asked of it, and fails when it is told to.
class RecordingStore final : public MessageStore {
  public:
    /// The calls so far: the operation's name, and for the lists given how long they were.
    std::vector<std::string> calls;
    /// Which call fails with `error`, counted from 0; none when negative.
    int failingCall = -1;
    std::string error = "the store is on fire";

    std::vector<StoredMessage> stored;
    bool transcriptionEnabled = true;
    AccountStatus status = AccountStatus::noAccount;

    Async<bool> isTranscriptionEnabled() override;
    Async<std::int64_t> messageCount() override;
    Async<AccountStatus> accountStatus() override;
    [[nodiscard]] std::string description(AccountStatus status) const override;
    Async<std::vector<StoredMessage>> messages(std::vector<UUID> recordUUIDs) override;
    Async<std::vector<StoredMessage>> messages(std::vector<std::string> handles) override;
    Async<std::vector<StoredMessage>> messages(std::vector<MessageProvider> providers,
                                               std::vector<MessageType> types) override;
    Async<std::vector<StoredMessage>> messages(MessageQuery matching, std::int64_t limit,
                                               std::int64_t offset) override;
    Async<std::vector<StoredMessage>> allMessages() override;
    Async<std::vector<StoredMessage>> voicemailMessages(MessageProvider provider, MessageType type) override;
    Async<StoredMessage> saveMessage(StoredMessage message) override;
    Async<void> updateMessage(std::vector<MessageUpdate> updates) override;
    Async<void> deleteMessages(std::vector<UUID> recordUUIDs) override;

  private:
    void record(const std::string& call);
    template <class Condition>
    std::vector<StoredMessage> those(Condition condition) const;

    std::int32_t lastVoicemailID_ = 0;
};

/// Makes a new store of this kind the one that every client uses.
inline std::shared_ptr<RecordingStore> useRecordingStore() {
    auto store = std::make_shared<RecordingStore>();
    MessageStoreClient::setStoreFactory([store] { return store; });
    return store;
}

} // namespace Orvex::Testing
