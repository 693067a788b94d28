#include "ZelvoMessageStore/StoreConnection.h"

#include "Foundation/PrivateFolder.h"
#include "Foundation/QuotedText.h"
#include "Orvex/store/MessageTable.h"
#include <sqlite3.h>
#include <stdexcept>

namespace Orvex {

using SQLite::Database;

namespace {

std::string causeOf(const SQLite::Error& error) {
    if (error.code() == SQLITE_READONLY_DBMOVED) {
        return "the file has been moved or deleted meanwhile";
    }
    constexpr int primaryCode = 0xFF;
    switch (error.code() & primaryCode) {
    case SQLITE_BUSY:
        return "another program keeps it locked; try again when that is done";
    case SQLITE_CANTOPEN:
        return "the file or the journal beside it cannot be opened (" + std::string(error.what()) + ")";
    case SQLITE_CORRUPT:
        return "the file is damaged (" + std::string(error.what()) + "); restore a copy of it";
    case SQLITE_INTERRUPT:
        return "the file is damaged (reading it finds no end); restore a copy of it";
    case SQLITE_FULL:
        return "the disk is full; make room and try again";
    case SQLITE_NOTADB:
        return "it is not a message store and not an SQLite database; choose another file";
    case SQLITE_READONLY:
        return "the file cannot be written; check its permissions and those of its folder";
    case SQLITE_CONSTRAINT:
        return std::string_view(error.what()).ends_with("messages.voicemail_id")
                   ? std::string(voicemailIDIsTaken)
                   : error.what();
    case SQLITE_TOOBIG:
        return "a value has more than 16 MB, or one of the file's schema more than 8 KB";
    default:
        return error.what();
    }
}

/// Quotes the text as one word of a POSIX shell.
std::string forShell(std::string_view text) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+";
    if (text.find_first_not_of(plain) == std::string_view::npos) {
        return std::string(text);
    }
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

} // namespace

StoreConnection::StoreConnection(const std::filesystem::path& file, WhenAbsent whenAbsent)
    : path_(std::filesystem::absolute(file).native()), whenAbsent_(std::move(whenAbsent)) {}

std::string StoreConnection::name() const {
    return inQuotes(path_);
}

bool StoreConnection::openStore() {
    if (store_) {
        return true;
    }
    std::optional<Database> database = Database::openIfExists(path_);
    if (!database || !holdsStore(*database) || !bringUpToDate(*database)) {
        return false;
    }
    store_ = std::move(database);
    return true;
}

Database& StoreConnection::databaseToRead() {
    if (openStore()) {
        return *store_;
    }
    if (!emptyStore_) {
        whenAbsent_(name());
        emptyStore_.emplace(std::string(Database::inMemory));
        createSchema(*emptyStore_);
    }
    return *emptyStore_;
}

Database& StoreConnection::databaseToWrite() {
    if (!openStore()) {
        if (path_.ends_with('/')) {
            throw std::runtime_error("it is a folder, not a file");
        }
        makePrivateFolders(std::filesystem::path(path_).parent_path());
        Database database(path_, Database::IfAbsent::create);
        createSchema(database);
        store_ = std::move(database);
    }
    // Truncating the journal saves a write of the folder that deleting it costs. SQLite before 3.51.3 can
    // damage a write-ahead log if two connections write and checkpoint at once.
    store_->execute("PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = FULL; PRAGMA temp_store = MEMORY");
    return *store_;
}

void StoreConnection::rethrowExplained(std::string_view attempt) const {
    Orvex::rethrowExplained(attempt, name(), causeOf, [this](const std::string& condition) {
        return ": sqlite3 " + forShell(path_) + " \"DELETE FROM messages WHERE " + condition + '"';
    });
}

} // namespace Orvex
