#include "FailingDisk.h"
#include "FailingSystemCalls.h"
#include "Support.h"
#include "ZelvoMessageStore/SQLite.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include "ZelvoMessageStore/Schema.h"
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <set>
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

/// Whether this is what a store may hold after so many changes, perhaps with the next one.
bool isStateAfter(const Content& found, const std::vector<Content>& states, std::size_t changes) {
    return found == states[changes] || (changes + 1 < states.size() && found == states[changes + 1]);
}

/// SQLite's memory, which runs out as planned, in a process of its own.
class FailingMemory {
  public:
    FailingMemory() {
        sqlite3_shutdown();
        sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real);
        sqlite3_mem_methods failing = real;
        failing.xMalloc = [](int size) { return fails() ? nullptr : real.xMalloc(size); };
        failing.xRealloc = [](void* old, int size) { return fails() ? nullptr : real.xRealloc(old, size); };
        sqlite3_config(SQLITE_CONFIG_MALLOC, &failing);
        // A reserve would hide most allocations.
        sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
    }

    /// From now on, the allocation of this number fails, from 0, or it and all later ones.
    static void plan(int number, bool again) {
        left = number;
        failsAgain = again;
    }
    /// Whether one failed; none does from now on.
    static bool end() { return std::exchange(left, never) < 0; }

  private:
    static bool fails() {
        const bool isFirst = left == 0;
        left -= left == never ? 0 : 1;
        return isFirst || (left < 0 && failsAgain);
    }

    static constexpr int never = std::numeric_limits<int>::max();
    static inline sqlite3_mem_methods real{};
    static inline int left = never;
    static inline bool failsAgain = false;
};

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

    /// Runs an operation in a process that ends when power fails, at the latest when it is done; returns how
    /// many of its steps were acknowledged.
    [[nodiscard]] int runUntilPowerFails(const Operation& operation, const FailingDisk::Plan& plan) const {
        put(operation.before);
        return runInProcesses(1,
                              [&](int) {
                                  FailingDisk::plan(home.c_str(), plan);
                                  SQLiteMessageStore store(file);
                                  for (const auto& step : operation.steps) {
                                      step(store);
                                      FailingDisk::acknowledge();
                                  }
                                  FailingDisk::losePower();
                              })
            .at(0);
    }

    /// Lets each call in turn of those that an operation makes fail, as planned with its number, until it is
    /// done without; returns how many failed. Each time there is a report with the cause or none is needed,
    /// and the store goes on with what it had.
    int faultsOutlived(const Operation& operation, const std::vector<Content>& states, std::string_view cause,
                       const std::function<void(int)>& plan, const std::function<bool()>& end) const {
        const StoredMessage later = newMessage();
        for (int number = 0;; ++number) {
            SCOPED_TRACE(operation.name + ", call " + std::to_string(number) + ", " + std::string(cause));
            put(operation.before);
            SQLiteMessageStore store(file);
            plan(number);
            std::size_t done = 0;
            std::string error;
            try {
                for (const auto& step : operation.steps) {
                    step(store);
                    ++done;
                }
            } catch (const MessageStoreError& thrown) {
                error = thrown.what();
            }
            const bool happened = end();
            if (done < operation.steps.size()) {
                EXPECT_THAT(error, testing::MatchesRegex("cannot [a-z ]+ in the message store \"" +
                                                         file.native() + "\": " + std::string(cause)));
            }
            const Content found = content();
            EXPECT_TRUE(isStateAfter(found, states, done));
            EXPECT_EQ(contentOf(wait(store.allMessages())), found);
            wait(store.saveMessage(later));
            EXPECT_EQ(wait(store.messageCount()), found.size() + 1);
            if (!happened) {
                return number;
            }
        }
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
        std::string& before = operation.before["messages.db"];
        int number = 0;
        do {
            EXPECT_EQ(runUntilPowerFails(operation, {.number = number++,
                                                     .effect = FailingDisk::Effect::powerFailureHalfway,
                                                     .calls = FailingDisk::changes,
                                                     .fate = FailingDisk::allKept}),
                      0);
        } while (readFile(file) == before);
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
    using Effect = FailingDisk::Effect;
    const std::pair<Effect, unsigned> ways[] = {{Effect::powerFailure, FailingDisk::allLost},
                                                {Effect::powerFailure, FailingDisk::firstChoice},
                                                {Effect::powerFailureHalfway, FailingDisk::allKept},
                                                {Effect::powerFailureHalfway, FailingDisk::firstChoice + 1}};
    const StoredMessage later = newMessage();
    int points = 0;
    for (const Operation& operation : operations(24)) {
        const std::vector<Content> states = statesOf(operation);
        for (const auto& [effect, fate] : ways) {
            std::size_t acknowledged = 0;
            for (int number = 0; acknowledged + 1 < states.size(); ++number, ++points) {
                const unsigned seed = fate < FailingDisk::firstChoice ? fate : fate + 2 * number;
                SCOPED_TRACE(operation.name + ", change " + std::to_string(number) + ", seed " +
                             std::to_string(seed));
                acknowledged = static_cast<std::size_t>(runUntilPowerFails(
                    operation,
                    {.number = number, .effect = effect, .calls = FailingDisk::changes, .fate = seed}));
                ASSERT_LT(acknowledged, states.size());
                const Content found = content();
                ASSERT_TRUE(isStateAfter(found, states, acknowledged));
                SQLiteMessageStore store(file);
                wait(store.saveMessage(later));
                EXPECT_EQ(wait(store.messageCount()), found.size() + 1);
                EXPECT_EQ(SQLite::Database(file).queryInteger(
                              "SELECT count(*) FROM pragma_integrity_check WHERE integrity_check <> 'ok'"),
                          0);
            }
        }
    }
    EXPECT_GE(points, 1000);
}

TEST_F(StoreFaultsTest, ReportsEveryFaultAndGoesOn) {
    const struct {
        int error;
        unsigned calls;
        std::string_view cause;
    } faults[] = {{SQLITE_IOERR, FailingDisk::everyCall, "disk I/O error: Input/output error"},
                  {SQLITE_CANTOPEN, FailingDisk::opens,
                   "the file or the journal beside it cannot be opened "
                   "\\(unable to open database file: Input/output error\\)"},
                  {SQLITE_FULL, FailingDisk::changes, "the disk is full; make room and try again"},
                  {SQLITE_IOERR_NOMEM, FailingDisk::everyCall, "out of memory"},
                  {SQLITE_IOERR_SHORT_READ, FailingDisk::reads, "none: what is missing is read next"}};
    for (const Operation& operation : operations(8)) {
        const std::vector<Content> states = statesOf(operation);
        for (const auto& [code, calls, cause] : faults) {
            for (const auto effect : {FailingDisk::Effect::error, FailingDisk::Effect::errors}) {
                const auto plan = [&, code = code, calls = calls](int number) {
                    FailingDisk::plan(home.c_str(),
                                      {.number = number, .effect = effect, .calls = calls, .error = code});
                };
                faultsOutlived(operation, states, cause, plan, FailingDisk::end);
            }
        }
    }
}

TEST_F(StoreFaultsTest, ReportsEveryLackOfMemoryAndGoesOn) {
    const std::vector<Operation> all = operations(3);
    const auto letMemoryRunOut = [&](int /*process*/) {
        std::vector<std::vector<Content>> states;
        std::transform(all.begin(), all.end(), std::back_inserter(states),
                       [&](auto& each) { return statesOf(each); });
        const FailingMemory memory;
        const FailingDisk anew;
        for (std::size_t i = 0; i < all.size(); ++i) {
            // Every third, and every seventh and all that follow: all of them would take half a minute.
            for (const int stride : {3, 7}) {
                const auto plan = [=](int number) { FailingMemory::plan(stride * number, stride == 7); };
                EXPECT_GT(faultsOutlived(all[i], states[i], "out of memory", plan, FailingMemory::end), 80);
            }
        }
        _exit(HasFailure() ? 1 : 0);
    };
    EXPECT_THAT(runInProcesses(1, letMemoryRunOut), testing::ElementsAre(0));
}

TEST_F(StoreFaultsTest, NamesTheCauseWhereNoFileMayGrow) {
    const Operation save = operations(8)[2];
    const Content before = statesOf(save).front();
    int failures = 0;
    // Of 512 bytes, enough for the error.
    for (int blocks = 1; failures == blocks / 4; blocks += 4) {
        put(save.before);
        const std::string output =
            runProgram({"sh", "-c", "trap '' XFSZ; ulimit -f $0; exec \"$@\"", std::to_string(blocks),
                        ORVEX_PROGRAM, "--store", file, "save-message", "-nc"})
                .output;
        const bool failed = output == "Error: \ncannot save a message in the message store \"" +
                                          file.native() + "\": disk I/O error: File too large\n";
        failures += failed ? 1 : 0;
        EXPECT_EQ(content().size(), before.size() + (failed ? 0 : 1)) << output;
    }
    EXPECT_GT(failures, 10);
}

TEST_F(StoreFaultsTest, SeesTheStoreAsItIsAtOneMoment) {
    const std::vector<StoredMessage> messages = newMessages(2);
    const Operation creation{"", {{"messages.db", ""}}, {saving(messages[0])}};
    const Content created = statesOf(creation).back();
    const Files made = files();
    const auto rename = [&](MessageStore& store) {
        wait(store.updateMessage({{.recordUUID = messages[0].recordUUID, .from = "renamed"}}));
    };
    const Content renamed = statesOf({"", made, {rename}}).back();
    const Files changed = files();
    const struct {
        Content contentBefore, contentAfter;
        Files before, after;
    } cases[] = {{{}, created, filesWhenInterrupted(creation), made}, {created, renamed, made, changed}};
    for (const auto& [contentBefore, contentAfter, before, after] : cases) {
        bool happened = true;
        int changes = 0;
        for (int number = 0; happened; ++number) {
            put(before);
            Content expected = contentBefore;
            const auto change = [&, &before = before, &after = after, &contentAfter = contentAfter] {
                if (readFile(file).empty() || readFile(file) == before.at("messages.db")) {
                    std::filesystem::remove(home / "messages.db-journal");
                    writeFile(file, after.at("messages.db"));
                    expected = contentAfter;
                    ++changes;
                }
            };
            FailingDisk::plan(
                home.c_str(),
                {.number = number, .effect = FailingDisk::Effect::interruption, .interruption = change});
            SQLiteMessageStore store(file);
            for (const StoredMessage& found : wait(store.messages(std::vector{messages[0].from}))) {
                EXPECT_EQ(found.from, messages[0].from) << number;
            }
            wait(store.saveMessage(messages[1]));
            happened = FailingDisk::end();
            expected.resize(expected.size() + 1);
            Content found = content();
            found.back().clear();
            EXPECT_EQ(found, expected) << number;
        }
        EXPECT_GT(changes, 5);
    }
}

TEST_F(StoreFaultsTest, OpensStoresOfTheFirstVersionOrLeavesThemAsTheyWere) {
    const Files before = {{"messages.db", readFile(ORVEX_TEST_DATA "/store-version-1.db")}};
    bool failed = true;
    for (int number = 0; failed; ++number) {
        put(before);
        FailingDisk::plan(home.c_str(), {.number = number, .error = SQLITE_IOERR});
        try {
            wait(SQLiteMessageStore(file).allMessages());
            failed = FailingDisk::end();
        } catch (const MessageStoreError&) {
            EXPECT_EQ(files(), before) << number;
        }
    }
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
    const Migration steps[] = {migrations()[0], change};
    const Migration stepsThatThrow[] = {migrations()[0], change, changeAndThrow};
    const auto migrate = [&] {
        SQLite::Database database(file);
        EXPECT_TRUE(bringUpToDate(database, steps));
    };
    const auto everything = [&] {
        Content content;
        SQLite::Database database(file);
        for (const char* const query :
             {"PRAGMA user_version", "SELECT sql FROM sqlite_schema", "SELECT name || value FROM settings",
              "SELECT id || sender || sim_id FROM messages", "PRAGMA integrity_check"}) {
            SQLite::Statement rows = database.prepare(query);
            while (rows.step()) {
                content.emplace_back(rows.text(0));
            }
        }
        return content;
    };
    const Operation migration{"migration", operations(24)[2].before, {[&](auto& /*store*/) { migrate(); }}};
    put(migration.before);
    const Content before = everything();
    migrate();
    const Content after = everything();
    migrate();
    EXPECT_EQ(everything(), after);

    put(migration.before);
    {
        SQLite::Database database(file);
        EXPECT_THROW((void)bringUpToDate(database, stepsThatThrow), std::logic_error);
    }
    EXPECT_EQ(everything(), before);
    EXPECT_EQ(readFile(file), migration.before.at("messages.db"));

    int points = 0;
    const auto expectOneOf = [&](bool isDone) {
        SCOPED_TRACE(++points);
        const Content found = everything();
        EXPECT_TRUE(found == after || (found == before && !isDone));
        migrate();
        EXPECT_EQ(everything(), after);
    };
    for (const unsigned fate : {FailingDisk::allLost, FailingDisk::allKept, FailingDisk::firstChoice}) {
        int acknowledged = 0;
        for (int number = 0; acknowledged == 0; ++number) {
            acknowledged = runUntilPowerFails(migration, {.number = number,
                                                          .effect = FailingDisk::Effect::powerFailureHalfway,
                                                          .calls = FailingDisk::changes,
                                                          .fate = fate});
            ASSERT_LE(acknowledged, 1);
            // One that is lost is made again: its journal was deleted without another sync.
            expectOneOf(false);
        }
    }
    bool happened = true;
    for (int number = 0; happened; ++number) {
        put(migration.before);
        FailingDisk::plan(home.c_str(), {.number = number, .error = SQLITE_IOERR});
        bool isDone = true;
        try {
            migrate();
        } catch (const SQLite::Error&) {
            isDone = false;
        }
        happened = FailingDisk::end();
        expectOneOf(isDone);
    }
    EXPECT_GT(points, 150);
}

TEST_F(StoreFaultsTest, IsMadeWhateverHappenedToAnEarlierAttempt) {
    using Effect = FailingSystemCalls::Effect;
    file = folder / "above/store/messages.db";
    const auto save = [&] { wait(SQLiteMessageStore(file).saveMessage(newMessage())); };
    const auto permissions = [](const path& each) { return status(each).permissions(); };
    for (const Effect effect : {Effect::error, Effect::processEnds, Effect::powerFails}) {
        constexpr int reached = 1;
        constexpr int done = 2;
        int outcome = reached;
        for (int number = 0; outcome != done; ++number) {
            SCOPED_TRACE(number);
            std::filesystem::remove_all(folder / "above");
            const mode_t mask = umask(0);
            outcome =
                runInProcesses(1, [&](int) {
                    const FailingSystemCalls failing(number, {.effect = effect, .error = ENOSPC});
                    try {
                        save();
                    } catch (const MessageStoreError& error) {
                        EXPECT_THAT(error.what(),
                                    testing::MatchesRegex("cannot save a message in the message store \"" +
                                                          file.native() + "\": .*: No space left on device"));
                        _exit(HasFailure() ? -1 : reached);
                    }
                    _exit(FailingSystemCalls::happened() ? 0 : done);
                }).at(0);
            save();
            umask(mask);
            EXPECT_THAT(outcome, testing::AllOf(testing::Ge(0), testing::Le(done)));
            EXPECT_EQ(wait(SQLiteMessageStore(file).messageCount()),
                      outcome == done || (outcome == 0 && effect == Effect::error) ? 2 : 1);
            EXPECT_EQ(permissions(folder / "above"), std::filesystem::perms::owner_all);
            EXPECT_EQ(permissions(folder / "above/store"), std::filesystem::perms::owner_all);
            EXPECT_EQ(permissions(file), std::filesystem::perms(S_IRUSR | S_IWUSR));
            EXPECT_EQ(permissions(path(file) += "-journal"), std::filesystem::perms(S_IRUSR | S_IWUSR));
            EXPECT_TRUE(outcome != done || number > 4);
        }
    }
}

TEST_F(StoreFaultsTest, IsMadeOnceByManyAtOnce) {
    constexpr int makers = 8;
    for (int round = 0; round < 20; ++round) {
        put({});
        EXPECT_THAT(
            runInProcesses(makers,
                           [&](int) { saving(newMessage())(*std::make_unique<SQLiteMessageStore>(file)); }),
            testing::Each(0));
        EXPECT_EQ(content().size(), makers);
    }
}

// 16 processes make 200 saves, updates and deletions each, and more; a disk that syncs takes long for those.
TEST_F(StoreFaultsTest, LosesNoChangeOfManyWriters) {
    constexpr int writers = 16;
    constexpr int readers = 2;
    for (const std::size_t rounds : {200, 3}) {
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
            for (std::size_t number = 0, before = 0; number < 2 * rounds; ++number) {
                std::size_t updated = 0;
                for (const StoredMessage& message : wait(store.allMessages())) {
                    updated += message.read ? 1 : 0;
                    if (message.read != message.recipient.has_value()) {
                        throw std::logic_error("half an update");
                    }
                }
                if (updated < std::exchange(before, updated)) {
                    throw std::logic_error("an update is gone");
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
        const std::vector<StoredMessage> left = wait(SQLiteMessageStore(file).allMessages());
        for (const StoredMessage& message : left) {
            recipients.insert(message.recipient.value_or(""));
            identifiers.insert(message.voicemailID.value_or(0));
        }
        EXPECT_EQ(left.size(), voicemails);
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
