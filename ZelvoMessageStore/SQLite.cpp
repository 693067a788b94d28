#include "ZelvoMessageStore/SQLite.h"

#include "Foundation/SystemCalls.h"
#include "ZelvoMessageStore/FileFormat.h"
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <new>
#include <random>
#include <sqlite3.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace Orvex::SQLite {

namespace {

constexpr std::chrono::seconds longestWait{30};

/// The limit of a row or a value in it, in bytes.
constexpr int longestValue = 16 << 20;

// SQLite parses the whole schema before it can be checked. Ours has statements of up to 1,400 bytes and
// tables of 21 columns, and takes 0.1 ms. A forged statement of 64 KB with a thousand UNIQUE constraints
// takes 100 ms, and pages can repeat a statement endlessly.
constexpr int longestSchemaText = 8 << 10;
constexpr int mostColumns = 64;

/// Every statement may read this many bytes, however small the file is.
constexpr std::int64_t leastBytes = 1 << 20;

/// UTF-16 in a file becomes up to 1.5 times as long in UTF-8.
constexpr std::int64_t bytesPerByte = 2;

/// Throws the `Error` of a failed call. The caller has set `errno` to 0 before the call.
[[noreturn]] void fail(sqlite3* database, int code) {
    const int lastError = errno;
    if (database == nullptr) {
        throw Error(code, sqlite3_errstr(code));
    }
    const int extendedCode = sqlite3_extended_errcode(database);
    if (extendedCode == SQLITE_IOERR_ACCESS) {
        if (const std::string refusal = GuardedFiles::takeRefusal(database); !refusal.empty()) {
            throw Error(extendedCode, refusal);
        }
    }
    std::string message = sqlite3_errmsg(database);
    int systemError = 0;
    const int primaryCode = extendedCode & 0xFF;
    if (primaryCode == SQLITE_IOERR) {
        // SQLite remembers the error of each file; `errno` may come from the rollback.
        sqlite3_file_control(database, "main", SQLITE_FCNTL_LAST_ERRNO, &systemError);
    }
    // SQLite has closed the journal by now, so the journal's error is in `errno` only.
    if (systemError == 0 && (primaryCode == SQLITE_IOERR || primaryCode == SQLITE_CANTOPEN)) {
        systemError = lastError;
    }
    if (systemError == EFBIG) {
        message = "it would become larger than the limit of file sizes allows; raise that (ulimit -f)";
    } else if (systemError != 0) {
        message += ": " + std::generic_category().message(systemError);
    }
    throw Error(extendedCode, message);
}

/// SQLite calls this while another connection holds the lock; `attempt` counts from 0 for each lock.
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
    // The longest pause grows from 1 ms to 64 ms; jitter keeps waiting writers from waking together.
    const int longestPause = 1000 << std::min(attempt, 6);
    std::uniform_int_distribution<int> pause(longestPause / 4, longestPause);
    std::this_thread::sleep_for(std::chrono::microseconds(pause(random)));
    return 1;
}

void configure(sqlite3* database) {
    sqlite3_busy_handler(database, waitForLock, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_limit(database, SQLITE_LIMIT_SQL_LENGTH, longestSchemaText);
    sqlite3_limit(database, SQLITE_LIMIT_COLUMN, mostColumns);
}

/// A number that differs between files, even if one is a copy of the other: their inodes and times of
/// creation do.
std::optional<std::uint64_t> identityOf(int file) noexcept {
    struct statx status {};
    constexpr unsigned wanted = STATX_INO | STATX_BTIME;
    if (statx(file, "", AT_EMPTY_PATH, wanted, &status) != 0 || (status.stx_mask & wanted) != wanted) {
        return std::nullopt;
    }
    const auto created = static_cast<std::uint64_t>(status.stx_btime.tv_sec);
    return status.stx_ino << 32U ^ created << 20U ^ status.stx_btime.tv_nsec;
}

} // namespace

bool Value::isNull() const {
    return sqlite3_value_type(value_) == SQLITE_NULL;
}

std::int64_t Value::integer() const {
    return sqlite3_value_int64(value_);
}

double Value::real() const {
    return sqlite3_value_double(value_);
}

std::string_view Value::text() const {
    const void* const text = sqlite3_value_text(value_);
    if (text == nullptr) {
        if (!isNull()) {
            throw std::bad_alloc();
        }
        return {};
    }
    return {static_cast<const char*>(text), size()};
}

Blob Value::blob() const {
    const void* const bytes = sqlite3_value_blob(value_);
    return {static_cast<const unsigned char*>(bytes), size()};
}

std::size_t Value::size() const {
    const int size = sqlite3_value_bytes(value_);
    bytesLeft_ -= size;
    if (bytesLeft_ < 0) {
        throw Error(SQLITE_CORRUPT, "more is read from it than it holds");
    }
    return static_cast<std::size_t>(size);
}

Statement::Statement(sqlite3* database, std::string_view sql, std::int64_t mostBytes, Budget& budget)
    : database_(database), budget_(budget), bytesLeft_(mostBytes) {
    budget_.beginRun();
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
    // SQLite binds NULL for a null pointer, which an empty view may contain.
    const char* const data = text.empty() ? "" : text.data();
    MemoryLimit::raiseFor(text.size());
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
    budget_.beginRun();
}

Value Statement::value(int column) {
    return {sqlite3_column_value(statement_.get(), column), bytesLeft_};
}

Database::Database(const std::string& path, IfAbsent ifAbsent)
    : files_(path == inMemory ? nullptr : std::make_unique<GuardedFiles>(path)),
      budget_(std::make_unique<Budget>()) {
    // A connection is used by one thread at a time. SQLite's mutexes would add a tenth to the time of a list.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX |
                      (ifAbsent == IfAbsent::create ? SQLITE_OPEN_CREATE : 0) |
                      (files_ == nullptr ? SQLITE_OPEN_MEMORY : 0);
    sqlite3* database = nullptr;
    errno = 0;
    const int code =
        sqlite3_open_v2(path.c_str(), &database, flags, files_ == nullptr ? nullptr : files_->name());
    database_.reset(database);
    if (code != SQLITE_OK && files_ != nullptr) {
        // `fail` cannot ask the connection: it has no file yet.
        const std::string refusal = files_->takeRefusal();
        if (files_->isAbsent()) {
            throw AbsentFile(code, refusal);
        }
        if (!refusal.empty()) {
            throw Error(SQLITE_IOERR_ACCESS, refusal);
        }
    }
    if (code != SQLITE_OK) {
        fail(database, code);
    }
    configure(database);
    distrustSchema();
    execute("PRAGMA cell_size_check = ON");
}

std::optional<Database> Database::openIfExists(const std::string& path) {
    try {
        return Database(path);
    } catch (const AbsentFile&) {
        return std::nullopt;
    }
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

std::int64_t Database::dataSize() const noexcept {
    const int descriptor = files_ == nullptr ? -1 : files_->descriptor();
    std::int64_t size = 0;
    off_t end = 0;
    for (off_t start = lseek(descriptor, 0, SEEK_DATA); start >= end;
         start = lseek(descriptor, end, SEEK_DATA)) {
        end = lseek(descriptor, start, SEEK_HOLE);
        if (end <= start) {
            break;
        }
        size += end - start;
    }
    // A file system without SEEK_DATA makes no holes.
    return size == 0 && errno != ENXIO ? fileSize() : size;
}

std::size_t Database::readBeginning(std::span<unsigned char> buffer) const {
    if (files_ == nullptr) {
        return 0;
    }
    const ssize_t size = Orvex::readBeginning(files_->descriptor(), buffer.data(), buffer.size());
    if (size < 0) {
        throw Error(SQLITE_IOERR_READ, "it cannot be read: " + std::generic_category().message(errno));
    }
    return static_cast<std::size_t>(size);
}

std::optional<std::uint64_t> Database::changeStamp() const noexcept {
    DatabaseHeader::Bytes bytes{};
    sqlite3_file* const opened = file();
    if (opened == nullptr ||
        opened->pMethods->xRead(opened, bytes.data(), static_cast<int>(bytes.size()), 0) != SQLITE_OK) {
        return std::nullopt;
    }
    const DatabaseHeader header(bytes);
    const std::optional<std::uint64_t> identity = identityOf(files_->descriptor());
    return header.usesRollbackJournal() && identity ? std::optional(*identity + header.changeCounter())
                                                    : std::nullopt;
}

void Database::distrustSchema() noexcept {
    mostBytes_ = leastBytes;
    sqlite3_limit(database_.get(), SQLITE_LIMIT_LENGTH, longestSchemaText);
    budget_->startSchema(database_.get());
}

void Database::trustSchema() {
    const std::int64_t claimed = queryInteger("PRAGMA page_count") * queryInteger("PRAGMA page_size");
    const std::int64_t size = files_ == nullptr ? claimed : std::min(claimed, dataSize());
    mostBytes_ = leastBytes + bytesPerByte * size;
    sqlite3_limit(database_.get(), SQLITE_LIMIT_LENGTH, longestValue);
    budget_->start(database_.get(), size);
}

Transaction::Transaction(Database& database)
    // The schema may have changed since it was parsed. The statements up to "BEGIN" do not need it.
    : rollback_((database.execute("PRAGMA writable_schema = RESET"), database.prepare("ROLLBACK"))),
      database_(database) {}

Transaction::Transaction(Database& database, Kind kind) : Transaction(database) {
    database.execute(kind == Kind::immediate ? "BEGIN IMMEDIATE" : "BEGIN");
    // Takes the lock: from now on, SQLite parses the same pages that queries of the schema read.
    database.execute("PRAGMA user_version");
    // After the lock: others may have enlarged the database before.
    memory_.emplace(database.dataSize());
}

Transaction::~Transaction() {
    database_.distrustSchema();
    if (!isCommitted_) {
        try {
            rollback_.run();
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): nothing was begun, or SQLite has
                                          // rolled back
        }
    }
}

void Transaction::commit() {
    database_.execute("COMMIT");
    isCommitted_ = true;
}

} // namespace Orvex::SQLite
