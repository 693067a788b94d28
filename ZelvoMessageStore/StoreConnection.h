#pragma once

#include "ZelvoMessageStore/Schema.h"
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Orvex {

/// A store's file. It is opened by the first operation, and made by the first that changes something; as long
/// as there is none, what is read is empty. Errors leave as `MessageStoreError`.
class StoreConnection {
  public:
    /// Told the store's name once it is read and there is none.
    using WhenAbsent = std::function<void(const std::string& name)>;

    StoreConnection(const std::filesystem::path& file, WhenAbsent whenAbsent);

    /// The path in quotes.
    [[nodiscard]] std::string name() const;

    /// Runs `operation` on the database in a transaction. `attempt` says what it does, as in "save a
    /// message".
    template <class Operation>
    auto read(std::string_view attempt, Operation operation) {
        try {
            SQLite::Database& database = databaseToRead();
            const SQLite::Transaction transaction(database, SQLite::Transaction::Kind::deferred);
            checkTables(database);
            database.trustSchema();
            return operation(database);
        } catch (const std::exception&) {
            rethrowExplained(attempt);
        }
    }

    /// The same for an operation that changes something, all of it or nothing.
    template <class Operation>
    auto write(std::string_view attempt, Operation operation) {
        try {
            SQLite::Database& database = databaseToWrite();
            SQLite::Transaction transaction(database, SQLite::Transaction::Kind::immediate);
            checkTables(database);
            database.trustSchema();
            checkChangeable(database);
            if constexpr (std::is_void_v<std::invoke_result_t<Operation, SQLite::Database&>>) {
                operation(database);
                transaction.commit();
            } else {
                auto result = operation(database);
                transaction.commit();
                return result;
            }
        } catch (const std::exception&) {
            rethrowExplained(attempt);
        }
    }

  private:
    /// Opens the file if it holds a store, and says whether it does.
    bool openStore();
    SQLite::Database& databaseToRead();
    SQLite::Database& databaseToWrite();

    /// Throws the exception being handled as a `MessageStoreError`.
    [[noreturn]] void rethrowExplained(std::string_view attempt) const;

    std::string path_;
    WhenAbsent whenAbsent_;
    std::optional<SQLite::Database> store_;
    /// What is read as long as there is no store.
    std::optional<SQLite::Database> emptyStore_;
};

} // namespace Orvex
