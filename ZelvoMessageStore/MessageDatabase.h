#pragma once

#include "Orvex/store/MessageStore.h"
#include "ZelvoMessageStore/SQLite.h"
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Orvex {

/// The operations of a message store on an SQLite file, each in one transaction, waiting for their end. The
/// file is opened by the first operation and made by the first that changes something; without one the store
/// is empty. Errors are `MessageStoreError`s.
class MessageDatabase {
  public:
    explicit MessageDatabase(std::filesystem::path file);

    [[nodiscard]] bool isTranscriptionEnabled();
    [[nodiscard]] std::int64_t messageCount();
    [[nodiscard]] AccountStatus accountStatus();

    [[nodiscard]] std::vector<StoredMessage> messages(const std::vector<UUID>& recordUUIDs);
    [[nodiscard]] std::vector<StoredMessage> messages(const std::vector<std::string>& handles);
    [[nodiscard]] std::vector<StoredMessage> messages(const std::vector<MessageProvider>& providers,
                                                      const std::vector<MessageType>& types);
    [[nodiscard]] std::vector<StoredMessage> messages(const MessageQuery& matching, std::int64_t limit,
                                                      std::int64_t offset);
    [[nodiscard]] std::vector<StoredMessage> allMessages();
    [[nodiscard]] std::vector<StoredMessage> voicemailMessages(MessageProvider provider, MessageType type);

    [[nodiscard]] StoredMessage saveMessage(const StoredMessage& message);
    void updateMessage(const std::vector<MessageUpdate>& updates);
    void deleteMessages(const std::vector<UUID>& recordUUIDs);

  private:
    /// Runs `operation` on the database, in a transaction. `attempt` says what it does, for the error.
    template <class Operation>
    auto read(std::string_view attempt, Operation operation);
    template <class Operation>
    auto write(std::string_view attempt, Operation operation);

    /// Opens the file if it holds a store, and says whether it does.
    bool openStore();
    /// Keeps a store's connection, its schema brought up to date.
    void adopt(SQLite::Database database, std::int64_t version);
    SQLite::Database& databaseToRead();
    SQLite::Database& databaseToWrite();
    /// Makes the file, empty, and the folders above it where they are missing.
    void createFile() const;

    /// Throws the exception being handled as a `MessageStoreError`.
    [[noreturn]] void rethrowExplained(std::string_view attempt) const;
    [[nodiscard]] std::string cause(const SQLite::Error& error) const;

    std::string path_;
    std::optional<SQLite::Database> store_;
    /// What is read as long as there is no store.
    std::optional<SQLite::Database> emptyStore_;
};

} // namespace Orvex
