#include "ZelvoMessageStore/Schema.h"

#include "Foundation/QuotedText.h"
#include "Foundation/RegularFile.h"
#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <system_error>

namespace Orvex {

namespace {

/// "Orvx" in ASCII, at its place in the header of the file.
constexpr std::int64_t ourApplicationID = 0x4F727678;

constexpr std::string_view messagesTable = R"sql(CREATE TABLE messages (
    id              INTEGER PRIMARY KEY,
    record_uuid     BLOB NOT NULL UNIQUE CHECK (length(record_uuid) = 16),
    voicemail_id    INTEGER UNIQUE CHECK (voicemail_id BETWEEN 1 AND 2147483647),
    conversation_id BLOB NOT NULL CHECK (length(conversation_id) = 16),
    call_uuid       BLOB CHECK (length(call_uuid) = 16),
    type            INTEGER NOT NULL CHECK (type BETWEEN 0 AND 2),
    provider        INTEGER NOT NULL CHECK (provider BETWEEN 1 AND 2),
    mailbox         INTEGER NOT NULL CHECK (mailbox BETWEEN 0 AND 2),
    sender          TEXT NOT NULL,
    recipient       TEXT,
    created         INTEGER NOT NULL,
    duration        REAL NOT NULL,
    read            INTEGER NOT NULL CHECK (read BETWEEN 0 AND 1),
    sensitive       INTEGER NOT NULL CHECK (sensitive BETWEEN 0 AND 1),
    rtt             INTEGER NOT NULL CHECK (rtt BETWEEN 0 AND 1),
    transcription   INTEGER NOT NULL CHECK (transcription BETWEEN 0 AND 4),
    message_file    TEXT NOT NULL,
    thumbnail       TEXT,
    transcript      TEXT,
    sim_id          TEXT NOT NULL,
    quality         INTEGER NOT NULL CHECK (quality BETWEEN 0 AND 2),
    CHECK ((provider = 1 AND type = 1) = (voicemail_id IS NOT NULL))
) STRICT)sql";

constexpr std::string_view settingsTable = R"sql(CREATE TABLE settings (
    name  TEXT PRIMARY KEY,
    value INTEGER NOT NULL
) STRICT, WITHOUT ROWID)sql";

constexpr std::string_view indexesAndSettings = R"sql(
CREATE INDEX messages_by_sender ON messages (sender);
CREATE INDEX messages_by_provider_and_type ON messages (provider, type);
INSERT INTO settings (name, value)
    VALUES ('transcriptionEnabled', 1), ('accountStatus', 2), ('lastVoicemailID', 0);
)sql";

void createFirstSchema(SQLite::Database& database) {
    database.execute(std::string(messagesTable));
    database.execute(std::string(settingsTable));
    database.execute(std::string(indexesAndSettings));
}

/// The step from each version to the next, from version 0, an empty database.
constexpr std::array migrations = {&createFirstSchema};

constexpr std::int64_t currentVersion = migrations.size();

[[noreturn]] void refuseOtherProgram() {
    throw StoreFault("it is a database of another program; choose another file");
}

[[noreturn]] void refuseNewer(std::int64_t version) {
    throw StoreFault("it was written by a newer version of this program (schema " + std::to_string(version) +
                     ", this one knows up to " + std::to_string(currentVersion) + "); use that version");
}

/// A big-endian integer in the header of an SQLite database (https://www.sqlite.org/fileformat.html,
/// section 1.3).
std::int64_t headerField(std::string_view header, std::size_t offset) {
    std::int64_t value = 0;
    for (const char byte : header.substr(offset, 4)) {
        value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
}

/// `beginning` has at most eight bytes.
bool isJournal(std::string_view beginning) {
    constexpr std::string_view rollbackMagic = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
    constexpr std::string_view writeAheadMagic = "\x37\x7f\x06";
    // The rollback magic is written over zeros, when the rest is on the disk; a crash can leave a part of it.
    return beginning.starts_with(writeAheadMagic) ||
           std::equal(beginning.begin(), beginning.end(), rollbackMagic.begin(),
                      [](char found, char magic) { return found == magic || found == '\0'; });
}

/// Whether there is a journal with something in it. SQLite deletes what has a journal's name: anything else
/// under that name is refused.
bool hasJournal(const std::string& path) {
    bool isFound = false;
    for (const char* const suffix : {"-journal", "-wal"}) {
        const std::string journal = path + suffix;
        struct stat status {};
        if (lstat(journal.c_str(), &status) != 0 || (S_ISREG(status.st_mode) && status.st_size == 0)) {
            continue;
        }
        std::array<char, 8> buffer{};
        std::string_view beginning;
        try {
            beginning = {buffer.data(), RegularFile(journal).read(buffer)};
        } catch (const FileError& error) {
            throw StoreFault(inQuotes(journal) + ", which would be its journal: " + error.what());
        }
        if (S_ISLNK(status.st_mode) || !isJournal(beginning)) {
            throw StoreFault(inQuotes(journal) +
                             ", which would be its journal, is something else; move it away");
        }
        isFound = true;
    }
    return isFound;
}

/// The schema version of an open database, 0 when it is empty.
std::int64_t schemaVersion(SQLite::Database& database) {
    const std::int64_t applicationID = database.queryInteger("PRAGMA application_id");
    const std::int64_t version = database.queryInteger("PRAGMA user_version");
    if (applicationID == ourApplicationID) {
        if (version > currentVersion) {
            refuseNewer(version);
        }
        if (version < 1) {
            throw StoreFault("the file is damaged: its schema version is " + std::to_string(version));
        }
        return version;
    }
    const bool isEmpty = applicationID == 0 && version == 0 &&
                         database.queryInteger("SELECT count(*) FROM sqlite_schema") == 0;
    if (!isEmpty) {
        refuseOtherProgram();
    }
    return 0;
}

/// Takes the steps that are missing, within a transaction.
void migrate(SQLite::Database& database, std::int64_t version) {
    for (; version < currentVersion; ++version) {
        migrations[static_cast<std::size_t>(version)](database);
    }
    database.execute("PRAGMA application_id = " + std::to_string(ourApplicationID) +
                     "; PRAGMA user_version = " + std::to_string(currentVersion));
}

/// The tables of a file could compute columns without end, or take values of any type, if they were not our
/// own.
void checkTables(SQLite::Database& database) {
    SQLite::Statement query = database.prepare("SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND "
                                               "(name = 'messages' AND sql = ? OR name = 'settings' "
                                               "AND sql = ?)");
    query.bind(1, messagesTable);
    query.bind(2, settingsTable);
    constexpr std::int64_t bothTables = 2;
    if (!query.step() || query.integer(0) != bothTables) {
        throw StoreFault("the file is damaged: its tables are not those of a message store");
    }
}

} // namespace

bool holdsStore(const std::string& path) {
    if (std::error_code unknown; std::filesystem::is_symlink(path, unknown)) {
        throw StoreFault("it is a symbolic link, which may lead anywhere; give the path of the file itself");
    }
    const bool mayBeRecovered = hasJournal(path);
    // Closing the file would give up SQLite's locks on it in this process: SQLite opens it later.
    const std::optional<RegularFile> file = RegularFile::openIfExists(path);
    if (!file || file->size() == 0) {
        return false;
    }
    constexpr std::string_view magic("SQLite format 3\0", 16);
    constexpr std::size_t userVersionOffset = 60;
    constexpr std::size_t applicationIDOffset = 68;
    std::array<char, 100> buffer{};
    const std::string_view header(buffer.data(), file->read(buffer));
    if (header.size() < buffer.size() || !header.starts_with(magic)) {
        // The creation of a store may have been cut short; then the journal has what undoes it.
        if (mayBeRecovered) {
            return true;
        }
        throw StoreFault("it is no message store, nor any other SQLite database; choose another file");
    }
    if (headerField(header, applicationIDOffset) != ourApplicationID) {
        refuseOtherProgram();
    }
    if (const std::int64_t version = headerField(header, userVersionOffset); version > currentVersion) {
        refuseNewer(version);
    }
    return true;
}

bool bringUpToDate(SQLite::Database& database) {
    using SQLite::Transaction;
    {
        // One snapshot: another process may be creating the store.
        const Transaction snapshot(database, Transaction::Kind::deferred);
        const std::int64_t version = schemaVersion(database);
        if (version == 0) {
            return false;
        }
        if (version == currentVersion) {
            checkTables(database);
            return true;
        }
    }
    Transaction transaction(database, Transaction::Kind::immediate);
    migrate(database, schemaVersion(database));
    checkTables(database);
    transaction.commit();
    return true;
}

void createSchema(SQLite::Database& database) {
    SQLite::Transaction transaction(database, SQLite::Transaction::Kind::immediate);
    migrate(database, schemaVersion(database));
    checkTables(database);
    transaction.commit();
}

} // namespace Orvex
