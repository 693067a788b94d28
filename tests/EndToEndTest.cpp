#include "Support.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Orvex::Testing {
namespace {

using testing::HasSubstr;

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
    TerminalSession session({"--store", file, "delete-message"});
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
    TerminalSession session({"--store", file, "delete-message", "-a", "-nc"});
    ASSERT_TRUE(session.shows("(y/n)?\r\n"));
    std::filesystem::remove(file);
    session.type("y\n");
    EXPECT_TRUE(session.shows("\": the file has been moved or deleted meanwhile\r\n"));
    EXPECT_EQ(session.status(), 0);
}

TEST_F(EndToEndTest, AMessageThatIsGoneMeanwhileIsNotUpdated) {
    run({"save-message"});
    const std::string uuid = stored()[0].recordUUID.text();
    TerminalSession session({"--store", file, "update-message", "-read", "true", "-nc"});
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
    std::size_t screens = 0;
    for (const auto& screen : std::filesystem::directory_iterator(ORVEX_TEST_DATA "/help")) {
        const std::string topic = screen.path().stem();
        const ProgramRun shown = topic == "orvex" ? runOrvex({}) : runOrvex({"help", topic});
        EXPECT_EQ(shown, (ProgramRun{readFile(screen), "", 0}));
        ++screens;
    }
    EXPECT_EQ(screens, 11U);
}

} // namespace
} // namespace Orvex::Testing
