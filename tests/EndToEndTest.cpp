#include "Support.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/uversion.h>

namespace Orvex::Testing {
namespace {

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
    ProgramRun run(const std::string& line, std::string_view input = "") {
        return runOrvex(split("--store " + file + " " + line), input);
    }

    /// Runs a script in the folder, where `orvex` is the program and `store` has it use the store.
    ProgramRun runScript(const std::string& script) {
        return runProgram({"sh", "-c",
                           "cd '" + (folder / "").native() +
                               "'; orvex() { " ORVEX_PROGRAM
                               " \"$@\"; }; store() { orvex --store store/messages.db \"$@\"; }; " +
                               script});
    }

    /// A run that went well.
    static ProgramRun printed(std::string output) { return {std::move(output), "", 0}; }

    std::vector<StoredMessage> stored() { return wait(SQLiteMessageStore(file).allMessages()); }

    TemporaryFolder folder;
    std::string file = folder / "store/messages.db";
};

TEST_F(EndToEndTest, KeepsInTheStoreWhatOneCommandTellsTheNext) {
    const ProgramRun saved =
        run("save-message -mt 1 -prov 0 -frm +15550100 -tcpt " ORVEX_TEST_DATA "/full-xml.plist");
    ASSERT_EQ(stored().size(), 1U);
    const std::string description = stored()[0].description();
    EXPECT_EQ(saved, printed("\x1b[0;32mSuccessfully added the message: \n\x1b[0;0m" + description + "\n"));
    run("save-message");
    const std::string block = "\nMessage #1:\n" + description + "\n";
    EXPECT_EQ(run("get-all-messages -handles +15550100 -nc"),
              printed("Getting messages with handles:\n[\"+15550100\"]\n" + block));
    EXPECT_EQ(run("get-all-voicemail-messages -nc"), printed(block));
    EXPECT_THAT(run("voicemail-messages -nc").output,
                testing::StartsWith(block + "Transcript: Optional(VMVoicemailTranscript\n  text: \"Grüße, "));
    EXPECT_EQ(run("transcription-enabled -nc"), printed("isTranscriptionEnabled: true\n"));
    EXPECT_EQ(run("get-account-status -nc"), printed("Account status: no account\n"));

    const ProgramRun updated =
        run("update-message -rid " + stored()[1].recordUUID.text() + " -read true", "y");
    EXPECT_TRUE(stored()[1].read);
    EXPECT_THAT(updated.output, testing::EndsWith(stored()[1].description() + "]\n"));
    EXPECT_THAT(run("delete-message -nc", " 2, x ,,2\ny\n").output,
                testing::EndsWith("(y/n)?\nDeleted 2 messages!\n"));
    EXPECT_EQ(run("get-total-count -nc"), printed("Message count: 1\n"));
}

TEST_F(EndToEndTest, ANumberOutsideTheListAborts) {
    run("save-message");
    run("save-message");
    const struct {
        std::string line, before, prompt;
    } commands[] = {{"delete-message", "1,", "Enter a comma-separated list of messages to delete\n"},
                    {"update-message -read true", "", "Type the message number to update\n"}};
    for (const std::string number : {"0", "3", "-9223372036854775808"}) {
        for (const auto& [line, before, prompt] : commands) {
            const ProgramRun aborted = run(line, before + number + "\ny\n");
            EXPECT_EQ(aborted.status, -SIGABRT);
            EXPECT_EQ(aborted.errors,
                      "Fatal error: Orvex/commands/MessageSelection: index out of range: message number " +
                          number + " of 2\n");
            EXPECT_THAT(aborted.output, testing::EndsWith(prompt));
        }
    }
    EXPECT_EQ(stored().size(), 2U);
    EXPECT_FALSE(stored()[0].read);
}

TEST_F(EndToEndTest, AnInputThatCannotBeReadIsNoAnswer) {
    run("save-message");
    run("save-message");
    const std::pair<std::string, std::string> inputs[] = {{"</", "Is a directory"},
                                                          {"0>/dev/null", "Bad file descriptor"}};
    for (const auto& [input, cause] : inputs) {
        for (const std::string command : {"delete-message -nc ", "update-message -nc -read true "}) {
            const ProgramRun refused = runScript("store " + command + input);
            EXPECT_EQ(refused.status, 1);
            EXPECT_EQ(refused.errors, "orvex: cannot read an answer from standard input: " + cause +
                                          "; answer in a terminal or through a pipe\n");
            EXPECT_THAT(refused.output, testing::Not(testing::HasSubstr("(y/n)")));
        }
    }
}

TEST_F(EndToEndTest, CommandsShareAnInputLineByLine) {
    for (const std::string from : {"a", "b", "c"}) {
        run("save-message -frm " + from);
    }
    EXPECT_EQ(runScript("printf '1\\ny\\n2\\r\\nY\\r\\nrest' | { store delete-message >/dev/null; "
                        "store delete-message >/dev/null; cat; }"),
              printed("rest"));
    ASSERT_EQ(stored().size(), 1U);
    EXPECT_EQ(stored()[0].from, "b");
}

TEST_F(EndToEndTest, APromptIsVisibleBeforeItIsAnswered) {
    run("save-message -frm a");
    run("save-message -frm b");
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

    TerminalSession interrupted({ORVEX_PROGRAM, "--store", file, "delete-message", "-a"});
    ASSERT_TRUE(interrupted.shows("(y/n)?\r\n"));
    // What is typed behind the interrupt ends a program that lives on.
    interrupted.type("\x03n\n");
    EXPECT_EQ(interrupted.status(), -SIGINT);
    EXPECT_EQ(stored().size(), 1U);
}

TEST_F(EndToEndTest, WhatIsGoneMeanwhileIsNotChanged) {
    run("save-message");
    const UUID uuid = stored()[0].recordUUID;
    const struct {
        std::vector<std::string> words;
        std::function<void()> change;
        std::string error;
    } cases[] = {
        {{"update-message", "-read", "true"},
         [&] { wait(SQLiteMessageStore(file).deleteMessages({uuid})); },
         "Error: cannot update messages in the message store \"" + file +
             "\": it holds no message with the record UUID " + uuid.text() +
             "; it may have been deleted meanwhile\r\n"},
        {{"delete-message", "-a"},
         [&] { std::filesystem::remove(file); },
         "\": the file has been moved or deleted meanwhile\r\n"},
    };
    for (auto [words, change, error] : cases) {
        words.insert(words.begin(), {ORVEX_PROGRAM, "--store", file});
        words.emplace_back("-nc");
        TerminalSession session(words);
        ASSERT_TRUE(session.shows("(y/n)?\r\n"));
        change();
        session.type("y\n");
        EXPECT_TRUE(session.shows(error));
        EXPECT_EQ(session.status(), 0);
        run("save-message");
    }
}

TEST_F(EndToEndTest, OnlyErrorsThatLeaveACommandSetTheStatus) {
    file = folder / "";
    const std::string cause = " the message store \"" + file + "\": it is a folder, not a file\n";
    EXPECT_EQ(run("get-total-count -nc"), printed("Error: \ncannot count the messages in" + cause));
    const std::pair<std::string, std::string> commands[] = {
        {"get-account-status", "look up the account status"},
        {"voicemail-messages", "list the voicemails"},
        {"get-all-voicemail-messages", "find messages by provider and type"}};
    for (const auto& [command, attempt] : commands) {
        EXPECT_EQ(run(command), (ProgramRun{"", "orvex: cannot " + attempt + " in" + cause, 1}));
    }
}

TEST_F(EndToEndTest, SendsToTheOutboxBesideTheStore) {
    writeFile(folder / "video.mov", "moving pictures");
    const auto send = [&](const std::string& video) {
        return run("send-video-message --video-url " + video +
                   " --sender-handle me --destination-handles you");
    };
    EXPECT_EQ(send(folder / "video.mov"), printed(""));
    EXPECT_FALSE(is_empty(folder / "store/outbox/new"));
    EXPECT_EQ(send("/none"), (ProgramRun{"",
                                         "orvex: cannot send the video \"/none\": it cannot be read: No such "
                                         "file or directory\n",
                                         1}));
}

TEST_F(EndToEndTest, AUsageErrorTouchesNothing) {
    EXPECT_EQ(run("save-message --mt 1"), (ProgramRun{"",
                                                      "orvex: unknown option \"--mt\": did you mean -mt?\n"
                                                      "Usage: orvex save-message [options]\n"
                                                      "'orvex save-message --help' shows all options.\n",
                                                      64}));
    EXPECT_FALSE(std::filesystem::exists(folder / "store"));
    EXPECT_EQ(runOrvex({"--store=", "get-total-count"}).status, 64);
    EXPECT_EQ(run("get-total-count -nc --store x").status, 64);
}

TEST_F(EndToEndTest, LoadsWhatItPrintsWithBeforeItTouchesTheStore) {
    for (const char* const library :
         {"libicui18n.so." U_ICU_VERSION_SHORT, "libicuuc.so." U_ICU_VERSION_SHORT}) {
        writeFile(folder / library, "");
    }
    // An error of this store would be told instead.
    std::filesystem::create_directory(folder / "store");
    writeFile(file, "no store");
    for (const char* const command :
         {"transcription-enabled", "get-all-voicemail-messages", "voicemail-messages", "save-message",
          "get-total-count", "get-all-messages", "delete-message", "update-message", "get-account-status"}) {
        setenv("LD_LIBRARY_PATH", std::string(folder / "").c_str(), 1);
        const ProgramRun result = run(std::string(command) + " -nc");
        unsetenv("LD_LIBRARY_PATH");
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.errors, testing::StartsWith("orvex: cannot load ICU ")) << command;
    }
}

TEST_F(EndToEndTest, SaysThatThereIsNoStoreYet) {
    const ProgramRun nothing{
        "Message count: 0\n",
        "orvex: there is no message store at \"" + file + "\" yet; the first change makes it\n", 0};
    EXPECT_EQ(run("get-total-count -nc"), nothing);
    // A first change that fails may leave an empty file.
    std::filesystem::create_directory(folder / "store");
    writeFile(file, "");
    EXPECT_EQ(run("get-total-count -nc"), nothing);
}

TEST_F(EndToEndTest, TellsTheCauseOfWhatItSaysIsLogged) {
    run("save-message");
    EXPECT_EQ(runScript("sqlite3 store/messages.db 'UPDATE settings SET value = 0'"), printed(""));
    const ProgramRun result = run("get-account-status -nc");
    EXPECT_THAT(result.output, testing::HasSubstr("Check for a logged error!"));
    EXPECT_EQ(result.errors, "orvex: cannot determine the account status by the message store \"" + file +
                                 "\": its setting accountStatus is 0, which stands for that\n");
}

TEST_F(EndToEndTest, TheSettingsInTheDocumentationWorkOnAStoreThatIsNotThereYet) {
    const std::string page = readFile(ORVEX_TEST_DATA "/../../docs/store.md");
    const std::string fence = "```sh\n";
    const std::size_t start = page.find(fence) + fence.size();
    EXPECT_EQ(runScript("set -e; " + page.substr(start, page.find("```", start) - start)).status, 0);
    file = folder / "messages.db";
    EXPECT_EQ(run("transcription-enabled -nc"), printed("isTranscriptionEnabled: false\n"));
    EXPECT_EQ(run("get-account-status -nc"), printed("Account status: signed in\n"));
    EXPECT_EQ(run("get-total-count -nc"), printed("Message count: 0\n"));
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

TEST_F(EndToEndTest, AStoreIsNamedByAPathOrAURL) {
    const auto store = [&](const std::string& word, const std::string& command) {
        return runOrvex({"--store", word, command});
    };
    const std::string url(FileURL::fromPath((folder / "a b").native()).text());
    for (const std::string& word : {url, "FILE:" + url.substr(7), (folder / "a b").native()}) {
        EXPECT_EQ(store(word, "save-message").status, 0) << word;
    }
    EXPECT_EQ(wait(SQLiteMessageStore(folder / "a b").messageCount()), 3);

    for (const std::string& word :
         {url + "?mode=ro", std::string("file:a"), std::string("host=db password=secret"),
          std::string("postgresql//u:secret@h/d")}) {
        const ProgramRun run = store(word, "save-message");
        EXPECT_EQ(run.status, 64) << word;
        EXPECT_THAT(run.errors, testing::Not(testing::HasSubstr("secret")));
    }
    for (const std::string word : {"smtp:/u:secret@h", "u:secret@h", "http://u:secret@h"}) {
        EXPECT_THAT(runOrvex({"--sending-service", word, "save-message"}).errors,
                    testing::StartsWith("orvex: invalid value for --sending-service: expected a URL"));
    }
}

TEST_F(EndToEndTest, ShowsTheHelpThatUsersKnow) {
    EXPECT_EQ(runOrvex({}), runOrvex({"--help"}));
    for (const std::string& topic : helpTopics()) {
        const ProgramRun shown = topic == "orvex" ? runOrvex({}) : runOrvex({"help", topic});
        EXPECT_EQ(shown, printed(readFile(ORVEX_TEST_DATA "/help/" + topic + ".txt")));
    }
}

TEST_F(EndToEndTest, FitsHelpAndErrorsToTheTerminal) {
    const auto wordsOf = [](std::string text) {
        std::replace(text.begin(), text.end(), '\n', ' ');
        return split(text);
    };
    std::vector<std::string> lines = {"send-video-message", "get-all-messages -mt 7", "no-such-command"};
    for (const std::string& topic : helpTopics()) {
        lines.push_back(topic == "orvex" ? "" : "help " + topic);
    }
    for (const std::string& line : lines) {
        const ProgramRun plain = runProgram({"sh", "-c", ORVEX_PROGRAM " " + line});
        std::vector<std::size_t> heights;
        for (const std::size_t width : {60U, 80U, 200U}) {
            const std::string setUp = "stty -onlcr cols " + std::to_string(width) + "; ";
            TerminalSession session({"sh", "-c", setUp + ORVEX_PROGRAM " " + line + "; echo ---"});
            const std::string screen = session.shownUpTo("---\n").value_or("");
            EXPECT_EQ(wordsOf(screen), wordsOf(plain.output + plain.errors)) << line;
            // Where there is little room, texts stand below what they explain.
            const bool isBelow = screen.find("--help\n      Show this help.\n") != std::string::npos;
            EXPECT_EQ(isBelow, width == 60 && plain.errors.empty()) << line;
            for (const std::string& shown : split(screen, "\n")) {
                EXPECT_LE(shown.size(), width) << line;
            }
            heights.push_back(split(screen, "\n").size());
        }
        EXPECT_LT(heights.back(), heights.front()) << line;
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
        run("save-message");
    }
    // The prompt at the end of input repeats until the reader's leaving ends it.
    const std::string pipeline =
        ORVEX_PROGRAM " --store '" + file + "' delete-message -a </dev/null | head -n 1";
    for (const std::string setUp : {"", "trap '' PIPE; "}) {
        const ProgramRun piped = runProgram({"bash", "-c", setUp + pipeline + "; echo ${PIPESTATUS[0]}"});
        EXPECT_EQ(piped, printed("\x1b[0;32mGetting all messages\x1b[0;0m\n141\n"));
    }
    EXPECT_EQ(stored().size(), 3U);
}

} // namespace
} // namespace Orvex::Testing
