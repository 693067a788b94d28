#include "ZelvoMessageStore/SQLite.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <new>
#include <random>
#include <sqlite3.h>
#include <system_error>
#include <thread>

namespace Orvex::SQLite {

namespace {

constexpr std::chrono::seconds longestWait{30};

/// In bytes, of a row or a value in it.
constexpr int longestValue = 16 << 20;

/// What any statement may take, however small the file is.
constexpr std::int64_t anyBytes = 1 << 20;

/// A text is up to half as long again in UTF-8 as in the file, when that has UTF-16.
constexpr std::int64_t bytesPerByte = 2;

/// A list takes some thirty for each message, which has a hundred bytes or more.
constexpr std::int64_t stepsPerByte = 4;

/// Throws what went wrong in a call that may have used files. `errno` was 0 before it.
[[noreturn]] void fail(sqlite3* database, int code) {
    const int lastError = errno;
    if (database == nullptr) {
        throw Error(code, sqlite3_errstr(code));
    }
    const int extendedCode = sqlite3_extended_errcode(database);
    std::string message = sqlite3_errmsg(database);
    int systemError = 0;
    const int primaryCode = extendedCode & 0xFF;
    if (primaryCode == SQLITE_IOERR) {
        // SQLite notes an error for the file it happened to. The last error may come from the rollback.
        sqlite3_file_control(database, "main", SQLITE_FCNTL_LAST_ERRNO, &systemError);
    }
    // The journal, which may be the one, has been closed by now.
    if (systemError == 0 && (primaryCode == SQLITE_IOERR || primaryCode == SQLITE_CANTOPEN)) {
        systemError = lastError;
    }
    if (systemError != 0) {
        message += ": " + std::generic_category().message(systemError);
    }
    throw Error(extendedCode, message);
}

/// Called by SQLite when another connection holds the lock; `attempt` counts from 0 for each lock waited for.
int waitForLock(void* /*context*/, int attempt) {
    using std::chrono::steady_clock;
    thread_local steady_clock::time_point deadline;
    thread_local std::minstd_rand random(std::random_device{}());
    if (attempt == 0) {
        deadline = steady_clock::now() + longestWait;
    }
    if (steady_clock::now() >= deadline) {
        return 0;
    }
    // From up to 1 ms to up to 64 ms, so that many waiting writers neither spin nor wake together.
    const int longestPause = 1000 << std::min(attempt, 6);
    std::uniform_int_distribution<int> pause(longestPause / 4, longestPause);
    std::this_thread::sleep_for(std::chrono::microseconds(pause(random)));
    return 1;
}

int interrupt(void* /*context*/) {
    return 1;
}

void configure(sqlite3* database) {
    sqlite3_busy_handler(database, waitForLock, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, longestValue);
}

} // namespace

Statement::Statement(sqlite3* database, std::string_view sql, std::int64_t mostBytes)
    : database_(database), bytesLeft_(mostBytes) {
    sqlite3_stmt* statement = nullptr;
    errno = 0;
    check(sqlite3_prepare_v2(database, sql.data(), static_cast<int>(sql.size()), &statement, nullptr));
    statement_.reset(statement);
}

void Statement::Finalizer::operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_finalize(statement);
}

void Statement::check(int code) {
    if (code != SQLITE_OK) {
        fail(database_, code);
    }
}

void Statement::bind(int parameter, std::int64_t value) {
    check(sqlite3_bind_int64(statement_.get(), parameter, value));
}

void Statement::bind(int parameter, double value) {
    check(sqlite3_bind_double(statement_.get(), parameter, value));
}

void Statement::bind(int parameter, std::string_view text) {
    // An empty view may have no address, which SQLite would take for NULL.
    const char* const data = text.empty() ? "" : text.data();
    check(sqlite3_bind_text64(statement_.get(), parameter, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bind(int parameter, Blob blob) {
    check(sqlite3_bind_blob64(statement_.get(), parameter, blob.data(), blob.size(), SQLITE_STATIC));
}

void Statement::bindNull(int parameter) {
    check(sqlite3_bind_null(statement_.get(), parameter));
}

bool Statement::step() {
    errno = 0;
    const int code = sqlite3_step(statement_.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        fail(database_, code);
    }
    return code == SQLITE_ROW;
}

void Statement::run() {
    while (step()) {
    }
}

void Statement::reset() {
    sqlite3_reset(statement_.get());
    sqlite3_clear_bindings(statement_.get());
    constexpr int toZero = 1;
    sqlite3_stmt_status(statement_.get(), SQLITE_STMTSTATUS_VM_STEP, toZero);
}

bool Statement::isNull(int column) {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

std::int64_t Statement::integer(int column) {
    return sqlite3_column_int64(statement_.get(), column);
}

double Statement::real(int column) {
    return sqlite3_column_double(statement_.get(), column);
}

std::size_t Statement::sizeOf(int column) {
    const int size = sqlite3_column_bytes(statement_.get(), column);
    bytesLeft_ -= size;
    if (bytesLeft_ < 0) {
        throw Error(SQLITE_CORRUPT, "more is read from it than it holds");
    }
    return static_cast<std::size_t>(size);
}

std::string_view Statement::text(int column) {
    const void* const text = sqlite3_column_text(statement_.get(), column);
    if (text == nullptr) {
        if (!isNull(column)) {
            throw std::bad_alloc();
        }
        return {};
    }
    return {static_cast<const char*>(text), sizeOf(column)};
}

Blob Statement::blob(int column) {
    const void* const bytes = sqlite3_column_blob(statement_.get(), column);
    return {static_cast<const unsigned char*>(bytes), sizeOf(column)};
}

std::string Statement::columnName(int column) {
    const char* const name = sqlite3_column_name(statement_.get(), column);
    if (name == nullptr) {
        throw std::bad_alloc();
    }
    return name;
}

Database::Database(const std::string& path) {
    // Used by one thread at a time, as everything here: SQLite's own locking would cost a tenth of a list.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX |
                      (path == inMemory ? SQLITE_OPEN_MEMORY : SQLITE_OPEN_NOFOLLOW);
    sqlite3* database = nullptr;
    errno = 0;
    const int code = sqlite3_open_v2(path.c_str(), &database, flags, nullptr);
    database_.reset(database);
    if (code != SQLITE_OK) {
        fail(database, code);
    }
    configure(database);
    limitStatements();
    execute("PRAGMA cell_size_check = ON; PRAGMA synchronous = FULL");
}

void Database::Closer::operator()(sqlite3* database) const noexcept {
    sqlite3_close(database);
}

void Database::execute(const std::string& sql) {
    errno = 0;
    const int code = sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        fail(database_.get(), code);
    }
}

std::int64_t Database::queryInteger(std::string_view sql) {
    Statement query = prepare(sql);
    if (!query.step()) {
        throw Error(SQLITE_EMPTY, "no row for " + std::string(sql));
    }
    return query.integer(0);
}

std::int64_t Database::changedRows() const noexcept {
    return sqlite3_changes64(database_.get());
}

sqlite3_file* Database::file() const noexcept {
    sqlite3_file* file = nullptr;
    sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    return file != nullptr && file->pMethods != nullptr ? file : nullptr;
}

std::int64_t Database::fileSize() const noexcept {
    sqlite3_int64 size = 0;
    sqlite3_file* const opened = file();
    return opened != nullptr && opened->pMethods->xFileSize(opened, &size) == SQLITE_OK ? size : 0;
}

std::optional<std::uint64_t> Database::changeNumber() const noexcept {
    // https://www.sqlite.org/fileformat.html, section 1.3
    constexpr std::size_t writeVersionOffset = 18;
    constexpr std::size_t changeCounterOffset = 24;
    constexpr std::size_t schemaCookieOffset = 40;
    constexpr unsigned char rollbackJournal = 1;
    std::array<unsigned char, schemaCookieOffset + 4> header{};
    sqlite3_file* const opened = file();
    if (opened == nullptr ||
        opened->pMethods->xRead(opened, header.data(), static_cast<int>(header.size()), 0) != SQLITE_OK ||
        header[writeVersionOffset] != rollbackJournal) {
        return std::nullopt;
    }
    // A copy that SQLite makes counts its changes from 1, and could come by the same number; but it differs
    // in the schema's.
    std::uint64_t number = 0;
    for (const std::size_t offset : {schemaCookieOffset, changeCounterOffset}) {
        for (const unsigned char byte : std::span(header).subspan(offset, 4)) {
            number = number << 8 | byte;
        }
    }
    return number;
}

void Database::limitStatements() noexcept {
    const std::int64_t size = fileSize();
    mostBytes_ = anyBytes + bytesPerByte * size;
    // The greatest `int` is enough to list tens of millions of messages.
    const auto steps =
        std::min<std::int64_t>(anyBytes + stepsPerByte * size, std::numeric_limits<int>::max());
    sqlite3_progress_handler(database_.get(), static_cast<int>(steps), interrupt, nullptr);
}

Transaction::Transaction(Database& database, Kind kind)
    : rollback_(database.prepare("ROLLBACK")), database_(&database) {
    database.limitStatements();
    database.execute(kind == Kind::immediate ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    if (database_ != nullptr) {
        try {
            rollback_.run();
        } catch (
            const Error&) { // NOLINT(bugprone-empty-catch): SQLite rolls back by itself after some errors
        }
    }
}

void Transaction::commit() {
    database_->execute("COMMIT");
    database_ = nullptr;
}

} // namespace Orvex::SQLite
