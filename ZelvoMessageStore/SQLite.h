#pragma once

#include "ZelvoMessageStore/Budget.h"
#include "ZelvoMessageStore/GuardedFiles.h"
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_file;
struct sqlite3_stmt;
struct sqlite3_value;

/// A thin wall around the SQLite library: objects that clean up after themselves, errors as exceptions.
namespace Orvex::SQLite {

/// What SQLite reports: its extended result code, and its message as `what()`.
class Error : public std::runtime_error {
  public:
    Error(int code, const std::string& message) : std::runtime_error(message), code_(code) {}

    [[nodiscard]] int code() const noexcept { return code_; }

  private:
    int code_;
};

/// There is no such file.
class AbsentFile : public Error {
    using Error::Error;
};

using Blob = std::span<const unsigned char>;

/// What a row has in a column. It lives until the statement's next `step` or `reset`, and so do its texts and
/// blobs.
class Value {
  public:
    /// For any value of a `Statement` of our connections. They are opened without mutexes; there, "there is
    /// no distinction between protected and unprotected sqlite3_value objects and they can be used
    /// interchangeably" (https://www.sqlite.org/c3ref/value.html).
    /// Its bytes are taken off `bytesLeft`.
    Value(sqlite3_value* value, std::int64_t& bytesLeft) noexcept : value_(value), bytesLeft_(bytesLeft) {}

    [[nodiscard]] bool isNull() const;
    [[nodiscard]] std::int64_t integer() const;
    [[nodiscard]] double real() const;
    [[nodiscard]] std::string_view text() const;
    [[nodiscard]] Blob blob() const;

  private:
    [[nodiscard]] std::size_t size() const;

    sqlite3_value* value_;
    std::int64_t& bytesLeft_;
};

/// A prepared statement. Parameters and columns are counted as SQLite does: parameters from 1, columns from
/// 0. Every member may throw `Error`.
class Statement {
  public:
    /// `mostBytes` is how many its texts and blobs may have altogether.
    Statement(sqlite3* database, std::string_view sql, std::int64_t mostBytes, Budget& budget);

    // Texts and blobs are not copied: they must live until the next `reset`, or the statement's end.
    void bind(int parameter, std::int64_t value);
    void bind(int parameter, double value);
    void bind(int parameter, std::string_view text);
    void bind(int parameter, Blob blob);
    void bindNull(int parameter);

    /// Goes on to the next row; false after the last one.
    bool step();
    /// For a statement without rows, or whose rows do not matter.
    void run();
    /// Makes the statement ready to be run again, its parameters null.
    void reset();

    [[nodiscard]] Value value(int column);
    [[nodiscard]] std::int64_t integer(int column) { return value(column).integer(); }

  private:
    void check(int code);

    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const noexcept;
    };
    sqlite3* database_;
    Budget& budget_;
    std::int64_t bytesLeft_;
    std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

/// A connection to one database, hardened against what its file may hold: no triggers, views or functions of
/// the schema are run, SQLite's own tables cannot be written, and statements end early: until the schema is
/// trusted, after 2,000 steps, half a second, or with a value of more than 8 KB; then, when they have taken
/// many more steps, or yielded many more bytes, than there is to read in the file, as pages that share others
/// would be read without end. A lock of another connection is waited for, with growing, jittered pauses, for
/// up to 30 seconds. Only one thread at a time may use it, and what belongs to it.
class Database {
  public:
    static constexpr std::string_view inMemory = ":memory:";

    enum class IfAbsent { fail, create };

    /// Opens a file, for reading alone when it cannot be written; or a new database in memory. A file is
    /// made, for the user alone, only in an existing folder. `path` is absolute; the file itself must not be
    /// a symbolic link (see `GuardedFiles`).
    explicit Database(const std::string& path, IfAbsent ifAbsent = IfAbsent::fail);
    /// No value where there is no such file.
    [[nodiscard]] static std::optional<Database> openIfExists(const std::string& path);

    [[nodiscard]] Statement prepare(std::string_view sql) {
        return {database_.get(), sql, mostBytes_, *budget_};
    }
    /// Runs statements separated by semicolons.
    void execute(const std::string& sql);
    /// The one value that the query yields.
    [[nodiscard]] std::int64_t queryInteger(std::string_view sql);

    /// How many rows the last statement changed.
    [[nodiscard]] std::int64_t changedRows() const noexcept;

    /// The number of the file's last change, to be asked for within a transaction that has read something. A
    /// transaction that changes something, of whatever program, makes it one greater; a copy of the file has
    /// other numbers. No value where changes are not counted, in memory or with a write-ahead log, or when
    /// the number cannot be told.
    [[nodiscard]] std::optional<std::uint64_t> changeNumber() const noexcept;
    /// In bytes, without a write-ahead log; 0 in memory, or when the size cannot be read.
    [[nodiscard]] std::int64_t fileSize() const noexcept;
    /// The same without the file's holes, as far as its file system tells: they take no room, so that anybody
    /// can make a file as long as they like.
    [[nodiscard]] std::int64_t dataSize() const noexcept;
    /// Reads the file's first bytes, without a lock, as many as there are up to the buffer's size; returns
    /// how many that were. None in memory. Throws `Error`.
    [[nodiscard]] std::size_t readBeginning(std::span<char> buffer) const;
    /// Says that a file with something in it has the journal's name.
    [[nodiscard]] bool hasJournal() const noexcept { return files_ != nullptr && files_->hasJournal(); }

    /// Lets statements run on as befits the size of the database. To be called in each transaction anew, once
    /// the schema has been looked at.
    void trustSchema();

  private:
    friend class Transaction;

    void distrustSchema() noexcept;
    /// Nothing in memory.
    [[nodiscard]] sqlite3_file* file() const noexcept;

    struct Closer {
        void operator()(sqlite3* database) const noexcept;
    };
    /// None in memory.
    std::unique_ptr<GuardedFiles> files_;
    /// SQLite has its address.
    std::unique_ptr<Budget> budget_;
    std::unique_ptr<sqlite3, Closer> database_;
    std::int64_t mostBytes_ = 0;
};

/// A transaction that is rolled back unless it has been committed. It begins by forgetting the schema and
/// ends by distrusting it.
class Transaction {
  public:
    /// `immediate` takes the write lock at once, so that what was read stays true until the write.
    enum class Kind { deferred, immediate };

    Transaction(Database& database, Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

  private:
    explicit Transaction(Database& database);

    /// Made beforehand, since there may be no memory for it later.
    Statement rollback_;
    Database& database_;
    bool isCommitted_ = false;
    std::optional<MemoryLimit> memory_;
};

} // namespace Orvex::SQLite
