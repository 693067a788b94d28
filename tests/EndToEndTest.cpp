#include "Support.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
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

TEST_F(EndToEndTest, AStoreErrorIsPrintedByTheCommand) {
    writeFile(folder / "plain", "plain text");
    file = folder / "plain";
    const std::string cause =
        " in the message store \"" + file +
        "\": it is no message store, nor any other SQLite database; choose another file";
    EXPECT_EQ(run({"get-total-count", "-nc"}),
              (ProgramRun{"Error: \ncannot count the messages" + cause + "\n", "", 0}));
    EXPECT_EQ(run({"get-all-messages", "-nc"}),
              (ProgramRun{"Getting all messages\nError: cannot list all messages" + cause + "\n", "", 0}));
    EXPECT_EQ(run({"save-message", "-nc"}),
              (ProgramRun{"Error: \ncannot save a message" + cause + "\n", "", 0}));
    EXPECT_EQ(run({"transcription-enabled", "-nc"}),
              (ProgramRun{"isTranscriptionEnabled error cannot look up whether transcription is enabled" +
                              cause + "\n",
                          "", 0}));
    EXPECT_EQ(readFile(file), "plain text");
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

TEST_F(EndToEndTest, ShowsHelp) {
    EXPECT_THAT(runOrvex({}).output, HasSubstr("\n  get-total-count\n"));
    EXPECT_EQ(runOrvex({}), runOrvex({"--help"}));
    EXPECT_THAT(runOrvex({"help", "save-message"}).output, testing::Not(HasSubstr("quality")));
}

} // namespace
} // namespace Orvex::Testing
