#pragma once

#include "Orvex/store/MessageStore.h"
#include "PostgreSQLStore/Connection.h"
#include "PostgreSQLStore/ConnectionURI.h"
#include <string_view>

namespace Orvex {

/// A message store that many machines share, in the schema `orvex` of a database on a PostgreSQL server. The
/// first operation connects, and the first change creates the store; reading an absent store finds it empty.
/// Await one operation after another, on any event loop. After an error, the next operation connects again.
class PostgreSQLMessageStore final : public MessageStore {
  public:
    /// Takes a connection URI of libpq. Throws `MessageStoreError` if it is not one.
    explicit PostgreSQLMessageStore(std::string_view uri) : uri_(uri) {}

    Async<bool> isTranscriptionEnabled() override;
    Async<std::int64_t> messageCount() override;
    /// `signedIn`: the user may change the store. `restricted`: the user may only read it. `noAccount`: the
    /// user may not read it, the server refuses the user, or no password is known.
    /// `temporarilyUnavailable`: the server is starting, stopping or in recovery, or no host is of the
    /// requested kind. `waiting`: no host has answered within two seconds. `couldNotDetermine`: anything
    /// else.
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
    using Connection = PostgreSQL::Connection;
    using Parameters = std::vector<PostgreSQL::Parameter>;

    /// Runs an operation on the store, or returns `inEmptyStore` if the store is absent. `attempt` describes
    /// the operation in errors, as in "count the messages".
    template <class T>
    Async<T> read(const char* attempt, Async<T> operation, T inEmptyStore = T());
    /// The same for an operation that changes something, as a whole or not at all. Creates an absent
    /// store.
    template <class T>
    Async<T> write(const char* attempt, Async<T> operation);
    /// Throws the exception being handled as a `MessageStoreError`, and closes the connection.
    [[noreturn]] void rethrowExplained(const char* attempt);

    Async<void> connect(Connection::Deadline deadline, Connection::ErrorText errorText);

    // The operations, to be run within a transaction.
    Async<std::vector<StoredMessage>> select(std::string_view rest, Parameters parameters);
    Async<bool> isEnabled();
    Async<std::int32_t> takeNextVoicemailID();
    Async<StoredMessage> insert(StoredMessage message);
    Async<void> applyAll(std::vector<MessageUpdate> updates);
    Async<void> remove(std::vector<UUID> recordUUIDs);

    ConnectionURI uri_;
    Connection connection_;
    /// True if this session has found the store and checked its version.
    bool hasStore_ = false;
};

} // namespace Orvex
