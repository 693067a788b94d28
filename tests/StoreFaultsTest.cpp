#include "Faults.h"
#include "Support.h"
#include "ZelvoMessageStore/SQLite.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include "ZelvoMessageStore/Schema.h"
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <sqlite3.h>

namespace Orvex::Testing {
namespace {

using std::filesystem::path;

/// The files of a folder, by name.
using Files = std::map<std::string, std::string>;

/// What a store holds, as text.
using Content = std::vector<std::string>;

/// Changes made one after another, or a list, as far as the store succeeds.
struct Operation {
    std::string name;
    Files before;
    std::vector<std::function<void(MessageStore&)>> steps;
};

Content contentOf(std::vector<StoredMessage> messages) {
    Content content;
    for (StoredMessage& message : messages) {
        message.created.reset();
        content.push_back(message.description());
    }
    return content;
}

/// So many messages, a few of which fill a page of the store.
std::vector<StoredMessage> newMessages(std::size_t count) {
    constexpr std::size_t longHandle = 400;
    std::vector<StoredMessage> messages;
    for (std::size_t i = 0; i < count; ++i) {
        messages.push_back(i % 2 == 0 ? newMessage(MessageType::audio, MessageProvider::Telephony)
                                      : newMessage());
        messages.back().from = std::to_string(i) + std::string(longHandle, 'x');
    }
    return messages;
}

std::function<void(MessageStore&)> saving(const StoredMessage& message) {
    return [=](MessageStore& store) { wait(store.saveMessage(message)); };
}

/// The store on a disk that fails.
class StoreFaultsTest : public testing::Test {
  protected:
    [[nodiscard]] Content content() const { return contentOf(wait(SQLiteMessageStore(file).allMessages())); }

    void put(const Files& files) const {
        std::filesystem::remove_all(home);
        create_directory(home);
        for (const auto& [name, bytes] : files) {
            writeFile(home / name, bytes);
        }
    }
    [[nodiscard]] Files files() const {
        Files files;
        for (const auto& each : std::filesystem::directory_iterator(home)) {
            files[each.path().filename()] = readFile(each);
        }
        return files;
    }

    /// Runs an operation in a process of its own, which loses power at the fault or at its end; returns how
    /// many of its steps were acknowledged.
    [[nodiscard]] int runUntilPowerFails(const Operation& operation, const Fault& fault) const {
        put(operation.before);
        return runInProcesses(1,
                              [&](int) {
                                  watchDisk(home);
                                  const Faults faults(fault);
                                  SQLiteMessageStore store(file);
                                  for (const auto& step : operation.steps) {
                                      step(store);
                                      ++statusAtFault;
                                  }
                                  losePower(fault.loss);
                                  _exit(statusAtFault);
                              })
            .at(0);
    }

    /// Has an operation meet a fault at each call in turn, or at every `stride`th; returns how often it did.
    /// The error names the cause, and the store goes on with what it had, perhaps with the change that was
    /// under way.
    int faultsOutlived(const Operation& operation, const Fault& fault, const std::string& cause = "",
                       int stride = 1) const {
        const std::vector<Content> states = statesOf(operation);
        const auto attempt = [&](Fault now) {
            SCOPED_TRACE(operation.name + ": " + cause);
            put(operation.before);
            SQLiteMessageStore store(file);
            std::size_t done = 0;
            if (fault.effect == Effect::error) {
                const Faults faults(now);
                const std::string error = errorOf([&] {
                    for (const auto& step : operation.steps) {
                        step(store);
                        ++done;
                    }
                });
                EXPECT_THAT(
                    error, testing::AnyOf("", testing::MatchesRegex("cannot [a-z ]+ in the message store \"" +
                                                                    file.native() + "\": " + cause)));
            } else {
                now.loss += now.loss < firstChoice ? 0 : 2 * static_cast<unsigned>(now.number);
                done = static_cast<std::size_t>(runUntilPowerFails(operation, now));
            }
            const Content found = content();
            EXPECT_TRUE(found == states.at(done) || (Faults::happened() && found == states.at(done + 1)));
            EXPECT_EQ(contentOf(wait(store.allMessages())), found);
            wait(store.saveMessage(newMessage()));
            EXPECT_EQ(wait(store.messageCount()), found.size() + 1);
            SQLite::Database database(file);
            database.trustSchema();
            EXPECT_EQ(database.queryInteger(
                          "SELECT count(*) FROM pragma_integrity_check WHERE integrity_check <> 'ok'"),
                      0);
        };
        return atEachCall(fault, attempt, stride);
    }

    /// What the store holds before an operation and after each of its steps.
    [[nodiscard]] std::vector<Content> statesOf(const Operation& operation) const {
        put(operation.before);
        SQLiteMessageStore store(file);
        std::vector<Content> states = {content()};
        for (const auto& step : operation.steps) {
            step(store);
            states.push_back(content());
        }
        return states;
    }

    /// What an operation leaves when its process dies as soon as it has written into the store.
    [[nodiscard]] Files filesWhenInterrupted(Operation operation) const {
        Fault fault{.effect = Effect::powerFailsHalfway, .calls = diskChanges, .loss = nothing};
        do {
            ++fault.number;
            EXPECT_EQ(runUntilPowerFails(operation, fault), 0);
        } while (readFile(file) == operation.before["messages.db"]);
        return files();
    }

    /// Every way to change a store with so many messages, and to read one.
    [[nodiscard]] std::vector<Operation> operations(std::size_t count) const {
        const std::vector<StoredMessage> messages = newMessages(count + 2);
        const auto remove = [messages](std::size_t first, std::size_t last) {
            std::vector<UUID> chosen;
            for (std::size_t i = first; i < last; ++i) {
                chosen.push_back(messages[i].recordUUID);
            }
            return [=](MessageStore& store) { wait(store.deleteMessages(chosen)); };
        };
        const auto update = [messages](MessageStore& store) {
            wait(store.updateMessage({{.recordUUID = messages[0].recordUUID, .from = std::string(3000, 'x')},
                                      {.recordUUID = messages[1].recordUUID,
                                       .provider = MessageProvider::Telephony,
                                       .read = true}}));
        };
        put({});
        for (std::size_t i = 0; i < count; ++i) {
            SQLiteMessageStore store(file);
            saving(messages[i])(store);
        }
        const Files full = files();
        const Operation deletion{
            "deletion", full, {remove(0, count / 2), remove(count / 2, count / 2 + 1), remove(3, count)}};
        const Files interrupted = filesWhenInterrupted(deletion);
        const Content listed = content();
        return {{"creation", {}, {saving(messages[count]), saving(messages[count + 1])}},
                {"creation in an empty file", {{"messages.db", ""}}, {saving(messages[count])}},
                {"save", full, {saving(messages[count]), saving(messages[count + 1])}},
                {"update", full, {update}},
                deletion,
                {"recovery", interrupted, {[listed](MessageStore& store) {
                     // In another process, an expectation would be lost.
                     if (contentOf(wait(store.allMessages())) != listed ||
                         wait(store.messageCount()) != std::ssize(listed)) {
                         throw std::logic_error("another content is read");
                     }
                 }}}};
    }

    TemporaryFolder folder;
    path home = folder / "store";
    path file = home / "messages.db";
    std::optional<FailingDisk> disk{std::in_place};
};

TEST_F(StoreFaultsTest, KeepsWholeChangesAndAllAcknowledgedOnesWheneverPowerFails) {
    const std::pair<Effect, unsigned> ways[] = {{Effect::powerFails, everything},
                                                {Effect::powerFails, firstChoice},
                                                {Effect::powerFailsHalfway, nothing},
                                                {Effect::powerFailsHalfway, firstChoice + 1}};
    int points = 0;
    for (const Operation& operation : operations(24)) {
        for (const auto& [effect, loss] : ways) {
            points += faultsOutlived(operation, {.effect = effect, .calls = diskChanges, .loss = loss});
        }
    }
    EXPECT_GE(points, 1000);
}

TEST_F(StoreFaultsTest, ReportsEveryFaultAndGoesOn) {
    const struct {
        int result;
        unsigned calls;
        std::string cause;
    } faults[] = {{SQLITE_IOERR, diskCalls, "disk I/O error: Input/output error"},
                  {SQLITE_CANTOPEN, diskOpens,
                   "the file or the journal beside it cannot be opened "
                   "\\(unable to open database file: Input/output error\\)"},
                  {SQLITE_FULL, diskChanges, "the disk is full; make room and try again"},
                  {SQLITE_IOERR_NOMEM, diskCalls, "out of memory"}};
    for (const Operation& operation : operations(8)) {
        for (const auto& [result, calls, cause] : faults) {
            for (const int times : {1, Fault::fromThenOn}) {
                faultsOutlived(operation, {.calls = calls, .result = result, .times = times}, cause);
            }
        }
    }
}

TEST_F(StoreFaultsTest, ReportsEveryLackOfMemoryAndGoesOn) {
    const std::vector<Operation> all = operations(3);
    const auto letMemoryRunOut = [&](int /*process*/) {
        FailingDisk::watchMemory();
        for (const Operation& operation : all) {
            // Every third, and every seventh and all that follow: all of them would take half a minute.
            for (const auto& [times, stride] : {std::pair(1, 3), {Fault::fromThenOn, 7}}) {
                EXPECT_GT(faultsOutlived(operation, {.calls = allocations, .times = times}, "out of memory",
                                         stride),
                          80);
            }
        }
        _exit(HasFailure() ? 1 : 0);
    };
    EXPECT_THAT(runInProcesses(1, letMemoryRunOut), testing::ElementsAre(0));
}

TEST_F(StoreFaultsTest, NamesTheCauseWhereNoFileMayGrow) {
    put(operations(8)[2].before);
    const Content before = content();
    EXPECT_EQ(runProgram({"sh", "-c", "ulimit -f 1; exec \"$0\" --store \"$1\" save-message -nc",
                          ORVEX_PROGRAM, file})
                  .output,
              "Error: \ncannot save a message in the message store \"" + file.native() +
                  "\": it would become larger than the limit of file sizes allows; raise that (ulimit -f)\n");
    EXPECT_EQ(content(), before);
}

TEST_F(StoreFaultsTest, SeesTheStoreAsItIsAtOneMoment) {
    const std::vector<StoredMessage> messages = newMessages(2);
    const Operation creation{"", {{"messages.db", ""}}, {saving(messages[0])}};
    const Content created = statesOf(creation).back();
    const Files made = files();
    // More than a small store may yield.
    const MessageUpdate rename{.recordUUID = messages[0].recordUUID, .from = std::string(2 << 20, 'x')};
    const Content renamed =
        statesOf({"", made, {[&](MessageStore& store) { wait(store.updateMessage({rename})); }}}).back();
    const Files changed = files();
    const struct {
        Content contentBefore, contentAfter;
        Files before, after;
    } cases[] = {{{}, created, filesWhenInterrupted(creation), made}, {created, renamed, made, changed}};
    for (const auto& each : cases) {
        // Whatever another program may do unless a lock keeps it out.
        const auto change = [&](int /*process*/) {
            flock lock{.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = 0, .l_len = 0, .l_pid = 0};
            const std::string found = readFile(file);
            if (fcntl(open(file.c_str(), O_RDWR), F_SETLK, &lock) != 0 ||
                (!found.empty() && found != each.before.at("messages.db"))) {
                _exit(1);
            }
            std::filesystem::remove(home / "messages.db-journal");
            writeFile(file, each.after.at("messages.db"));
        };
        int changes = 0;
        atEachCall({.effect = Effect::interruption, .calls = diskCalls}, [&](Fault fault) {
            put(each.before);
            bool isChanged = false;
            fault.interruption = [&] { isChanged = runInProcesses(1, change).at(0) == 0; };
            {
                const Faults faults(fault);
                SQLiteMessageStore store(file);
                for (const StoredMessage& found :
                     wait(store.messages(std::vector{std::string(messages[0].from)}))) {
                    EXPECT_EQ(found.from, messages[0].from);
                }
                EXPECT_LE(wait(store.allMessages()).size(), 1U);
                wait(store.saveMessage(messages[1]));
            }
            Content found = content();
            found.pop_back();
            EXPECT_EQ(found, isChanged ? each.contentAfter : each.contentBefore);
            changes += isChanged ? 1 : 0;
        });
        EXPECT_GT(changes, 5);
    }
}

TEST_F(StoreFaultsTest, OpensStoresOfTheFirstVersion) {
    put({{"messages.db", readFile(ORVEX_TEST_DATA "/store-version-1.db")}});
    EXPECT_EQ(runOrvex({"--store", file, "get-all-messages", "-nc"}).output,
              readFile(ORVEX_TEST_DATA "/store-version-1.txt"));
}

TEST_F(StoreFaultsTest, MigratesAStoreAsAWholeOrLeavesItAsItWas) {
    const auto change = [](SQLite::Database& database) {
        database.execute("CREATE TABLE notes (id INTEGER PRIMARY KEY, text TEXT NOT NULL) STRICT;"
                         "INSERT INTO notes SELECT id, sender || '!' FROM messages;"
                         "UPDATE messages SET sim_id = 'other';"
                         "INSERT INTO settings VALUES ('notes', 1)");
    };
    const auto changeAndThrow = [](SQLite::Database& database) {
        database.execute("DELETE FROM messages");
        throw std::logic_error("halfway");
    };
    const Migration stepsThatThrow[] = {migrations()[0], change, changeAndThrow};
    const auto steps = std::span(stepsThatThrow).first(2);
    const auto migrate = [&](std::span<const Migration> all) {
        SQLite::Database database(file);
        EXPECT_TRUE(bringUpToDate(database, all));
    };
    const auto wholeStore = [&] {
        Content content;
        SQLite::Database database(file);
        database.trustSchema();
        for (const char* const query :
             {"PRAGMA user_version", "SELECT sql FROM sqlite_schema", "SELECT name || value FROM settings",
              "SELECT id || sender || sim_id FROM messages", "PRAGMA integrity_check"}) {
            SQLite::Statement rows = database.prepare(query);
            while (rows.step()) {
                content.emplace_back(rows.value(0).text());
            }
        }
        return content;
    };
    const Operation migration{
        "migration", operations(24)[2].before, {[&](auto& /*store*/) { migrate(steps); }}};
    put(migration.before);
    const Content before = wholeStore();
    EXPECT_THROW(migrate(stepsThatThrow), std::logic_error);
    EXPECT_EQ(wholeStore(), before);
    migrate(steps);
    const Content after = wholeStore();
    const Fault fault{.effect = Effect::powerFailsHalfway, .calls = diskChanges, .loss = nothing};
    const auto migrateUntil = [&](const Fault& now) {
        const int acknowledged = runUntilPowerFails(migration, now);
        const Content found = wholeStore();
        EXPECT_TRUE(found == after || (found == before && acknowledged == 0));
        migrate(steps);
        EXPECT_EQ(wholeStore(), after);
    };
    EXPECT_GE(atEachCall(fault, migrateUntil), 10);
}

TEST_F(StoreFaultsTest, IsMadeWhateverHappenedToAnEarlierAttempt) {
    file = folder / "above/store/messages.db";
    const auto save = [&] { wait(SQLiteMessageStore(file).saveMessage(newMessage())); };
    for (const Effect effect : {Effect::error, Effect::processEnds, Effect::powerFails}) {
        const auto attempt = [&](const Fault& fault) {
            enum { ended, refused, succeeded, wrong };
            std::filesystem::remove_all(folder / "above");
            const mode_t mask = umask(0);
            const auto firstAttempt = [&](int) {
                watchDisk(folder / "");
                const Faults faults(fault);
                const std::string error = errorOf(save);
                // A name that SQLite cannot look up has become another file's, as far as it can tell.
                EXPECT_THAT(error, testing::AnyOf("", testing::MatchesRegex(
                                                          "cannot save a message in the message store \"" +
                                                          file.native() +
                                                          "\": (.*: No space left on device\\)?|the file has "
                                                          "been moved .*)")));
                _exit(HasFailure() ? wrong : error.empty() ? succeeded : refused);
            };
            const int outcome = runInProcesses(1, firstAttempt).at(0);
            save();
            umask(mask);
            EXPECT_NE(outcome, wrong);
            // A process that ended had perhaps saved its message.
            EXPECT_THAT(wait(SQLiteMessageStore(file).messageCount()),
                        testing::AnyOf(outcome == succeeded ? 2 : 1, outcome == refused ? 1 : 2));
            for (const auto& made : std::filesystem::recursive_directory_iterator(folder / "")) {
                EXPECT_EQ(made.status().permissions(),
                          std::filesystem::perms(made.is_directory() ? 0700 : 0600))
                    << made;
            }
        };
        EXPECT_GT(atEachCall({.effect = effect, .error = ENOSPC}, attempt), 4);
    }
}

// 16 processes make 200 saves, updates and deletions each; a disk that syncs takes long for those. All of
// them want to make the store, again and again.
TEST_F(StoreFaultsTest, LosesNoChangeOfManyWriters) {
    constexpr int writers = 16;
    constexpr int readers = 2;
    for (const std::size_t rounds : {200, 3, 1, 1, 1, 1, 1, 1, 1, 1}) {
        const std::size_t voicemails = writers * rounds;
        put({});
        const auto write = [&](std::size_t writer) {
            SQLiteMessageStore store(file);
            for (std::size_t round = 0; round < rounds; ++round) {
                const std::vector<StoredMessage> messages = newMessages(2);
                saving(messages[0])(store);
                saving(messages[1])(store);
                wait(store.updateMessage({{.recordUUID = messages[0].recordUUID,
                                           .read = true,
                                           .recipient = std::to_string(writer * rounds + round)}}));
                wait(store.deleteMessages({messages[1].recordUUID}));
            }
        };
        const auto read = [&] {
            SQLiteMessageStore store(file);
            for (std::size_t number = 0; number < 2 * rounds; ++number) {
                for (const StoredMessage& message : wait(store.allMessages())) {
                    if (message.read != message.recipient.has_value()) {
                        throw std::logic_error("half an update");
                    }
                }
            }
        };
        EXPECT_THAT(runInProcesses(writers + readers,
                                   [&](int number) {
                                       number < writers ? write(static_cast<std::size_t>(number)) : read();
                                   }),
                    testing::Each(0));
        std::set<std::string> recipients;
        std::set<std::int32_t> identifiers;
        for (const StoredMessage& message : wait(SQLiteMessageStore(file).allMessages())) {
            recipients.emplace(message.recipient.value_or(""));
            identifiers.insert(message.voicemailID.value_or(0));
        }
        EXPECT_EQ(content().size(), voicemails);
        EXPECT_EQ(recipients.size(), voicemails);
        EXPECT_EQ(identifiers.size(), voicemails);
        EXPECT_EQ(*identifiers.rbegin(), voicemails);
        disk.reset();
    }
}

TEST_F(StoreFaultsTest, AListThatNobodyReadsOnKeepsNoWriterWaiting) {
    create_directory(home);
    SQLiteMessageStore store(file);
    for (StoredMessage message : newMessages(20)) {
        // More than the program and the terminal take in advance.
        message.simID = std::string(100000, 'x');
        wait(store.saveMessage(message));
    }
    // A store that grew has no limits of when it was opened.
    EXPECT_EQ(wait(store.allMessages()).size(), 20U);
    TerminalSession pager({ORVEX_PROGRAM, "--store", file, "get-all-messages"});
    ASSERT_TRUE(pager.shows("Message #1:"));
    const auto start = std::chrono::steady_clock::now();
    wait(store.saveMessage(newMessage()));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

} // namespace
} // namespace Orvex::Testing
