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

/// Runs statements on a file as another program would that dies afterwards, leaving a write-ahead log.
void execute(const path& file, const std::string& sql) {
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
    sqlite3_free(error);
    sqlite3_close(database);
}

std::string errorOfReading(const path& file) {
    return errorOf([&] { wait(SQLiteMessageStore(file).allMessages()); });
}

std::string errorOfWriting(const path& file) {
    return errorOf([&] { wait(SQLiteMessageStore(file).saveMessage(newMessage())); });
}

constexpr std::uint32_t pageSize = 4096;

class SQLiteMessageStoreTest : public testing::Test {
  protected:
    std::vector<StoredMessage> all() { return wait(SQLiteMessageStore(file).allMessages()); }

    /// A store with two messages, the first of them a voicemail.
    void makeStore() {
        SQLiteMessageStore store(file);
        wait(store.saveMessage(newMessage(MessageType::audio, MessageProvider::Telephony)));
        wait(store.saveMessage(newMessage()));
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
    const auto run = [](const std::string& sql) { return [=](const path& at) { execute(at, sql); }; };
    const auto makeVersion = [&](const std::string& sql) {
        return [=, this](const path& at) {
            makeStore();
            rename(file, at);
            execute(at, sql);
        };
    };
    const std::pair<std::function<void(const path&)>, std::string> cases[] = {
        {[](const path& at) { writeFile(at, "x"); }, noDatabase},
        {[](const path& at) { writeFile(at, "SQLite format 3\nnot" + std::string(200, ' ')); }, noDatabase},
        {run("CREATE TABLE messages (id)"), otherProgram},
        {run("CREATE TABLE m (id); PRAGMA journal_mode = WAL; CREATE TABLE more (id)"), otherProgram},
        {run("PRAGMA application_id = 1; CREATE TABLE messages (id)"), otherProgram},
        {makeVersion("PRAGMA user_version = 2"), "it was written by a newer version of this program (schema "
                                                 "2, this one knows up to 1); use that version"},
        {makeVersion("PRAGMA user_version = 0"), "the file is damaged: its schema version is 0"},
        {[](const path& at) { mkfifo(at.c_str(), 0600); }, "it is not a regular file"},
    };
    int number = 0;
    for (const auto& [make, cause] : cases) {
        const path at = folder / ("case" + std::to_string(++number));
        make(at);
        const auto content = [&] {
            return std::pair(is_regular_file(at) ? readFile(at) : "", readFile(path(at) += "-wal"));
        };
        const auto before = content();
        const std::string where = " in the message store \"" + at.native() + "\": " + cause;
        EXPECT_EQ(errorOfReading(at), "cannot list all messages" + where);
        EXPECT_EQ(errorOfWriting(at), "cannot save a message" + where);
        EXPECT_EQ(content(), before) << at;
        EXPECT_FALSE(exists(path(at) += "-journal")) << at;
    }
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
    const path journal = path(file) += "-journal";
    makeStore();
    for (const auto& [content, isJournal] : cases) {
        SCOPED_TRACE(testing::PrintToString(content));
        writeFile(journal, content);
        const std::string cause =
            isJournal
                ? ""
                : "\"" + journal.native() + "\", which would be its journal, is something else; move it away";
        EXPECT_THAT(errorOfReading(file), EndsWith(cause));
        EXPECT_THAT(errorOfWriting(file), EndsWith(cause));
        EXPECT_EQ(readFile(journal), isJournal ? "" : content);
    }
    // SQLite deletes what is beside an empty store, without a look into it.
    for (const std::string_view content : {"", "hello"}) {
        writeFile(journal, "my diary");
        writeFile(file, content);
        EXPECT_EQ(errorOfReading(file).empty(), content.empty());
        EXPECT_THAT(errorOfWriting(file), EndsWith("is something else; move it away"));
        EXPECT_EQ(readFile(journal), "my diary");
    }
}

TEST_F(SQLiteMessageStoreTest, RefusesAJournalThatHasAnotherFileDeleted) {
    makeStore();
    const std::string bystander = folder / "bystander";
    const path journal = path(file) += "-journal";
    constexpr std::uint32_t sectorSize = 512;
    std::string header = journalHeader(sectorSize, pageSize);
    header.resize(sectorSize);
    // pager.c on the name of a super-journal
    const auto sum = static_cast<std::uint32_t>(std::accumulate(bystander.begin(), bystander.end(), 0));
    const auto length = static_cast<std::uint32_t>(bystander.size());
    const std::string bytes =
        header + bigEndian(0) + bystander + bigEndian(length) + bigEndian(sum) + header.substr(0, 8);
    for (const bool exists : {true, false}) {
        // Somebody puts it there when the store has been opened.
        SQLiteMessageStore store(file);
        EXPECT_EQ(wait(store.messageCount()), 2);
        if (exists) {
            writeFile(bystander, "my diary");
        }
        writeFile(journal, bytes);
        const std::string cause = "names another file, to be deleted; move it away";
        EXPECT_THAT(errorOf([&] { wait(store.messageCount()); }), EndsWith(cause));
        EXPECT_THAT(errorOf([&] { wait(store.saveMessage(newMessage())); }), EndsWith(cause));
        EXPECT_THAT(errorOfReading(file), EndsWith(cause));
        EXPECT_EQ(readFile(journal), bytes);
        EXPECT_EQ(readFile(bystander), exists ? "my diary" : "");
        remove(path(bystander));
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

/// Runs `action` as another user, in a process of its own, and returns what it prints.
std::string outputAs(uid_t user, const std::function<void()>& action) {
    return outputOf([&] {
        runInProcesses(1, [&](int) {
            if (setgid(user) == 0 && setuid(user) == 0) {
                action();
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
    constexpr uid_t nobody = 65534;
    constexpr uid_t stranger = 12345;
    const std::string planted = "and anybody may have put it into its folder, where everybody may write";
    const path shared = folder / "shared";
    const path store = shared / "messages.db";
    const path journal = shared / "messages.db-journal";
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
    for (const std::string& before : {std::string(), (makeStore(), readFile(file))}) {
        for (const auto& [folderMode, user, storeOwner, journalOwner, refusal] : cases) {
            SCOPED_TRACE(std::to_string(folderMode) + refusal.data());
            remove_all(shared);
            create_directory(shared);
            for (const auto& [name, owner] : {std::pair(store, storeOwner), {journal, journalOwner}}) {
                writeFile(name, name == store ? before : "");
                // Of the group that writes; a sticky folder lets nobody open for writing what is another's.
                ASSERT_EQ(chown(name.c_str(), owner, 0) + chmod(name.c_str(), 0666), 0);
            }
            ASSERT_EQ(chmod(shared.c_str(), folderMode), 0);
            const std::string error =
                outputAs(user, [&] { std::fputs(errorOfWriting(store).c_str(), stdout); });
            if (refusal.empty()) {
                EXPECT_EQ(error, "");
                ASSERT_EQ(chmod(shared.c_str(), 0755), 0);
                EXPECT_EQ(wait(SQLiteMessageStore(store).messageCount()), before.empty() ? 1 : 3);
            } else {
                EXPECT_THAT(error, AllOf(HasSubstr(refusal), HasSubstr(planted)));
                EXPECT_EQ(readFile(store), before);
            }
        }
    }
    // A file that root makes beside somebody else's store is that user's.
    remove(journal);
    EXPECT_EQ(errorOfWriting(store), "");
    struct stat status {};
    ASSERT_EQ(stat(journal.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, stranger);
}

TEST_F(SQLiteMessageStoreTest, RefusesFilesThatHaveASecondName) {
    makeStore();
    const path diary = folder / "diary";
    writeFile(diary, "");
    const path journal = path(file) += "-journal";
    remove(journal);
    create_hard_link(diary, journal);
    EXPECT_THAT(errorOfWriting(file),
                EndsWith("its journal, has another name as well (a hard link); move it away"));
    remove(journal);
    // A backup may be made so, but not where others can do it as well.
    create_hard_link(file, folder / "backup");
    EXPECT_EQ(errorOfWriting(file), "");
    std::filesystem::permissions(folder / "", std::filesystem::perms::all);
    EXPECT_THAT(errorOfReading(file), HasSubstr("it has another name as well (a hard link), "));
}

TEST_F(SQLiteMessageStoreTest, KeepsTheLocksOfOtherConnectionsInItsProcess) {
    makeStore();
    SQLite::Database other(file);
    other.execute("BEGIN IMMEDIATE");
    // SQLite keeps the first one's descriptor, as to close it would give the lock up.
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
    const path log = path(file) += "-wal";
    const std::string turnOff =
        "turn it off: sqlite3 \"" + file.native() + "\" 'PRAGMA journal_mode = DELETE'";
    const std::string notItsOwn =
        "\"" + log.native() + "\", which would be its write-ahead log, does not belong to it; move it away";
    const auto checkRefusal = [&](const std::string& cause) {
        const auto content = [&] { return std::pair(readFile(file), readFile(log)); };
        const auto before = content();
        EXPECT_THAT(errorOfReading(file), EndsWith(cause));
        EXPECT_THAT(errorOfWriting(file), EndsWith(cause));
        EXPECT_EQ(content(), before);
        EXPECT_FALSE(exists(path(file) += "-shm"));
    };
    makeStore();
    const std::string store = readFile(file);
    execute(file, "PRAGMA journal_mode = WAL; UPDATE messages SET sender = 'x'");
    remove(path(file) += "-shm");
    checkRefusal(turnOff);
    const std::string planted = readFile(log);
    // SQLite reads a log whatever the store says of it.
    writeFile(file, store);
    checkRefusal(notItsOwn);
    writeFile(log, "my diary");
    checkRefusal(notItsOwn);
    writeFile(log, "");
    EXPECT_EQ(all().size(), 2U);
    EXPECT_EQ(errorOfWriting(file), "");
    writeFile(file, store);
    SQLiteMessageStore opened(file);
    EXPECT_EQ(wait(opened.messageCount()), 2);
    writeFile(log, planted);
    EXPECT_THAT(errorOf([&] { wait(opened.allMessages()); }), EndsWith(notItsOwn));
    remove(log);
    execute(file, "PRAGMA journal_mode = WAL");
    remove(log);
    remove(path(file) += "-shm");
    checkRefusal(turnOff);
    execute(file, "PRAGMA journal_mode = DELETE");
    EXPECT_EQ(all().size(), 2U);
}

TEST_F(SQLiteMessageStoreTest, KeepsItsErrorsOnOneLine) {
    makeStore();
    execute(file, "CREATE TABLE \"\x1b[2J\n\" (id)");
    std::string bytes = readFile(file);
    // The statement in the schema no longer parses; SQLite's error names the table.
    const std::size_t found = bytes.find("CREATE TABLE \"\x1b");
    ASSERT_NE(found, std::string::npos);
    writeFile(file, bytes.replace(found, 6, "CRXATE"));
    EXPECT_THAT(errorOfReading(file), HasSubstr("malformed database schema (\\u{1B}[2J\\n)"));
}

TEST_F(SQLiteMessageStoreTest, NamesWhatCannotBeMade) {
    writeFile(folder / "plain", "");
    const path below = folder / "plain/messages.db";
    EXPECT_THAT(errorOfReading(below), EndsWith("it cannot be opened: Not a directory"));
    EXPECT_THAT(errorOfWriting(folder / "plain/x/messages.db"),
                EndsWith("it cannot be opened: Not a directory"));
    const path closed = folder / "closed";
    create_directory(closed);
    std::filesystem::permissions(folder / "", std::filesystem::perms::all);
    std::filesystem::permissions(closed, std::filesystem::perms(0555));
    constexpr uid_t nobody = 65534;
    const auto save = [&] { std::fputs(errorOfWriting(closed / "messages.db").c_str(), stdout); };
    EXPECT_THAT(outputAs(geteuid() == 0 ? nobody : geteuid(), save),
                EndsWith("it cannot be opened: Permission denied"));
    EXPECT_THAT(errorOfWriting(folder / "new/"), EndsWith("it is a folder, not a file"));
    EXPECT_FALSE(exists(folder / "new"));
    create_symlink(folder / "nowhere", file);
    EXPECT_THAT(errorOfWriting(file), HasSubstr("it is a symbolic link"));
    EXPECT_FALSE(exists(folder / "nowhere"));
}

TEST_F(SQLiteMessageStoreTest, ReadsButDoesNotWriteAReadOnlyFile) {
    makeStore();
    std::filesystem::permissions(folder / "", std::filesystem::perms::all);
    std::filesystem::permissions(file, std::filesystem::perms(0444));
    EXPECT_EXIT(
        {
            // Permissions do not bind root: be somebody else.
            const bool dropped = geteuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0);
            const std::size_t count = all().size();
            std::fputs(errorOfWriting(file).c_str(), stderr);
            _exit(dropped && count == 2 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "the file cannot be written; check its permissions");
    EXPECT_EQ(all().size(), 2U);
}

TEST_F(SQLiteMessageStoreTest, ReportsDamage) {
    makeStore();
    const std::string sound = readFile(file);
    std::string overwritten = sound;
    std::string cellOutsideItsPage = sound;
    // Every page but the first, which has the header and the schema.
    for (std::size_t page = pageSize; page < sound.size(); page += pageSize) {
        overwritten.replace(page, pageSize, pageSize, '\x55');
        constexpr std::size_t firstCell = 8;
        cellOutsideItsPage.replace(page + firstCell, 2, "\x0f\xff");
    }
    for (const std::string& bytes : {overwritten, cellOutsideItsPage}) {
        writeFile(file, bytes);
        EXPECT_THAT(errorOf([&] { wait(SQLiteMessageStore(file).messageCount()); }),
                    AllOf(StartsWith("cannot count the messages in the message store \""),
                          HasSubstr("the file is damaged (database disk image is malformed)")));
        EXPECT_NE(errorOfWriting(file), "");
        EXPECT_EQ(readFile(file), bytes);
    }
}

TEST_F(SQLiteMessageStoreTest, ReportsAFileThatWasCutShort) {
    makeStore();
    for (std::uintmax_t size = file_size(file) - 1; size > 0; size -= std::min<std::uintmax_t>(size, 1000)) {
        resize_file(file, size);
        EXPECT_THAT(errorOfReading(file),
                    testing::ContainsRegex("the file is damaged|it is not a message store"))
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
        std::filesystem::remove(file);
        makeStore();
        ASSERT_EQ(runProgram({ORVEX_TEST_SOURCES "/hostile-store.py", way, file}), ProgramRun());
        // A process of its own, which ends in any case.
        EXPECT_EXIT(
            {
                const rlimit limit{.rlim_cur = seconds, .rlim_max = seconds};
                setrlimit(RLIMIT_CPU, &limit);
                std::fputs(errorOf([&] {
                               SQLiteMessageStore store(file);
                               read(store);
                           }).c_str(),
                           stderr);
                _exit(0);
            },
            testing::ExitedWithCode(0), error)
            << way;
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
    // The schema's number does not change.
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
    EXPECT_EQ(errorOfWriting(file), "");
    for (const char* const index :
         {"messages (instr(sender, recipient))", "settings (value) WHERE value LIKE '%'"}) {
        execute(file, std::string("DROP INDEX IF EXISTS own; CREATE INDEX own ON ") + index);
        EXPECT_THAT(errorOfWriting(file), EndsWith(": its index \"own\" computes something; drop it"))
            << index;
        EXPECT_EQ(all().size(), 4U);
    }
    execute(file, "DROP INDEX own; PRAGMA auto_vacuum = INCREMENTAL; VACUUM; CREATE TABLE t (a);"
                  "INSERT INTO t VALUES (zeroblob(9000)); DROP TABLE t");
    EXPECT_EQ(errorOfWriting(file), "");
    constexpr std::size_t incrementalVacuumOffset = 64;
    writeFile(file, readFile(file).replace(incrementalVacuumOffset, 4, bigEndian(0)));
    EXPECT_THAT(errorOfWriting(file), HasSubstr("free pages in spite of auto_vacuum = FULL"));
    execute(file, "VACUUM");
    EXPECT_EQ(errorOfWriting(file), "");
    for (const char* const column : {"read", "rtt", "type", "mailbox", "quality"}) {
        execute(file, std::string("CREATE INDEX by_") + column + " ON messages (" + column + ")");
    }
    EXPECT_THAT(errorOfWriting(file), EndsWith(": it has more than 10 indexes; drop some"));
}

TEST_F(SQLiteMessageStoreTest, DoesNotBelieveWhatIsInTheFile) {
    const std::string notItsTables = "its tables are not those of a message store";
    const std::pair<std::string, std::string> cases[] = {
        {"ALTER TABLE messages ADD COLUMN big TEXT AS (printf('%.*c', 300000000, 'x'))", notItsTables},
        {"CREATE TABLE m AS SELECT * FROM messages; DROP TABLE messages; ALTER TABLE m RENAME TO messages",
         notItsTables},
        {"DROP TABLE settings", notItsTables},
        // An index of the schema that is the index of another table, which has the statements that are
        // expected.
        {"CREATE TABLE other AS SELECT * FROM sqlite_schema; "
         "CREATE INDEX index_of_schema ON other (type, name, sql); PRAGMA writable_schema = ON; UPDATE "
         "sqlite_schema SET tbl_name = 'sqlite_master', "
         "sql = replace(sql, 'other', 'sqlite_master') WHERE name = 'index_of_schema';"
         "UPDATE sqlite_schema SET sql = replace(sql, 'thumbnail       TEXT', 'thumbnail TEXT AS (sender)')",
         notItsTables},
        {"ALTER TABLE messages RENAME TO hidden; CREATE VIEW messages AS SELECT * FROM hidden", notItsTables},
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
        remove(file);
        makeStore();
        if (fault == notItsTables) {
            execute(file, change);
            EXPECT_THAT(errorOfReading(file), EndsWith(": the file is damaged: " + fault));
            continue;
        }
        const std::string uuid = all()[0].recordUUID.text();
        execute(file,
                "PRAGMA ignore_check_constraints = ON; UPDATE messages SET " + change + " WHERE id = 1");
        const std::string error = errorOfReading(file);
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
    EXPECT_THAT(errorOfWriting(file), "");
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
        std::filesystem::remove(file);
        makeStore();
        execute(file, change);
        const auto messages = static_cast<std::int64_t>(all().size());
        EXPECT_EQ(count(), messages) << change;
        EXPECT_EQ(errorOfWriting(file), "");
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
            // As if it had been restored from SQL, which counts from 1.
            constexpr std::size_t lastByteOfCounter = 27;
            std::string bytes = readFile(copy);
            --bytes.at(lastByteOfCounter);
            writeFile(copy, bytes);
        }
        // A copy counts its changes anew: sooner or later it has as many as the store had.
        for (int change = 0; change < 5; ++change) {
            EXPECT_EQ(wait(SQLiteMessageStore(copy).messageCount()), 1) << copy << change;
            execute(copy, "UPDATE settings SET value = 1 WHERE name = 'accountStatus'");
        }
    }
}

TEST_F(SQLiteMessageStoreTest, CountsOnceAndKeepsTheCount) {
    makeStore();
    const UUID recordUUID = all()[1].recordUUID;
    // A count that only somebody who did not count the messages can believe.
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
