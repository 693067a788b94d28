#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include "Support.h"
#include "ZelvoMessageStore/SQLite.h"
#include "ZelvoMessageStore/Schema.h"
#include <cstdlib>
#include <ctime>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvex::Testing {
namespace {

using std::filesystem::path;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// Runs statements on a file, and leaves a write-ahead log as a program that dies does.
void execute(const path& file, const std::string& sql) {
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
    sqlite3_free(error);
    sqlite3_close(database);
}

constexpr std::uint32_t pageSize = 4096;
constexpr uid_t nobody = 65534;

class SQLiteMessageStoreTest : public testing::Test {
  protected:
    [[nodiscard]] std::vector<StoredMessage> all() const {
        return wait(SQLiteMessageStore(file).allMessages());
    }
    [[nodiscard]] std::string errorOfReading() const {
        return errorOf([this] { static_cast<void>(all()); });
    }
    [[nodiscard]] std::string errorOfWriting() const {
        return errorOf([this] { wait(SQLiteMessageStore(file).saveMessage(newMessage())); });
    }

    /// A new store with two messages, the first of them a voicemail.
    void makeStore() const {
        std::filesystem::remove(file);
        SQLiteMessageStore store(file);
        wait(store.saveMessage(newMessage(MessageType::audio, MessageProvider::Telephony)));
        wait(store.saveMessage(newMessage()));
    }

    [[nodiscard]] path beside(const std::string& suffix) const { return file.native() + suffix; }

    /// Expects that the cause prevents reading and writing, and that no file changes.
    void expectRefused(const std::string& cause) const {
        const auto before = filesIn(folder / "");
        const std::string where = " in the message store \"" + file.native() + "\": ";
        EXPECT_THAT(errorOfReading(), AllOf(StartsWith("cannot list all messages" + where), EndsWith(cause)));
        EXPECT_THAT(errorOfWriting(), AllOf(StartsWith("cannot save a message" + where), EndsWith(cause)));
        EXPECT_EQ(filesIn(folder / ""), before);
    }

    TemporaryFolder folder;
    path file = folder / "messages.db";
};

TEST_F(SQLiteMessageStoreTest, ReadingMakesNoFileAndFindsOneMadeLater) {
    writeFile(file, "");
    EXPECT_TRUE(all().empty());
    EXPECT_EQ(readFile(file), "");
    SQLiteMessageStore store(folder / "a/b/messages.db");
    EXPECT_EQ(wait(store.messageCount()), 0);
    EXPECT_FALSE(exists(folder / "a"));
    wait(SQLiteMessageStore(folder / "a/b/messages.db").saveMessage(newMessage()));
    EXPECT_EQ(wait(store.messageCount()), 1);
}

TEST_F(SQLiteMessageStoreTest, RefusesWhatIsNoStoreAndLeavesItAlone) {
    const std::string noDatabase =
        "it is not a message store and not an SQLite database; choose another file";
    const std::string otherProgram = "it is a database of another program; choose another file";
    const std::string notItsTables = "the file is damaged: its tables are not those of a message store";
    const struct {
        std::string content, sql, cause;
    } cases[] = {
        {"x", "", noDatabase},
        {"SQLite format 3\nnot" + std::string(200, ' '), "", noDatabase},
        {"", "CREATE TABLE messages (id)", otherProgram},
        {"", "CREATE TABLE m (id); PRAGMA journal_mode = WAL; CREATE TABLE more (id)", otherProgram},
        {"", "PRAGMA application_id = 1; CREATE TABLE messages (id)", otherProgram},
        {"store", "PRAGMA user_version = 2",
         "it was written by a newer version of this program (schema 2, this one knows up to 1); use that "
         "version"},
        {"store", "PRAGMA user_version = 0", "the file is damaged: its schema version is 0"},
        {"store", "ALTER TABLE messages ADD COLUMN big TEXT AS (printf('%.*c', 300000000, 'x'))",
         notItsTables},
        {"store",
         "CREATE TABLE m AS SELECT * FROM messages; DROP TABLE messages; ALTER TABLE m RENAME TO messages",
         notItsTables},
        {"store", "DROP TABLE settings", notItsTables},
        // The index of another table, which holds the expected statements, poses as an index of the schema.
        {"store",
         "CREATE TABLE other AS SELECT * FROM sqlite_schema; "
         "CREATE INDEX index_of_schema ON other (type, name, sql); PRAGMA writable_schema = ON; UPDATE "
         "sqlite_schema SET tbl_name = 'sqlite_master', "
         "sql = replace(sql, 'other', 'sqlite_master') WHERE name = 'index_of_schema';"
         "UPDATE sqlite_schema SET sql = replace(sql, 'thumbnail       TEXT', 'thumbnail TEXT AS (sender)')",
         notItsTables},
        {"store", "ALTER TABLE messages RENAME TO hidden; CREATE VIEW messages AS SELECT * FROM hidden",
         notItsTables},
    };
    for (const auto& [content, sql, cause] : cases) {
        SCOPED_TRACE(cause);
        if (content == "store") {
            makeStore();
        } else {
            writeFile(file, content);
        }
        execute(file, sql);
        expectRefused(cause);
        std::filesystem::remove(file);
        std::filesystem::remove(beside("-wal"));
    }
    mkfifo(file.c_str(), 0600);
    expectRefused("it is not a regular file");
}

/// The beginning of a journal (https://www.sqlite.org/fileformat.html, section 3).
std::string journalHeader(std::uint32_t sectorSize, std::uint32_t ofPageSize,
                          const std::string& magic = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7") {
    return magic + bigEndian(0) + bigEndian(0x12345678) + bigEndian(3) + bigEndian(sectorSize) +
           bigEndian(ofPageSize);
}

TEST_F(SQLiteMessageStoreTest, TakesForItsJournalWhatSQLiteLeavesAndNothingElse) {
    const std::string zeros(8, '\0');
    const std::string notes(600, 'x');
    const std::pair<std::string, bool> cases[] = {
        {"my diary", false},
        {zeros + "my diary" + notes, false},
        {zeros.substr(0, 4), true},
        {std::string(512, '\0') + notes, true},
        {std::string(28, '\0') + notes, false},
        {zeros + zeros + zeros + "xyz" + notes, false},
        {journalHeader(512, pageSize, zeros) + notes, true},
        {journalHeader(512, pageSize, "\xd9\xd5\x05" + zeros.substr(3)) + notes, true},
        {journalHeader(512, pageSize, "\xd9\xd5\x05\x01" + zeros.substr(4)) + notes, false},
        {journalHeader(512, pageSize, zeros).substr(0, 27), false},
        {journalHeader(512, 2 * pageSize, zeros) + notes, false},
        {journalHeader(500, pageSize, zeros) + notes, false},
        {journalHeader(512, pageSize) + notes, true},
    };
    const path journal = beside("-journal");
    makeStore();
    for (const auto& [content, isJournal] : cases) {
        SCOPED_TRACE(testing::PrintToString(content));
        writeFile(journal, content);
        if (isJournal) {
            const std::string errors = errorOfReading() + errorOfWriting();
            EXPECT_THAT(errors, testing::Not(HasSubstr("is something else")));
            EXPECT_EQ(readFile(journal), "");
        } else {
            expectRefused("\"" + journal.native() +
                          "\", which would be its journal, is something else; move it away");
        }
    }
    // SQLite deletes a journal beside an empty store without reading it.
    for (const std::string_view content : {"", "hello"}) {
        writeFile(journal, "my diary");
        writeFile(file, content);
        EXPECT_EQ(errorOfReading().empty(), content.empty());
        EXPECT_THAT(errorOfWriting(), EndsWith("is something else; move it away"));
        EXPECT_EQ(readFile(journal), "my diary");
    }
}

TEST_F(SQLiteMessageStoreTest, RefusesAJournalThatHasAnotherFileDeleted) {
    makeStore();
    const std::string bystander = folder / "bystander";
    const path journal = beside("-journal");
    constexpr std::uint32_t sectorSize = 512;
    std::string header = journalHeader(sectorSize, pageSize);
    header.resize(sectorSize);
    // The journal ends with the name of a super-journal and its checksum, as SQLite's pager writes them.
    const auto sum = static_cast<std::uint32_t>(std::accumulate(bystander.begin(), bystander.end(), 0));
    const auto length = static_cast<std::uint32_t>(bystander.size());
    const std::string bytes =
        header + bigEndian(0) + bystander + bigEndian(length) + bigEndian(sum) + header.substr(0, 8);
    const std::string cause = "names another file, to be deleted; move it away";
    for (const bool exists : {false, true}) {
        // It appears while the store is open.
        SQLiteMessageStore store(file);
        EXPECT_EQ(wait(store.messageCount()), 2);
        if (exists) {
            writeFile(bystander, "my diary");
        }
        writeFile(journal, bytes);
        EXPECT_THAT(errorOf([&] { wait(store.messageCount()); }), EndsWith(cause));
        EXPECT_THAT(errorOf([&] { wait(store.saveMessage(newMessage())); }), EndsWith(cause));
        expectRefused(cause);
        EXPECT_EQ(readFile(bystander), exists ? "my diary" : "");
        remove(journal);
    }
}

TEST_F(SQLiteMessageStoreTest, StaysInTheFolderThatItOpened) {
    create_directory(folder / "real");
    const path real = folder / "real/messages.db";
    SQLiteMessageStore store(real);
    wait(store.saveMessage(newMessage()));
    create_directory(folder / "victim");
    rename(folder / "real", folder / "moved");
    create_directory_symlink(folder / "victim", folder / "real");
    const std::string hot = journalHeader(512, pageSize);
    writeFile(folder / "victim/messages.db-journal", hot);
    writeFile(folder / "moved/messages.db-journal", hot);
    wait(store.saveMessage(newMessage()));
    EXPECT_EQ(wait(store.messageCount()), 2);
    EXPECT_EQ(readFile(folder / "victim/messages.db-journal"), hot);
    EXPECT_FALSE(exists(folder / "victim/messages.db"));
    EXPECT_EQ(wait(SQLiteMessageStore(folder / "moved/messages.db").messageCount()), 2);
}

/// Runs `action` in a process of its own, as another user if this one is root, whom permissions do not bind.
/// Returns its text.
std::string outputAs(uid_t user, const std::function<std::string()>& action) {
    return outputOf([&] {
        runInProcesses(1, [&](int) {
            if (geteuid() != 0 || (setgid(user) == 0 && setuid(user) == 0)) {
                std::fputs(action().c_str(), stdout);
            }
            std::fflush(stdout);
            _exit(0);
        });
    });
}

TEST_F(SQLiteMessageStoreTest, TakesFilesOfOthersWhereNotEverybodyMayPutThem) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    constexpr uid_t stranger = 12345;
    const std::string planted = "and anybody may have put it into its folder, where everybody may write";
    const path shared = folder / "shared";
    const struct {
        mode_t folderMode;
        uid_t user, storeOwner, journalOwner;
        std::string_view refusal;
    } cases[] = {
        {01777, 0, nobody, 0, ": it belongs to the user \"nobody\", "},
        {0777, 0, stranger, 0, ": it belongs to the user 12345, "},
        {01777, 0, 0, nobody, "which would be its journal, belongs to the user \"nobody\", "},
        {01777, nobody, stranger, nobody, ": it belongs to the user 12345, "},
        {01777, nobody, nobody, stranger, "which would be its journal, belongs to the user 12345, "},
        {01777, nobody, nobody, nobody, ""},
        {0777, nobody, 0, 0, ""},
        {02770, 0, nobody, stranger, ""},
        {0755, 0, stranger, stranger, ""},
    };
    std::filesystem::permissions(folder / "", std::filesystem::perms::all);
    makeStore();
    const std::string made = readFile(file);
    file = shared / "messages.db";
    const path journal = beside("-journal");
    for (const std::string& before : {std::string(), made}) {
        for (const auto& [folderMode, user, storeOwner, journalOwner, refusal] : cases) {
            SCOPED_TRACE(std::to_string(folderMode) + refusal.data());
            remove_all(shared);
            create_directory(shared);
            for (const auto& [name, owner] : {std::pair(file, storeOwner), {journal, journalOwner}}) {
                writeFile(name, name == file ? before : "");
                // The group may write: in a sticky folder, the kernel lets only the owner or group open a
                // file for writing.
                ASSERT_EQ(chown(name.c_str(), owner, 0) + chmod(name.c_str(), 0666), 0);
            }
            ASSERT_EQ(chmod(shared.c_str(), folderMode), 0);
            const std::string error = outputAs(user, [&] { return errorOfWriting(); });
            if (refusal.empty()) {
                EXPECT_EQ(error, "");
                ASSERT_EQ(chmod(shared.c_str(), 0755), 0);
                EXPECT_EQ(wait(SQLiteMessageStore(file).messageCount()), before.empty() ? 1 : 3);
            } else {
                EXPECT_THAT(error, AllOf(HasSubstr(refusal), HasSubstr(planted)));
                EXPECT_EQ(readFile(file), before);
            }
        }
    }
    // A journal that root makes beside a user's store belongs to that user.
    remove(journal);
    EXPECT_EQ(errorOfWriting(), "");
    struct stat status {};
    ASSERT_EQ(stat(journal.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, stranger);
}

TEST_F(SQLiteMessageStoreTest, RefusesFilesThatHaveASecondName) {
    makeStore();
    const path diary = folder / "diary";
    writeFile(diary, "");
    const path journal = beside("-journal");
    remove(journal);
    create_hard_link(diary, journal);
    EXPECT_THAT(errorOfWriting(),
                EndsWith("its journal, has another name as well (a hard link); move it away"));
    remove(journal);
    // Backups may be hard links, but not in a folder where everybody can make some.
    create_hard_link(file, folder / "backup");
    EXPECT_EQ(errorOfWriting(), "");
    std::filesystem::permissions(folder / "", std::filesystem::perms::all);
    EXPECT_THAT(errorOfReading(), HasSubstr("it has another name as well (a hard link), "));
}

TEST_F(SQLiteMessageStoreTest, KeepsTheLocksOfOtherConnectionsInItsProcess) {
    makeStore();
    SQLite::Database other(file);
    other.execute("BEGIN IMMEDIATE");
    // Closing a descriptor of the file would drop the lock, so SQLite keeps them open.
    EXPECT_EQ(all().size(), 2U);
    EXPECT_EQ(all().size(), 2U);
    const auto tryToLock = [&](int) {
        sqlite3* database = nullptr;
        sqlite3_open(file.c_str(), &database);
        _exit(sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
    };
    EXPECT_THAT(runInProcesses(1, tryToLock), testing::ElementsAre(SQLITE_BUSY));
}

TEST_F(SQLiteMessageStoreTest, RefusesWriteAheadLogs) {
    const path log = beside("-wal");
    const std::string turnOff =
        "turn it off: sqlite3 \"" + file.native() + "\" 'PRAGMA journal_mode = DELETE'";
    const std::string notItsOwn =
        "\"" + log.native() + "\", which would be its write-ahead log, does not belong to it; move it away";
    makeStore();
    const std::string store = readFile(file);
    execute(file, "PRAGMA journal_mode = WAL; UPDATE messages SET sender = 'x'");
    remove(beside("-shm"));
    expectRefused(turnOff);
    const std::string planted = readFile(log);
    // SQLite reads a log even if the header does not mention one.
    writeFile(file, store);
    expectRefused(notItsOwn);
    writeFile(log, "my diary");
    expectRefused(notItsOwn);
    writeFile(log, "");
    EXPECT_EQ(errorOfReading() + errorOfWriting(), "");
    writeFile(file, store);
    SQLiteMessageStore opened(file);
    EXPECT_EQ(wait(opened.messageCount()), 2);
    writeFile(log, planted);
    EXPECT_THAT(errorOf([&] { wait(opened.allMessages()); }), EndsWith(notItsOwn));
    remove(log);
    execute(file, "PRAGMA journal_mode = WAL");
    remove(log);
    remove(beside("-shm"));
    expectRefused(turnOff);
    execute(file, "PRAGMA journal_mode = DELETE");
    EXPECT_EQ(all().size(), 2U);
}

TEST_F(SQLiteMessageStoreTest, KeepsItsErrorsOnOneLine) {
    makeStore();
    execute(file, "CREATE TABLE \"\x1b[2J\n\" (id)");
    std::string bytes = readFile(file);
    // The statement in the schema no longer parses, and SQLite's error names the table.
    const std::size_t found = bytes.find("CREATE TABLE \"\x1b");
    ASSERT_NE(found, std::string::npos);
    writeFile(file, bytes.replace(found, 6, "CRXATE"));
    EXPECT_THAT(errorOfReading(), HasSubstr("malformed database schema (\\u{1B}[2J\\n)"));
}

TEST_F(SQLiteMessageStoreTest, NamesWhatCannotBeMade) {
    writeFile(folder / "plain", "");
    create_directory(folder / "inner");
    create_symlink(folder / "nowhere", folder / "link");
    const std::pair<std::string, std::string> cases[] = {
        {"plain/messages.db", "it cannot be opened: Not a directory"},
        {"inner", "it is a folder, not a file"},
        {"link", "it is a symbolic link, which may lead anywhere; give the path of the file itself"},
    };
    for (const auto& [name, cause] : cases) {
        file = folder / name;
        expectRefused(cause);
    }
    for (const std::string name : {"plain/x/messages.db", "new/"}) {
        file = folder / name;
        EXPECT_THAT(errorOfWriting(), testing::ContainsRegex("Not a directory$|it is a folder, not a file$"));
        EXPECT_FALSE(exists(file));
    }
    std::filesystem::permissions(folder / "", std::filesystem::perms::all);
    std::filesystem::permissions(folder / "inner", std::filesystem::perms(0555));
    file = folder / "inner/messages.db";
    EXPECT_THAT(outputAs(nobody, [&] { return errorOfWriting(); }),
                EndsWith("it cannot be opened: Permission denied"));
}

TEST_F(SQLiteMessageStoreTest, ReadsButDoesNotWriteAReadOnlyFile) {
    makeStore();
    std::filesystem::permissions(folder / "", std::filesystem::perms::all);
    std::filesystem::permissions(file, std::filesystem::perms(0444));
    EXPECT_THAT(outputAs(nobody, [&] { return std::to_string(all().size()) + errorOfWriting(); }),
                AllOf(StartsWith("2"), HasSubstr("the file cannot be written; check its permissions")));
    EXPECT_EQ(all().size(), 2U);
}

TEST_F(SQLiteMessageStoreTest, ReportsDamage) {
    makeStore();
    const std::string sound = readFile(file);
    // In every page but the first, which has the header and the schema: all bytes, or a cell outside the
    // page.
    for (const auto& [offset, damage] : {std::pair(0, std::string(pageSize, '\x55')), {8, "\x0f\xff"}}) {
        std::string bytes = sound;
        for (std::size_t page = pageSize; page < sound.size(); page += pageSize) {
            bytes.replace(page + static_cast<std::size_t>(offset), damage.size(), damage);
        }
        writeFile(file, bytes);
        EXPECT_THAT(errorOf([&] { wait(SQLiteMessageStore(file).messageCount()); }),
                    AllOf(StartsWith("cannot count the messages in the message store \""),
                          HasSubstr("the file is damaged (database disk image is malformed)")));
        EXPECT_NE(errorOfWriting(), "");
        EXPECT_EQ(readFile(file), bytes);
    }
    writeFile(file, sound);
    for (std::uintmax_t size = sound.size() - 1; size > 0; size -= std::min<std::uintmax_t>(size, 1000)) {
        resize_file(file, size);
        EXPECT_THAT(errorOfReading(), testing::ContainsRegex("the file is damaged|it is not a message store"))
            << size;
    }
}

TEST_F(SQLiteMessageStoreTest, EndsReadingWhatWouldTakeForever) {
    const std::string damaged = ": the file is damaged ";
    const std::string endless = damaged + "\\(reading it finds no end\\); restore a copy of it$";
    const std::string tooMuch = damaged + "\\(more is read from it than it holds\\); restore a copy of it$";
    const std::string noMemory = ": out of memory$";
    const auto list = [](SQLiteMessageStore& store) { wait(store.allMessages()); };
    const auto count = [](SQLiteMessageStore& store) { wait(store.messageCount()); };
    const auto find = [](SQLiteMessageStore& store) { wait(store.messages(std::vector<std::string>{"a"})); };
    const auto findVoicemails = [](SQLiteMessageStore& store) {
        wait(store.voicemailMessages(MessageProvider::Telephony, MessageType::audio));
    };
    const struct {
        std::string way;
        std::function<void(SQLiteMessageStore&)> read;
        std::string error;
        rlim_t seconds = 20;
    } cases[] = {
        {"shared-children:schema", list, endless},
        {"shared-children:messages", list, tooMuch},
        {"shared-children:messages_by_provider_and_type", count, endless},
        {"shared-children:messages_by_provider_and_type", findVoicemails, endless},
        {"shared-children:messages_by_sender", find, tooMuch},
        {"long-row", list, endless, 2},
        {"long-key", find, noMemory},
        {"slow-schema", list, "(" + endless + ")|(" + noMemory + ")"},
    };
    for (const auto& [way, read, error, seconds] : cases) {
        makeStore();
        ASSERT_EQ(runProgram({ORVEX_TEST_SOURCES "/hostile-store.py", way, file}), ProgramRun());
        // The limit ends the process if reading does not end.
        const auto readWithLimit = [&, &read = read, seconds = seconds] {
            const rlimit limit{.rlim_cur = seconds, .rlim_max = seconds};
            setrlimit(RLIMIT_CPU, &limit);
            SQLiteMessageStore store(file);
            return errorOf([&] { read(store); });
        };
        EXPECT_THAT(outputAs(geteuid(), readWithLimit), testing::ContainsRegex(error)) << way;
    }
}

TEST_F(SQLiteMessageStoreTest, GoesOnAfterItsProcessWasBusy) {
    makeStore();
    SQLiteMessageStore store(file);
    EXPECT_EQ(wait(store.messageCount()), 2);
    for (const std::clock_t start = std::clock(); std::clock() - start < CLOCKS_PER_SEC;) {
    }
    wait(store.saveMessage(newMessage()));
}

TEST_F(SQLiteMessageStoreTest, ChecksTheSchemaThatItHasParsed) {
    makeStore();
    const std::string forge = "PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = replace(sql, ";
    execute(file, forge + "' TEXT,', ' TEXT AS (sender),')");
    SQLite::Database database(file);
    database.execute("PRAGMA journal_mode");
    const std::string computed = "SELECT count(*) FROM pragma_table_xinfo('messages') WHERE hidden";
    EXPECT_EQ(database.queryInteger(computed), 3);
    // This change leaves the number of the schema as it was.
    execute(file, forge + "' TEXT AS (sender),', ' TEXT,')");
    const SQLite::Transaction transaction(database, SQLite::Transaction::Kind::deferred);
    checkTables(database);
    EXPECT_EQ(database.queryInteger(computed), 0);
}

TEST_F(SQLiteMessageStoreTest, IsHardenedAgainstWhatAFileMayHold) {
    makeStore();
    execute(file, "CREATE VIEW v AS SELECT 1;"
                  "CREATE TRIGGER t AFTER INSERT ON messages BEGIN DELETE FROM messages; END");
    wait(SQLiteMessageStore(file).saveMessage(newMessage()));
    EXPECT_EQ(all().size(), 3U);
    SQLite::Database database(file);
    database.trustSchema();
    EXPECT_EQ(database.queryInteger("PRAGMA trusted_schema"), 0);
    for (const char* const forbidden : {"SELECT * FROM v", "SELECT zeroblob(16777217)",
                                        "PRAGMA writable_schema = ON; DELETE FROM sqlite_schema"}) {
        EXPECT_THROW(database.execute(forbidden), SQLite::Error) << forbidden;
    }
    execute(file, "CREATE INDEX harmless ON messages (created)");
    EXPECT_EQ(errorOfWriting(), "");
    for (const char* const index :
         {"messages (instr(sender, recipient))", "settings (value) WHERE value LIKE '%'"}) {
        execute(file, std::string("DROP INDEX IF EXISTS own; CREATE INDEX own ON ") + index);
        EXPECT_THAT(errorOfWriting(), EndsWith(": its index \"own\" computes something; drop it")) << index;
        EXPECT_EQ(all().size(), 4U);
    }
    execute(file, "DROP INDEX own; PRAGMA auto_vacuum = INCREMENTAL; VACUUM; CREATE TABLE t (a);"
                  "INSERT INTO t VALUES (zeroblob(9000)); DROP TABLE t");
    EXPECT_EQ(errorOfWriting(), "");
    constexpr std::size_t incrementalVacuumOffset = 64;
    writeFile(file, readFile(file).replace(incrementalVacuumOffset, 4, bigEndian(0)));
    EXPECT_THAT(errorOfWriting(), HasSubstr("free pages in spite of auto_vacuum = FULL"));
    execute(file, "VACUUM");
    EXPECT_EQ(errorOfWriting(), "");
    for (const char* const column : {"read", "rtt", "type", "mailbox", "quality"}) {
        execute(file, std::string("CREATE INDEX by_") + column + " ON messages (" + column + ")");
    }
    EXPECT_THAT(errorOfWriting(), EndsWith(": it has more than 10 indexes; drop some"));
}

TEST_F(SQLiteMessageStoreTest, DoesNotBelieveWhatIsInTheFile) {
    const std::pair<std::string, std::string> cases[] = {
        {"record_uuid = x'00'", "record_uuid is not a UUID of 16 bytes"},
        {"call_uuid = x'000102030405060708090a0b0c0d0e0f10'", "call_uuid is not a UUID of 16 bytes"},
        {"voicemail_id = 0", "voicemail_id is 0, not between 1 and 2147483647"},
        {"voicemail_id = 2147483648", "voicemail_id is 2147483648, not between 1 and 2147483647"},
        {"type = 3", "type is 3, not between 0 and 2"},
        {"provider = 0", "provider is 0, not between 1 and 2"},
        {"mailbox = -1", "mailbox is -1, not between 0 and 2"},
        {"transcription = 65536", "transcription is 65536, not between 0 and 4"},
        {"quality = 3", "quality is 3, not between 0 and 2"},
        {"read = 2", "read is 2, not between 0 and 1"},
        {"duration = 9e999", "duration is not a finite number"},
        {"created = 253402300800000",
         "created is 253402300800000, not between -62167219200000 and 253402300799999"},
        {"message_file = 'http://\n'", R"(message_file is "http://\n", which is not a file URL)"},
    };
    file = folder / "it's $HOME.db";
    for (const auto& [change, fault] : cases) {
        makeStore();
        const std::string uuid = all()[0].recordUUID.text();
        execute(file,
                "PRAGMA ignore_check_constraints = ON; UPDATE messages SET " + change + " WHERE id = 1");
        const std::string error = errorOfReading();
        const bool isNameless = change.starts_with("record_uuid");
        EXPECT_THAT(error, HasSubstr(": the store is damaged: in the message " +
                                     (isNameless ? "in row 1" : "with the record UUID " + uuid) + " " +
                                     fault + "; to remove it: sqlite3 '"));
        EXPECT_EQ(std::system(error.substr(error.find("sqlite3 '")).c_str()), 0);
        EXPECT_EQ(all().size(), 1U);
    }
}

TEST_F(SQLiteMessageStoreTest, ReadsItsSettings) {
    makeStore();
    SQLiteMessageStore store(file);
    const auto set = [&](const std::string& name, std::int64_t value) {
        execute(file,
                "UPDATE settings SET value = " + std::to_string(value) + " WHERE name = '" + name + "'");
    };
    const auto saveVoicemail = [&] {
        return wait(store.saveMessage(newMessage(MessageType::audio, MessageProvider::Telephony)));
    };
    set("transcriptionEnabled", 0);
    EXPECT_FALSE(wait(store.isTranscriptionEnabled()));
    set("transcriptionEnabled", 7);
    EXPECT_THAT(errorOf([&] { wait(store.isTranscriptionEnabled()); }),
                EndsWith("the setting transcriptionEnabled is 7, not 0 or 1"));
    for (const std::int64_t status : {0L, 5L, -1L, 4611686018427387904L}) {
        set("accountStatus", status);
        EXPECT_EQ(static_cast<std::int64_t>(wait(store.accountStatus())), status);
    }
    set("lastVoicemailID", 2147483646);
    EXPECT_EQ(saveVoicemail().voicemailID, 2147483647);
    EXPECT_THAT(errorOfWriting(), "");
    EXPECT_THAT(errorOf(saveVoicemail), HasSubstr("there is no further voicemail identifier"));
    set("lastVoicemailID", 0);
    EXPECT_THAT(errorOf(saveVoicemail), HasSubstr("the setting lastVoicemailID has been lowered"));
    execute(file, "DELETE FROM settings");
    EXPECT_TRUE(wait(store.isTranscriptionEnabled()));
    EXPECT_EQ(wait(store.accountStatus()), AccountStatus::noAccount);
}

TEST_F(SQLiteMessageStoreTest, CountsWhatOthersHaveChanged) {
    const auto count = [this] { return wait(SQLiteMessageStore(file).messageCount()); };
    for (const char* const change :
         {"DELETE FROM messages WHERE id = 1", "DELETE FROM settings",
          "UPDATE settings SET value = 7 WHERE name = 'messageCount'",
          "UPDATE settings SET value = value + (name = 'messageCountChange') - 3 * (name = 'messageCount')",
          "UPDATE settings SET value = iif(name = 'messageCount', 1 << 47, value + 1)",
          "PRAGMA journal_mode = WAL; DELETE FROM messages WHERE id = 1; PRAGMA journal_mode = DELETE",
          "DELETE FROM messages WHERE id = 1; VACUUM"}) {
        makeStore();
        execute(file, change);
        const auto messages = static_cast<std::int64_t>(all().size());
        EXPECT_EQ(count(), messages) << change;
        EXPECT_EQ(errorOfWriting(), "");
        EXPECT_EQ(count(), messages + 1) << change;
    }
}

TEST_F(SQLiteMessageStoreTest, CountsInACopyThatOthersHaveChangedAsOften) {
    makeStore();
    const path vacuumed = folder / "vacuumed.db";
    execute(file, "VACUUM INTO '" + vacuumed.native() + "'");
    const path plain = folder / "plain.db";
    copy_file(file, plain);
    for (const path& copy : {vacuumed, plain}) {
        execute(copy, "DELETE FROM messages WHERE id = 1");
        if (copy == plain) {
            // As in a store that was restored from SQL, whose counter began at 1.
            constexpr std::size_t lastByteOfCounter = 27;
            std::string bytes = readFile(copy);
            --bytes.at(lastByteOfCounter);
            writeFile(copy, bytes);
        }
        // The counters of a copy and its original meet sooner or later.
        for (int change = 0; change < 5; ++change) {
            EXPECT_EQ(wait(SQLiteMessageStore(copy).messageCount()), 1) << copy << change;
            execute(copy, "UPDATE settings SET value = 1 WHERE name = 'accountStatus'");
        }
    }
}

TEST_F(SQLiteMessageStoreTest, CountsOnceAndKeepsTheCount) {
    makeStore();
    const UUID recordUUID = all()[1].recordUUID;
    // A wrong count shows that the messages themselves are not counted.
    execute(file, "UPDATE settings SET value = CASE name WHEN 'messageCount' THEN 100 ELSE value + 1 END "
                  "WHERE name LIKE 'messageCount%'");
    SQLiteMessageStore store(file);
    EXPECT_EQ(wait(store.messageCount()), 100);
    wait(store.saveMessage(newMessage()));
    EXPECT_EQ(wait(store.messageCount()), 101);
    wait(store.updateMessage({{.recordUUID = recordUUID, .read = true}}));
    EXPECT_EQ(wait(store.messageCount()), 101);
    wait(store.deleteMessages({recordUUID, UUID::random()}));
    EXPECT_EQ(wait(store.messageCount()), 100);
    wait(store.deleteMessages({recordUUID}));
    wait(store.updateMessage({}));
    EXPECT_EQ(wait(store.messageCount()), 100);
}

TEST_F(SQLiteMessageStoreTest, TakesLongListsOfIdentifiers) {
    makeStore();
    SQLiteMessageStore store(file);
    std::vector<UUID> recordUUIDs(200000);
    recordUUIDs.push_back(all()[1].recordUUID);
    EXPECT_EQ(wait(store.messages(recordUUIDs)).size(), 1U);
    wait(store.deleteMessages(recordUUIDs));
    std::vector<std::string> handles(100000, "nobody");
    handles.emplace_back(all()[0].from);
    EXPECT_EQ(wait(store.messages(handles)).size(), 1U);
}

} // namespace
} // namespace Orvex::Testing
