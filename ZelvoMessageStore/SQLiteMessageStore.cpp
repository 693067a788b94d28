#include "ZelvoMessageStore/SQLiteMessageStore.h"

#include "ZelvoMessageStore/MessageDatabase.h"

namespace Orvex {

SQLiteMessageStore::SQLiteMessageStore(const std::filesystem::path& file)
    : database_(std::make_unique<MessageDatabase>(file)) {}

SQLiteMessageStore::~SQLiteMessageStore() = default;

Async<bool> SQLiteMessageStore::isTranscriptionEnabled() {
    co_return database_->isTranscriptionEnabled();
}

Async<std::int64_t> SQLiteMessageStore::messageCount() {
    co_return database_->messageCount();
}

Async<AccountStatus> SQLiteMessageStore::accountStatus() {
    co_return database_->accountStatus();
}

std::string SQLiteMessageStore::description(AccountStatus status) const {
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

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(std::vector<UUID> recordUUIDs) {
    co_return database_->messages(recordUUIDs);
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(std::vector<std::string> handles) {
    co_return database_->messages(handles);
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(std::vector<MessageProvider> providers,
                                                               std::vector<MessageType> types) {
    co_return database_->messages(providers, types);
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::messages(MessageQuery matching, std::int64_t limit,
                                                               std::int64_t offset) {
    co_return database_->messages(matching, limit, offset);
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::allMessages() {
    co_return database_->allMessages();
}

Async<std::vector<StoredMessage>> SQLiteMessageStore::voicemailMessages(MessageProvider provider,
                                                                        MessageType type) {
    co_return database_->voicemailMessages(provider, type);
}

Async<StoredMessage> SQLiteMessageStore::saveMessage(StoredMessage message) {
    co_return database_->saveMessage(message);
}

Async<void> SQLiteMessageStore::updateMessage(std::vector<MessageUpdate> updates) {
    database_->updateMessage(updates);
    co_return;
}

Async<void> SQLiteMessageStore::deleteMessages(std::vector<UUID> recordUUIDs) {
    database_->deleteMessages(recordUUIDs);
    co_return;
}

} // namespace Orvex
