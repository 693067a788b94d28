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

/// A thin wrapper of the SQLite library: objects that free their resources, errors as exceptions.
namespace Orvex::SQLite {

/// An error of SQLite, with its message in `what()`.
class Error : public std::runtime_error {
  public:
    Error(int code, const std::string& message) : std::runtime_error(message), code_(code) {}

    /// The extended result code.
    [[nodiscard]] int code() const noexcept { return code_; }

  private:
    int code_;
};

/// The file does not exist.
class AbsentFile : public Error {
    using Error::Error;
};

using Blob = std::span<const unsigned char>;

/// A value in a row. It is valid until the statement's next `step` or `reset`, and so are its texts and
/// blobs.
class Value {
  public:
    /// Takes unprotected values: without mutexes, they "can be used interchangeably" with protected ones
    /// (https://www.sqlite.org/c3ref/value.html). Subtracts the size of each text and blob from `bytesLeft`.
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

/// A prepared statement. Parameters count from 1, columns from 0. Every member may throw `Error`.
class Statement {
  public:
    /// `mostBytes` limits the total size of the texts and blobs that it yields.
    Statement(sqlite3* database, std::string_view sql, std::int64_t mostBytes, Budget& budget);

    // Texts and blobs are not copied: they must outlive the statement, or live until the next `reset`.
    void bind(int parameter, std::int64_t value);
    void bind(int parameter, double value);
    void bind(int parameter, std::string_view text);
    void bind(int parameter, Blob blob);
    void bindNull(int parameter);

    /// Moves to the next row; returns false after the last one.
    bool step();
    /// Runs the statement to its end and ignores rows.
    void run();
    /// Prepares another run; all parameters become NULL.
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

/// A connection to one database, hardened against hostile files. It runs no triggers, views or functions of
/// the schema, and SQLite's own tables cannot be written. Limits its statements' work and what they read
/// (see `Budget`): narrowly until the schema is trusted, then by the file's size. If another connection holds
/// the lock, it retries for up to 30 seconds. One thread at a time may use a connection and its statements.
class Database {
  public:
    static constexpr std::string_view inMemory = ":memory:";

    enum class IfAbsent { fail, create };

    /// Opens a file, read-only if it cannot be written, or a new database in memory. Creates a file only in
    /// an existing folder, accessible by its owner only. `path` is absolute and not a symbolic link (see
    /// `GuardedFiles`).
    explicit Database(const std::string& path, IfAbsent ifAbsent = IfAbsent::fail);
    /// No value if the file does not exist.
    [[nodiscard]] static std::optional<Database> openIfExists(const std::string& path);

    [[nodiscard]] Statement prepare(std::string_view sql) {
        return {database_.get(), sql, mostBytes_, *budget_};
    }
    /// Runs statements separated by semicolons.
    void execute(const std::string& sql);
    /// Returns the first value of the query's first row; throws `Error` if there is no row.
    [[nodiscard]] std::int64_t queryInteger(std::string_view sql);

    /// The number of rows that the last statement changed.
    [[nodiscard]] std::int64_t changedRows() const noexcept;

    /// Identifies the file and its last change; call it in a transaction that has read something. Each
    /// transaction that changes the file, of any program, adds 1; a copy of the file has other stamps. No
    /// value in memory, with a write-ahead log, or if the file system does not tell.
    [[nodiscard]] std::optional<std::uint64_t> changeStamp() const noexcept;
    /// In bytes, without a write-ahead log; 0 in memory, or if the size cannot be read.
    [[nodiscard]] std::int64_t fileSize() const noexcept;
    /// The same without the file's holes: these take no space on the disk, so a forged file can be as long as
    /// anyone likes.
    [[nodiscard]] std::int64_t dataSize() const noexcept;
    /// Reads the file's first bytes, without a lock. Returns their number: the buffer's size, or less if the
    /// file is shorter; 0 in memory. Throws `Error`.
    [[nodiscard]] std::size_t readBeginning(std::span<unsigned char> buffer) const;
    /// True if the journal exists and is not empty.
    [[nodiscard]] bool hasJournal() const noexcept { return files_ != nullptr && files_->hasJournal(); }

    /// Sets the limits of statements by the size of the database. Call it in each transaction, after checking
    /// the schema.
    void trustSchema();

  private:
    friend class Transaction;

    void distrustSchema() noexcept;
    /// Null in memory.
    [[nodiscard]] sqlite3_file* file() const noexcept;

    struct Closer {
        void operator()(sqlite3* database) const noexcept;
    };
    /// Null in memory.
    std::unique_ptr<GuardedFiles> files_;
    /// On the heap, since SQLite keeps its address.
    std::unique_ptr<Budget> budget_;
    std::unique_ptr<sqlite3, Closer> database_;
    std::int64_t mostBytes_ = 0;
};

/// A transaction that is rolled back unless it is committed. Its beginning drops the parsed schema, and its
/// end withdraws the trust in it.
class Transaction {
  public:
    /// `immediate` takes the write lock at once, so that no other writer comes between a read and a write.
    enum class Kind { deferred, immediate };

    Transaction(Database& database, Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

  private:
    /// The other constructor delegates to this one, so that the destructor runs even if that one throws.
    explicit Transaction(Database& database);

    /// Prepared in advance: later, memory may be short.
    Statement rollback_;
    Database& database_;
    bool isCommitted_ = false;
    std::optional<MemoryLimit> memory_;
};

} // namespace Orvex::SQLite
