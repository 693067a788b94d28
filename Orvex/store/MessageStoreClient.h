#pragma once

#include "Orvex/store/MessageStore.h"
#include <functional>
#include <memory>

namespace Orvex {

/// A command's handle to the message store that its host has chosen. It opens nothing until its first
/// operation and lets the store go when it dies. Operations are those of `MessageStore`, awaited one after
/// another; results do not depend on the client, but an operation must have ended before the client does.
class MessageStoreClient {
  public:
    using StoreFactory = std::function<std::shared_ptr<MessageStore>()>;

    /// Chooses the store for all clients of the process that have not used theirs yet. The factory is called
    /// once for each client, at its first operation; it may hand out one store several times.
    static void setStoreFactory(StoreFactory factory);

    MessageStoreClient() noexcept = default;

    Async<bool> isTranscriptionEnabled() { return store().isTranscriptionEnabled(); }
    Async<std::int64_t> messageCount() { return store().messageCount(); }
    Async<AccountStatus> accountStatus() { return store().accountStatus(); }
    /// Throws when the host has chosen no store.
    [[nodiscard]] std::string description(AccountStatus status) { return store().description(status); }

    Async<std::vector<StoredMessage>> messages(std::vector<UUID> recordUUIDs) {
        return store().messages(std::move(recordUUIDs));
    }
    Async<std::vector<StoredMessage>> messages(std::vector<std::string> handles) {
        return store().messages(std::move(handles));
    }
    Async<std::vector<StoredMessage>> messages(std::vector<MessageProvider> providers,
                                               std::vector<MessageType> types) {
        return store().messages(std::move(providers), std::move(types));
    }
    Async<std::vector<StoredMessage>> messages(MessageQuery matching, std::int64_t limit,
                                               std::int64_t offset) {
        return store().messages(std::move(matching), limit, offset);
    }
    Async<std::vector<StoredMessage>> allMessages() { return store().allMessages(); }
    Async<std::vector<StoredMessage>> voicemailMessages(MessageProvider provider, MessageType type) {
        return store().voicemailMessages(provider, type);
    }

    Async<StoredMessage> saveMessage(StoredMessage message) {
        return store().saveMessage(std::move(message));
    }
    Async<void> updateMessage(std::vector<MessageUpdate> updates) {
        return store().updateMessage(std::move(updates));
    }
    Async<void> deleteMessages(std::vector<UUID> recordUUIDs) {
        return store().deleteMessages(std::move(recordUUIDs));
    }

  private:
    /// Throws `MessageStoreError` when the host has chosen no store.
    MessageStore& store();

    std::shared_ptr<MessageStore> store_;
};

} // namespace Orvex
