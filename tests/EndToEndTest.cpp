#include "Foundation/Time.h"
#include "Support.h"
#include "ZelvoMessageStore/SQLite.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <algorithm>
#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

namespace Orvex::Testing {
namespace {

using testing::HasSubstr;

/// The tool and its commands.
std::vector<std::string> helpTopics() {
    std::vector<std::string> topics;
    for (const auto& screen : std::filesystem::directory_iterator(ORVEX_TEST_DATA "/help")) {
        topics.push_back(screen.path().stem());
    }
    EXPECT_EQ(topics.size(), 11U);
    return topics;
}

class EndToEndTest : public testing::Test {
  protected:
    ProgramRun run(std::vector<std::string> arguments, std::string_view input = "") {
        arguments.insert(arguments.begin(), {"--store", file});
        return runOrvex(std::move(arguments), input);
    }

    std::vector<StoredMessage> stored() { return wait(SQLiteMessageStore(file).allMessages()); }

    TemporaryFolder folder;
    std::string file = folder / "store/messages.db";
};

TEST_F(EndToEndTest, SavesListsAndCounts) {
    const ProgramRun saved = run({"save-message", "-mt", "1", "-prov", "0", "-frm", "+15550100"});
    ASSERT_EQ(stored().size(), 1U);
    const std::string description = stored()[0].description();
    EXPECT_EQ(saved, (ProgramRun{"\x1b[0;32mSuccessfully added the message: \n\x1b[0;0m" + description + "\n",
                                 "", 0}));
    EXPECT_EQ(run({"get-total-count", "-nc"}), (ProgramRun{"Message count: 1\n", "", 0}));
    EXPECT_EQ(run({"get-all-messages"}), (ProgramRun{"\x1b[0;32mGetting all messages\x1b[0;0m\n"
                                                     "\x1b[0;32m\nMessage #1:\n\x1b[0;0m" +
                                                         description + "\n",
                                                     "", 0}));
    EXPECT_EQ(
        run({"get-all-messages", "-handles", "+15550100", "-nc"}),
        (ProgramRun{"Getting messages with handles:\n[\"+15550100\"]\n\nMessage #1:\n" + description + "\n",
                    "", 0}));
    EXPECT_EQ(run({"transcription-enabled"}),
              (ProgramRun{"\x1b[0;32misTranscriptionEnabled: \x1b[0;0mtrue\n", "", 0}));
}

TEST_F(EndToEndTest, DeletesAndUpdatesWhatIsChosen) {
    for (const char* const handle : {"a", "b", "c"}) {
        run({"save-message", "-frm", handle});
    }
    const std::string first = stored()[0].recordUUID.text();
    EXPECT_THAT(
        run({"delete-message", "-nc"}, " 2, x ,,3\ny\n").output,
        testing::EndsWith("Are you sure you want to delete these messages (y/n)?\nDeleted 2 messages!\n"));
    ASSERT_EQ(stored().size(), 1U);
    const ProgramRun updated = run({"update-message", "-rid", first, "-read", "true", "-nc"}, "y");
    EXPECT_TRUE(stored()[0].read);
    EXPECT_THAT(updated.output, testing::EndsWith("Message updated successfully!\nNew message:\n[" +
                                                  stored()[0].description() + "]\n"));
    EXPECT_EQ(updated.status, 0);
}

TEST_F(EndToEndTest, ANumberOutsideTheListAborts) {
    run({"save-message"});
    run({"save-message"});
    for (const char* const number : {"0", "3", "-9223372036854775808"}) {
        const std::string line =
            "Fatal error: Orvex/commands/MessageSelection: index out of range: message number " +
            std::string(number) + " of 2\n";
        const ProgramRun deletion = run({"delete-message"}, "1," + std::string(number) + "\ny\n");
        EXPECT_EQ(deletion.status, -SIGABRT);
        EXPECT_EQ(deletion.errors, line);
        EXPECT_THAT(deletion.output,
                    testing::EndsWith("Enter a comma-separated list of messages to delete\n"));
        const ProgramRun update = run({"update-message", "-read", "true"}, std::string(number) + "\ny\n");
        EXPECT_EQ(update.status, -SIGABRT);
        EXPECT_EQ(update.errors, line);
        EXPECT_THAT(update.output, testing::EndsWith("Type the message number to update\n"));
    }
    EXPECT_EQ(stored().size(), 2U);
    EXPECT_FALSE(stored()[0].read);
}

TEST_F(EndToEndTest, APromptIsVisibleBeforeItIsAnswered) {
    run({"save-message", "-frm", "a"});
    run({"save-message", "-frm", "b"});
    TerminalSession session({ORVEX_PROGRAM, "--store", file, "delete-message"});
    ASSERT_TRUE(session.shows("Enter a comma-separated list of messages to delete\r\n"));
    session.type("2\n");
    ASSERT_TRUE(session.shows("Are you sure you want to delete these messages (y/n)?\r\n"));
    constexpr std::string_view endOfInput = "\x04";
    session.type(endOfInput);
    ASSERT_TRUE(session.shows("Are you sure you want to delete these messages (y/n)?\r\n"));
    session.type("y\n");
    EXPECT_TRUE(session.shows("\x1b[0;32mDeleted 1 messages!\x1b[0;0m\r\n"));
    EXPECT_EQ(session.status(), 0);
    ASSERT_EQ(stored().size(), 1U);
    EXPECT_EQ(stored()[0].from, "a");
}

TEST_F(EndToEndTest, AStoreThatIsGoneMeanwhileIsNotChanged) {
    run({"save-message"});
    TerminalSession session({ORVEX_PROGRAM, "--store", file, "delete-message", "-a", "-nc"});
    ASSERT_TRUE(session.shows("(y/n)?\r\n"));
    std::filesystem::remove(file);
    session.type("y\n");
    EXPECT_TRUE(session.shows("\": the file has been moved or deleted meanwhile\r\n"));
    EXPECT_EQ(session.status(), 0);
}

TEST_F(EndToEndTest, AMessageThatIsGoneMeanwhileIsNotUpdated) {
    run({"save-message"});
    const std::string uuid = stored()[0].recordUUID.text();
    TerminalSession session({ORVEX_PROGRAM, "--store", file, "update-message", "-read", "true", "-nc"});
    ASSERT_TRUE(session.shows("Do you want to update the store (y/n)?\r\n"));
    wait(SQLiteMessageStore(file).deleteMessages({*UUID::parse(uuid)}));
    session.type("y\n");
    EXPECT_TRUE(session.shows("Error: cannot update messages in the message store \"" + file +
                              "\": it holds no message with the record UUID " + uuid +
                              "; it may have been deleted meanwhile\r\n"));
    EXPECT_EQ(session.status(), 0);
}

TEST_F(EndToEndTest, ShowsVoicemailsWithTheirTranscripts) {
    const std::string transcript = std::string(ORVEX_TEST_DATA) + "/full-xml.plist";
    run({"save-message", "-mt", "1", "-prov", "0", "-tcpt", transcript});
    run({"save-message"});
    const std::string block = "\nMessage #1:\n" + stored()[0].description() + "\n";
    EXPECT_EQ(run({"get-all-voicemail-messages", "-nc"}), (ProgramRun{block, "", 0}));
    const ProgramRun shown = run({"voicemail-messages", "-nc", "-h", "someone"});
    EXPECT_EQ(shown.output.substr(0, block.size()), block);
    EXPECT_THAT(shown.output, HasSubstr("\nTranscript: Optional(VMVoicemailTranscript\n  text: \"Grüße, "));
    EXPECT_EQ(shown, run({"voicemail-messages", "-nc"}));
}

TEST_F(EndToEndTest, OnlyErrorsThatLeaveACommandSetTheStatus) {
    EXPECT_EQ(run({"get-account-status", "-nc"}), (ProgramRun{"Account status: no account\n", "", 0}));
    file = folder / "";
    EXPECT_EQ(run({"get-total-count", "-nc"}),
              (ProgramRun{"Error: \ncannot count the messages in the message store \"" + file +
                              "\": it is a folder, not a file\n",
                          "", 0}));
    for (const std::string command :
         {"get-account-status", "voicemail-messages", "get-all-voicemail-messages"}) {
        const ProgramRun failed = run({command});
        EXPECT_EQ(failed.output, "");
        EXPECT_THAT(failed.errors,
                    testing::MatchesRegex("orvex: cannot [a-z ]* in the message store \".*\": it is a "
                                          "folder, not a file\n"));
        EXPECT_EQ(failed.status, 1);
    }
}

TEST_F(EndToEndTest, SendsToTheOutboxBesideTheStore) {
    writeFile(folder / "video.mov", "moving pictures");
    const std::string video = folder / "video.mov";
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(run({"send-video-message", "--video-url", video, "--sender-handle", "me",
                       "--destination-handles", "you", "them"}),
                  (ProgramRun{"", "", 0}));
    }
    const auto entries = std::filesystem::directory_iterator(folder / "store/outbox/new");
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 2);
    EXPECT_EQ(run({"send-video-message", "--video-url", folder / "none", "--sender-handle", "me",
                   "--destination-handles", "you"}),
              (ProgramRun{"",
                          "orvex: cannot send the video \"" + std::string(folder / "none") +
                              "\": it cannot be read: No such file or directory\n",
                          1}));
}

TEST_F(EndToEndTest, AUsageErrorTouchesNothing) {
    EXPECT_EQ(run({"save-message", "--mt", "1"}),
              (ProgramRun{"",
                          "orvex: unknown option \"--mt\": did you mean -mt?\n"
                          "Usage: orvex save-message [options]\n"
                          "'orvex save-message --help' shows all options.\n",
                          64}));
    EXPECT_FALSE(std::filesystem::exists(folder / "store"));
    EXPECT_EQ(runOrvex({"--store=", "get-total-count"}).status, 64);
    EXPECT_EQ(run({"get-total-count", "-nc", "--store", "x"}).status, 64);
}

TEST_F(EndToEndTest, KeepsTheStoreInTheUsersDataFolder) {
    const std::string home = folder / "home";
    const std::string data = folder / "data";
    const struct {
        std::string data;
        std::string home;
        std::string parent;
    } cases[] = {{data, home, data},
                 {"", home, home + "/.local/share"},
                 {"data", home, home + "/.local/share"},
                 {"", "home", ""}};
    for (const auto& each : cases) {
        setenv("XDG_DATA_HOME", each.data.c_str(), 1);
        setenv("HOME", each.home.c_str(), 1);
        EXPECT_EQ(runOrvex({"save-message"}).status, each.parent.empty() ? 1 : 0);
        EXPECT_NE(std::filesystem::remove(each.parent + "/orvex/messages.db"), each.parent.empty());
    }
    unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(runOrvex({"get-total-count"}).errors,
              "orvex: cannot tell where the message store is: HOME is not set; give --store <path>\n");
}

TEST_F(EndToEndTest, ShowsTheHelpThatUsersKnow) {
    EXPECT_EQ(runOrvex({}), runOrvex({"--help"}));
    for (const std::string& topic : helpTopics()) {
        const ProgramRun shown = topic == "orvex" ? runOrvex({}) : runOrvex({"help", topic});
        EXPECT_EQ(shown, (ProgramRun{readFile(ORVEX_TEST_DATA "/help/" + topic + ".txt"), "", 0}));
    }
}

TEST_F(EndToEndTest, FitsHelpAndErrorsToTheTerminal) {
    const auto wordsOf = [](const std::string& text) {
        std::istringstream stream(text);
        return std::vector<std::string>(std::istream_iterator<std::string>(stream), {});
    };
    std::vector<std::string> lines = {"send-video-message", "get-all-messages -mt 7", "no-such-command"};
    for (const std::string& topic : helpTopics()) {
        lines.push_back(topic == "orvex" ? "" : "help " + topic);
    }
    for (const std::string& line : lines) {
        const ProgramRun plain = runProgram({"sh", "-c", ORVEX_PROGRAM " " + line});
        std::size_t narrowLines = 0;
        for (const std::size_t width : {60U, 80U, 200U}) {
            const std::string setUp = "stty -onlcr cols " + std::to_string(width) + "; ";
            TerminalSession session({"sh", "-c", setUp + ORVEX_PROGRAM " " + line + "; echo ---"});
            const std::string screen = session.shownUpTo("---\n").value_or("");
            EXPECT_EQ(wordsOf(screen), wordsOf(plain.output + plain.errors)) << line;
            std::size_t longest = 0;
            std::size_t count = 0;
            for (std::size_t start = 0, end = 0; (end = screen.find('\n', start)) != std::string::npos;
                 start = end + 1) {
                longest = std::max(longest, end - start);
                ++count;
            }
            EXPECT_LE(longest, width) << line;
            if (width == 60) {
                narrowLines = count;
            } else if (width == 200) {
                EXPECT_LT(count, narrowLines) << line;
            }
        }
    }
}

TEST_F(EndToEndTest, WritesManualPagesWithoutFault) {
    for (const std::string& topic : helpTopics()) {
        const bool isTool = topic == "orvex";
        const ProgramRun page =
            isTool ? runOrvex({"--generate-manual-page"}) : runOrvex({"--generate-manual-page", topic});
        writeFile(folder / (isTool ? "orvex.1" : "orvex-" + topic + ".1"), page.output);
    }
    // References to other pages are looked up from the current folder.
    const ProgramRun lint =
        runProgram({"sh", "-c", "cd '" + (folder / "").native() + "' && mandoc -T lint *.1"});
    EXPECT_EQ(lint.output + lint.errors, "");
    EXPECT_EQ(lint.status, 0);
}

TEST_F(EndToEndTest, EndsQuietlyWhenItsReaderLeaves) {
    for (int i = 0; i < 3; ++i) {
        run({"save-message"});
    }
    // The prompt at the end of input repeats until the reader's leaving ends it.
    const std::string pipeline =
        ORVEX_PROGRAM " --store '" + file + "' delete-message -a </dev/null | head -n 1";
    for (const std::string setUp : {"", "trap '' PIPE; "}) {
        const ProgramRun piped = runProgram({"bash", "-c", setUp + pipeline + "; echo ${PIPESTATUS[0]}"});
        EXPECT_EQ(piped, (ProgramRun{"\x1b[0;32mGetting all messages\x1b[0;0m\n141\n", "", 0}));
    }
    EXPECT_EQ(stored().size(), 3U);
}

TEST_F(EndToEndTest, NeverTakesTheStoreForAStandardStream) {
    for (const std::string closing : {"<&-", ">&-", "2>&-", "<&- >&- 2>&-"}) {
        const ProgramRun closed =
            runProgram({"sh", "-c", ORVEX_PROGRAM " --store '" + file + "' save-message " + closing});
        EXPECT_EQ(closed.status, 0);
        EXPECT_EQ(closed.errors, "");
    }
    EXPECT_EQ(stored().size(), 4U);
}

TEST_F(EndToEndTest, AnInterruptedDeletionLeavesWholeBatches) {
    run({"save-message"});
    SQLite::Database store(file);
    constexpr std::int64_t count = 10000;
    store.execute("CREATE TEMP TABLE copies AS WITH RECURSIVE numbers(n) AS (SELECT 2 UNION ALL SELECT n + 1 "
                  "FROM numbers WHERE n < 10000) SELECT n, messages.* FROM numbers, messages;"
                  "UPDATE copies SET id = n, record_uuid = randomblob(16); ALTER TABLE copies DROP COLUMN n;"
                  "INSERT INTO messages SELECT * FROM copies");
    // The header of an SQLite file counts its transactions (section 1.3.7 of its format), to be seen without
    // a lock.
    const auto transactions = [this] {
        constexpr std::streamoff lastByteOfCounter = 27;
        return std::ifstream(file, std::ios::binary).seekg(lastByteOfCounter).get();
    };
    const int before = transactions();
    TerminalSession session({"bash", "-c",
                             "trap : INT; echo y | " ORVEX_PROGRAM " --store '" + file +
                                 "' delete-message -a >'" + std::string(folder / "list") +
                                 "'; exit ${PIPESTATUS[1]}"});
    constexpr int enough = 3;
    for (const auto start = currentTime();
         (transactions() - before + 256) % 256 < enough && currentTime() - start < Seconds(60);) {
        usleep(100);
    }
    session.type("\x03");
    EXPECT_EQ(session.status(), 130);
    const std::int64_t remaining = store.queryInteger("SELECT count(*) FROM messages");
    EXPECT_LT(remaining, count);
    EXPECT_GT(remaining, 0);
    EXPECT_EQ(remaining % 100, 0);
    EXPECT_EQ(store.queryInteger("SELECT min(id) FROM messages"), count - remaining + 1);
}

} // namespace
} // namespace Orvex::Testing
