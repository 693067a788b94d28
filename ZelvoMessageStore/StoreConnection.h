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

/// Runs operations on a store's file. The first operation opens the file, and the first change creates it;
/// reading an absent file finds an empty store. Throws `MessageStoreError`.
class StoreConnection {
  public:
    /// Gets the store's name when an absent store is first read.
    using WhenAbsent = std::function<void(const std::string& name)>;

    StoreConnection(const std::filesystem::path& file, WhenAbsent whenAbsent);

    /// The path in quotes.
    [[nodiscard]] std::string name() const;

    /// Runs `operation` on the database in a transaction. `attempt` describes it in errors, as in "save a
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

    /// The same for an operation that changes something, as a whole or not at all.
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
    /// Opens the file if it holds a store; returns false if it does not.
    bool openStore();
    SQLite::Database& databaseToRead();
    SQLite::Database& databaseToWrite();

    /// Throws the exception being handled as a `MessageStoreError`.
    [[noreturn]] void rethrowExplained(std::string_view attempt) const;

    std::string path_;
    WhenAbsent whenAbsent_;
    std::optional<SQLite::Database> store_;
    /// Read in place of an absent store.
    std::optional<SQLite::Database> emptyStore_;
};

} // namespace Orvex
