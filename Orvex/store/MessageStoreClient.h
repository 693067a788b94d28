#pragma once

#include "Orvex/store/MessageStore.h"
#include <functional>
#include <memory>

namespace Orvex {

/// A command's handle to the message store that its host has chosen. Its first operation gets the store, and
/// its destruction releases it. The operations are those of `MessageStore`; await one after another, and the
/// last before the client's end.
class MessageStoreClient {
  public:
    /// Makes or finds the store.
    using StoreFactory = std::function<std::shared_ptr<MessageStore>()>;

    /// Sets the store for all clients of the process that have not used theirs yet. Each client calls the
    /// factory once, at its first operation; the factory may return the same store several times.
    static void setStoreFactory(StoreFactory factory);

    MessageStoreClient() noexcept = default;

    /// @{ Forwards to the store. Throws `MessageStoreError` if the host has not chosen one.
    Async<bool> isTranscriptionEnabled() { return store().isTranscriptionEnabled(); }
    Async<std::int64_t> messageCount() { return store().messageCount(); }
    Async<AccountStatus> accountStatus() { return store().accountStatus(); }
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
    /// @}

  private:
    /// Throws `MessageStoreError` if the host has not chosen a store.
    MessageStore& store();

    std::shared_ptr<MessageStore> store_;
};

} // namespace Orvex
