#include "ZelvoMessageStore/Schema.h"

#include "Foundation/QuotedText.h"
#include "Orvex/store/MessageTable.h"
#include "ZelvoMessageStore/FileFormat.h"
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace Orvex {

namespace {

/// "Orvx" in ASCII.
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

constexpr std::string_view senderIndex = "CREATE INDEX messages_by_sender ON messages (sender)";
constexpr std::string_view providerIndex =
    "CREATE INDEX messages_by_provider_and_type ON messages (provider, type)";

constexpr std::string_view firstSettings = R"sql(
INSERT INTO settings (name, value)
    VALUES ('transcriptionEnabled', 1), ('accountStatus', 2), ('lastVoicemailID', 0))sql";

void createFirstSchema(SQLite::Database& database) {
    for (const std::string_view statement :
         {messagesTable, settingsTable, senderIndex, providerIndex, firstSettings}) {
        database.execute(std::string(statement));
    }
}

constexpr std::array<Migration, 1> allMigrations = {createFirstSchema};

[[noreturn]] void refuseOtherProgram() {
    throw std::runtime_error("it is a database of another program; choose another file");
}

/// The schema version of an open database; 0 if it is empty.
std::int64_t schemaVersion(SQLite::Database& database, std::int64_t currentVersion) {
    const std::int64_t applicationID = database.queryInteger("PRAGMA application_id");
    const std::int64_t version = database.queryInteger("PRAGMA user_version");
    if (applicationID == ourApplicationID) {
        refuseNewerVersion(version, currentVersion);
        if (version < 1) {
            throw std::runtime_error("the file is damaged: its schema version is " + std::to_string(version));
        }
        return version;
    }
    const bool isEmpty = applicationID == 0 && version == 0 &&
                         database.queryInteger("SELECT count(*) FROM sqlite_schema NOT INDEXED") == 0;
    if (!isEmpty) {
        refuseOtherProgram();
    }
    return 0;
}

/// SQLite reads the missing end of the last page as zeros.
void checkSize(SQLite::Database& database) {
    if (database.fileSize() % database.queryInteger("PRAGMA page_size") != 0) {
        throw std::runtime_error("the file is damaged: its end is missing; restore a copy of it");
    }
}

/// Makes the missing steps in one transaction.
void migrate(SQLite::Database& database, std::span<const Migration> steps) {
    SQLite::Transaction transaction(database, SQLite::Transaction::Kind::immediate);
    const auto version = static_cast<std::size_t>(schemaVersion(database, std::ssize(steps)));
    database.trustSchema();
    for (const Migration step : steps.subspan(version)) {
        step(database);
    }
    database.execute("PRAGMA application_id = " + std::to_string(ourApplicationID) +
                     "; PRAGMA user_version = " + std::to_string(steps.size()));
    transaction.commit();
}

} // namespace

bool holdsStore(const SQLite::Database& database) {
    SQLite::DatabaseHeader::Bytes bytes{};
    const std::size_t size = database.readBeginning(bytes);
    if (size == 0) {
        return false;
    }
    const SQLite::DatabaseHeader header(bytes);
    if (size < bytes.size() || !header.isSQLites()) {
        // If the creation of a store was interrupted, the journal undoes it.
        if (database.hasJournal()) {
            return true;
        }
        throw std::runtime_error("it is not a message store and not an SQLite database; choose another file");
    }
    if (header.applicationID() != ourApplicationID) {
        refuseOtherProgram();
    }
    refuseNewerVersion(header.userVersion(), std::ssize(allMigrations));
    return true;
}

std::span<const Migration> migrations() {
    return allMigrations;
}

bool bringUpToDate(SQLite::Database& database, std::span<const Migration> steps) {
    {
        // A single snapshot, since another process may be creating the store.
        const SQLite::Transaction snapshot(database, SQLite::Transaction::Kind::deferred);
        const std::int64_t version = schemaVersion(database, std::ssize(steps));
        if (version == 0) {
            return false;
        }
        checkSize(database);
        if (version == std::ssize(steps)) {
            return true;
        }
    }
    migrate(database, steps);
    return true;
}

void checkTables(SQLite::Database& database) {
    SQLite::Statement query =
        database.prepare("SELECT count(*) FROM sqlite_schema NOT INDEXED WHERE type = 'table' AND "
                         "(name = 'messages' AND sql = ? OR name = 'settings' AND sql = ?)");
    query.bind(1, messagesTable);
    query.bind(2, settingsTable);
    constexpr std::int64_t bothTables = 2;
    if (!query.step() || query.integer(0) != bothTables) {
        throw std::runtime_error("the file is damaged: its tables are not those of a message store");
    }
}

void checkChangeable(SQLite::Database& database) {
    // With auto_vacuum = FULL, a commit moves as many pages as the file claims to have free ones, and nothing
    // interrupts that. A genuine file has no free pages in this mode.
    constexpr std::int64_t full = 1;
    if (database.queryInteger("PRAGMA freelist_count") > 0 &&
        database.queryInteger("PRAGMA auto_vacuum") == full) {
        throw std::runtime_error("it has free pages in spite of auto_vacuum = FULL; give it a VACUUM");
    }
    // The checks below take as long as the rest of a change, so they are for indexes of others only.
    SQLite::Statement others = database.prepare(
        "SELECT 1 FROM sqlite_schema NOT INDEXED WHERE type = 'index' AND sql NOT IN (?, ?)");
    others.bind(1, senderIndex);
    others.bind(2, providerIndex);
    if (!others.step()) {
        return;
    }
    // A change searches each index, and nothing interrupts the search.
    constexpr std::int64_t mostIndexes = 10;
    if (database.queryInteger("SELECT count(*) FROM (VALUES ('messages'), ('settings')), "
                              "pragma_index_list(column1)") > mostIndexes) {
        throw std::runtime_error("it has more than " + std::to_string(mostIndexes) + " indexes; drop some");
    }
    SQLite::Statement query = database.prepare(
        "SELECT i.name FROM (VALUES ('messages'), ('settings')), pragma_index_list(column1) AS i, "
        "pragma_index_xinfo(i.name) AS c WHERE i.partial OR c.cid = -2");
    if (query.step()) {
        throw std::runtime_error("its index " + inQuotes(query.value(0).text()) +
                                 " computes something; drop it");
    }
}

void createSchema(SQLite::Database& database) {
    migrate(database, allMigrations);
}

} // namespace Orvex
