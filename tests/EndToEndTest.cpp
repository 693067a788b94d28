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

/// The names, without their extensions, of the files in a folder.
std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        names.push_back(file.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// The program and its commands.
const std::vector<std::string> helpTopics = namesIn(ORVEX_TEST_DATA "/help");

class EndToEndTest : public testing::Test {
  protected:
    ProgramRun run(const std::string& line, std::string_view input = "") {
        return runOrvex(split("--store " + file + " " + line), input);
    }

    /// A successful run.
    static ProgramRun printed(std::string output) { return {std::move(output), "", 0}; }

    std::vector<StoredMessage> stored() { return wait(SQLiteMessageStore(file).allMessages()); }

    TemporaryFolder folder;
    std::string file = folder / "store/messages.db";
};

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
    // The answer after the interrupt ends a program that survives it.
    interrupted.type("\x03n\n");
    EXPECT_EQ(interrupted.status(), -SIGINT);
    EXPECT_EQ(stored().size(), 1U);
}

TEST_F(EndToEndTest, AMessageThatIsGoneMeanwhileIsNotChanged) {
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

TEST_F(EndToEndTest, LoadsICUBeforeItTouchesTheStore) {
    for (const char* const library :
         {"libicui18n.so." U_ICU_VERSION_SHORT, "libicuuc.so." U_ICU_VERSION_SHORT}) {
        writeFile(folder / library, "");
    }
    // This store would be an error of its own.
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

TEST_F(EndToEndTest, TheSettingsInTheDocumentationWorkOnAStoreThatIsNotThereYet) {
    const std::string page = readFile(ORVEX_TEST_DATA "/../../docs/store.md");
    const std::string fence = "```sh\n";
    const std::size_t start = page.find(fence) + fence.size();
    const std::string script = "set -e; orvex() { " ORVEX_PROGRAM " \"$@\"; }; cd '" +
                               (folder / "").native() + "'; " +
                               page.substr(start, page.find("```", start) - start);
    EXPECT_EQ(runProgram({"sh", "-c", script}).status, 0);
    file = folder / "messages.db";
    EXPECT_EQ(run("transcription-enabled -nc"), printed("isTranscriptionEnabled: false\n"));
    EXPECT_EQ(run("get-account-status -nc"), printed("Account status: signed in\n"));
    EXPECT_EQ(run("get-total-count -nc"), printed("Message count: 0\n"));
}

TEST_F(EndToEndTest, ShowsTheHelpThatUsersKnow) {
    EXPECT_EQ(runOrvex({}), runOrvex({"--help"}));
    EXPECT_EQ(helpTopics.size(), 11U);
    for (const std::string& topic : helpTopics) {
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
    for (const std::string& topic : helpTopics) {
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
            // On a narrow terminal, an explanation is below its option.
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

TEST_F(EndToEndTest, WritesCorrectManualPages) {
    for (const std::string& topic : helpTopics) {
        const bool isTool = topic == "orvex";
        const ProgramRun page =
            isTool ? runOrvex({"--generate-manual-page"}) : runOrvex({"--generate-manual-page", topic});
        writeFile(folder / (isTool ? "orvex.1" : "orvex-" + topic + ".1"), page.output);
    }
    // mandoc looks for the pages that others refer to in the current folder.
    const ProgramRun lint =
        runProgram({"sh", "-c", "cd '" + (folder / "").native() + "' && mandoc -T lint *.1"});
    EXPECT_EQ(lint.output + lint.errors, "");
    EXPECT_EQ(lint.status, 0);
}

class SessionTest : public testing::TestWithParam<std::string> {};

/// Sessions with the program are in tests/sessions; tests/run-session prints one anew.
TEST_P(SessionTest, PrintsTheSameAgain) {
    const std::string session = ORVEX_TEST_SOURCES "/sessions/" + GetParam() + ".txt";
    EXPECT_EQ(runProgram({ORVEX_TEST_SOURCES "/run-session", ORVEX_PROGRAM, session}),
              (ProgramRun{readFile(session), "", 0}));
}

INSTANTIATE_TEST_SUITE_P(Sessions, SessionTest, testing::ValuesIn(namesIn(ORVEX_TEST_SOURCES "/sessions")),
                         [](const auto& name) {
                             std::string identifier = name.param;
                             std::replace(identifier.begin(), identifier.end(), '-', '_');
                             return identifier;
                         });

} // namespace
} // namespace Orvex::Testing
