#pragma once

#include "Orvex/store/MessageStore.h"
#include "PostgreSQLStore/Connection.h"
#include "PostgreSQLStore/Location.h"
#include <string_view>

namespace Orvex {

/// A message store that many machines share, in the schema `orvex` of a database on a PostgreSQL server.
/// Nothing is connected before the first operation; reading makes no store, the first change makes it.
/// Operations are awaited one after another, on any event loop. After an error, the next operation connects
/// anew.
class PostgreSQLMessageStore final : public MessageStore {
  public:
    /// Takes a connection URI of libpq. Throws `MessageStoreError` when it is none.
    explicit PostgreSQLMessageStore(std::string_view uri) : location_(uri) {}

    Async<bool> isTranscriptionEnabled() override;
    Async<std::int64_t> messageCount() override;
    /// `signedIn` when the user may change the store, `restricted` when only read it, `noAccount` when not
    /// even that, or when the server refuses the user or wants a password that is nowhere,
    /// `temporarilyUnavailable` when it is starting, stopping or in recovery, or no host is of the kind that
    /// is asked for, `waiting` when none has answered within two seconds, and `couldNotDetermine` for
    /// anything else.
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

    /// Runs an operation on the store; where there is none, yields what is found in an empty one. `attempt`
    /// says what it does, as in "count the messages".
    template <class T>
    Async<T> read(const char* attempt, Async<T> operation, T inEmptyStore = T());
    /// The same for an operation that changes something, all of it or nothing; makes the store where there is
    /// none.
    template <class T>
    Async<T> write(const char* attempt, Async<T> operation);
    /// Throws the exception being handled as a `MessageStoreError`, and lets the connection go.
    [[noreturn]] void rethrowExplained(const char* attempt);

    Async<void> connect(Connection::Deadline deadline, Connection::ErrorText errorText);

    // The operations, the changes within a transaction.
    Async<std::vector<StoredMessage>> select(std::string_view rest, Parameters parameters);
    Async<std::int64_t> count();
    Async<bool> isEnabled();
    Async<std::int32_t> takeNextVoicemailID();
    Async<StoredMessage> insert(StoredMessage message);
    Async<void> applyAll(std::vector<MessageUpdate> updates);
    Async<void> remove(std::vector<UUID> recordUUIDs);

    Location location_;
    Connection connection_;
    /// It was found in this session.
    bool hasStore_ = false;
};

} // namespace Orvex
