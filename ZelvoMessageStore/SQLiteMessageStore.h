#pragma once

#include "Orvex/store/MessageStore.h"
#include <filesystem>
#include <memory>

namespace Orvex {

class StoreConnection;

/// The message store in an SQLite file, for any number of processes at once. A change is on the disk when its
/// operation ends. The first operation opens the file, and the first change creates it, accessible by its
/// owner only. One thread at a time may use a store. Operations block their thread, for up to 30 seconds
/// while another process holds the lock.
class SQLiteMessageStore final : public MessageStore {
  public:
    /// With `reported`, reading an absent store is reported once.
    enum class Absence { usual, reported };

    /// A relative path starts at the current folder.
    explicit SQLiteMessageStore(const std::filesystem::path& file, Absence absence = Absence::usual);
    ~SQLiteMessageStore() override;

    Async<bool> isTranscriptionEnabled() override;
    Async<std::int64_t> messageCount() override;
    Async<AccountStatus> accountStatus() override;

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
    std::unique_ptr<StoreConnection> connection_;
};

} // namespace Orvex
