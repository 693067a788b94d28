#include "ZelvoMessageStore/SQLite.h"

#include <algorithm>
#include <array>
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

/// In bytes, of a row or a value in it.
constexpr int longestValue = 16 << 20;

// SQLite parses a whole schema before anybody can look at it. Ours takes 100 steps and 0.1 ms, with
// statements of up to 1,400 bytes on tables of 21 columns. A forged one of 64 KB with a thousand UNIQUE
// constraints takes 100 ms, many small ones take more with each that is there already, and pages can lead to
// the same statement without end.
constexpr int longestSchemaText = 8 << 10;
constexpr int mostColumns = 64;

/// What any statement may take, however small the file is.
constexpr std::int64_t anyBytes = 1 << 20;

/// A text is up to half as long again in UTF-8 as in the file, when that has UTF-16.
constexpr std::int64_t bytesPerByte = 2;

/// Throws what went wrong in a call that may have used files. `errno` was 0 before it.
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
        // SQLite notes an error for the file it happened to. The last error may come from the rollback.
        sqlite3_file_control(database, "main", SQLITE_FCNTL_LAST_ERRNO, &systemError);
    }
    // The journal, which may be the one, has been closed by now.
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

void configure(sqlite3* database) {
    sqlite3_busy_handler(database, waitForLock, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_limit(database, SQLITE_LIMIT_SQL_LENGTH, longestSchemaText);
    sqlite3_limit(database, SQLITE_LIMIT_COLUMN, mostColumns);
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
    // An empty view may have no address, which SQLite would take for NULL.
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
    // Used by one thread at a time, as everything here: SQLite's own locking would cost a tenth of a list.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX |
                      (ifAbsent == IfAbsent::create ? SQLITE_OPEN_CREATE : 0) |
                      (files_ == nullptr ? SQLITE_OPEN_MEMORY : 0);
    sqlite3* database = nullptr;
    errno = 0;
    const int code =
        sqlite3_open_v2(path.c_str(), &database, flags, files_ == nullptr ? nullptr : files_->name());
    database_.reset(database);
    if (code != SQLITE_OK && files_ != nullptr) {
        // There is no file yet for `fail` to ask about.
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
    // A file system that knows nothing of holes makes none.
    return size == 0 && errno != ENXIO ? fileSize() : size;
}

std::size_t Database::readBeginning(std::span<char> buffer) const {
    std::size_t filled = 0;
    ssize_t size = files_ == nullptr ? 0 : 1;
    while (size > 0 && filled < buffer.size()) {
        do {
            size = pread(files_->descriptor(), &buffer[filled], buffer.size() - filled,
                         static_cast<off_t>(filled));
        } while (size < 0 && errno == EINTR);
        filled += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
    }
    if (size < 0) {
        throw Error(SQLITE_IOERR_READ, "it cannot be read: " + std::generic_category().message(errno));
    }
    return filled;
}

std::optional<std::uint64_t> Database::changeNumber() const noexcept {
    // https://www.sqlite.org/fileformat.html, section 1.3
    constexpr std::size_t writeVersionOffset = 18;
    constexpr std::size_t changeCounterOffset = 24;
    constexpr unsigned char rollbackJournal = 1;
    std::array<unsigned char, changeCounterOffset + 4> header{};
    sqlite3_file* const opened = file();
    if (opened == nullptr ||
        opened->pMethods->xRead(opened, header.data(), static_cast<int>(header.size()), 0) != SQLITE_OK ||
        header[writeVersionOffset] != rollbackJournal) {
        return std::nullopt;
    }
    std::uint64_t counter = 0;
    for (const unsigned char byte : std::span(header).subspan(changeCounterOffset)) {
        counter = counter << 8 | byte;
    }
    // A copy may count its changes anew, and come by the same number; but it is another file, or was made at
    // another moment.
    struct statx status {};
    constexpr unsigned wanted = STATX_INO | STATX_BTIME;
    if (statx(files_->descriptor(), "", AT_EMPTY_PATH, wanted, &status) != 0 ||
        (status.stx_mask & wanted) != wanted) {
        return std::nullopt;
    }
    const auto born = static_cast<std::uint64_t>(status.stx_btime.tv_sec);
    return counter + (status.stx_ino << 32U ^ born << 20U ^ status.stx_btime.tv_nsec);
}

void Database::distrustSchema() noexcept {
    mostBytes_ = anyBytes;
    sqlite3_limit(database_.get(), SQLITE_LIMIT_LENGTH, longestSchemaText);
    budget_->startSchema(database_.get());
}

void Database::trustSchema() {
    const std::int64_t claimed = queryInteger("PRAGMA page_count") * queryInteger("PRAGMA page_size");
    const std::int64_t size = files_ == nullptr ? claimed : std::min(claimed, dataSize());
    mostBytes_ = anyBytes + bytesPerByte * size;
    sqlite3_limit(database_.get(), SQLITE_LIMIT_LENGTH, longestValue);
    budget_->start(database_.get(), size);
}

Transaction::Transaction(Database& database)
    // The schema may have been another one when it was parsed. None of the statements up to the first that
    // follows needs it.
    : rollback_((database.execute("PRAGMA writable_schema = RESET"), database.prepare("ROLLBACK"))),
      database_(database) {}

Transaction::Transaction(Database& database, Kind kind) : Transaction(database) {
    database.execute(kind == Kind::immediate ? "BEGIN IMMEDIATE" : "BEGIN");
    // Takes the lock that lasts: what is parsed from then on, and what queries find in the schema, comes from
    // the same pages.
    database.execute("PRAGMA user_version");
    // Not before: others may have made the database grow while their lock was waited for.
    memory_.emplace(database.dataSize());
}

Transaction::~Transaction() {
    database_.distrustSchema();
    if (!isCommitted_) {
        try {
            rollback_.run();
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): nothing was begun, or SQLite has
                                          // rolled back by itself
        }
    }
}

void Transaction::commit() {
    database_.execute("COMMIT");
    isCommitted_ = true;
}

} // namespace Orvex::SQLite
