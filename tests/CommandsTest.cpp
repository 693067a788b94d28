#include "Orvex/commands/DeleteMessage.h"
#include "Orvex/commands/GetAccountStatus.h"
#include "Orvex/commands/GetAllMessages.h"
#include "Orvex/commands/GetAllVoicemailMessages.h"
#include "Orvex/commands/GetTotalCount.h"
#include "Orvex/commands/MessageSelection.h"
#include "Orvex/commands/SaveMessage.h"
#include "Orvex/commands/SendVideoMessage.h"
#include "Orvex/commands/TranscriptionEnabled.h"
#include "Orvex/commands/UpdateMessage.h"
#include "Orvex/commands/VoicemailMessages.h"
#include "Orvex/store/SendingService.h"
#include "RecordingStore.h"
#include "Support.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <set>

namespace Orvex::Testing {
namespace {

using testing::ElementsAre;
using Words = std::vector<std::string_view>;

class CommandsTest : public testing::Test {
  protected:
    /// Three messages: a voicemail and a video from ann, a video from bob.
    void fill() {
        wait(store->saveMessage(newMessage(MessageType::audio, MessageProvider::Telephony, "ann")));
        wait(store->saveMessage(newMessage(MessageType::video, MessageProvider::Zelvo, "ann")));
        wait(store->saveMessage(newMessage(MessageType::video, MessageProvider::Telephony, "bob")));
        store->calls.clear();
    }

    void failAtCall(int number) { store->failingCall = static_cast<int>(store->calls.size()) + number; }

    /// The stored messages with these indices, as a list shows them.
    [[nodiscard]] std::string listing(const std::vector<std::size_t>& indices) const {
        std::string text;
        std::size_t number = 0;
        for (const std::size_t index : indices) {
            text += "\x1b[0;32m\nMessage #" + std::to_string(++number) + ":\n\x1b[0;0m" +
                    store->stored[index].description() + "\n";
        }
        return text;
    }

    std::shared_ptr<RecordingStore> store = useRecordingStore();
};

TEST_F(CommandsTest, GetTotalCount) {
    EXPECT_EQ(commandOutput<GetTotalCount>({}), "\x1b[0;32mMessage count: \x1b[0;0m0\n");
    fill();
    EXPECT_EQ(commandOutput<GetTotalCount>({"-nc"}), "Message count: 3\n");
    failAtCall(0);
    EXPECT_EQ(commandOutput<GetTotalCount>({}), "\x1b[0;31mError: \n\x1b[0;0mthe store is on fire\n");
    failAtCall(0);
    EXPECT_EQ(commandOutput<GetTotalCount>({"--no-color"}), "Error: \nthe store is on fire\n");
}

TEST_F(CommandsTest, TranscriptionEnabled) {
    EXPECT_EQ(commandOutput<TranscriptionEnabled>({}), "\x1b[0;32misTranscriptionEnabled: \x1b[0;0mtrue\n");
    store->transcriptionEnabled = false;
    EXPECT_EQ(commandOutput<TranscriptionEnabled>({"-nc"}), "isTranscriptionEnabled: false\n");
    failAtCall(0);
    EXPECT_EQ(commandOutput<TranscriptionEnabled>({}),
              "\x1b[0;31misTranscriptionEnabled error the store is on fire\x1b[0;0m\n");
    failAtCall(0);
    EXPECT_EQ(commandOutput<TranscriptionEnabled>({"-nc"}),
              "isTranscriptionEnabled error the store is on fire\n");
}

TEST_F(CommandsTest, GetAllMessagesMakesTheQueryOfHighestPrecedence) {
    fill();
    const std::string second = store->stored[1].recordUUID.text();
    struct Case {
        Words words;
        std::string heading;
        std::string call;
        std::vector<std::size_t> found;
    };
    const std::string byUUIDs = "\x1b[0;32mGetting messages with recordUUIDs:\n\x1b[0;0m";
    const std::string byHandles = "\x1b[0;32mGetting messages with handles:\n\x1b[0;0m";
    const std::string byKind = "\x1b[0;32mGetting messages with providers and types:\n\x1b[0;0m";
    const std::string all = "\x1b[0;32mGetting all messages\x1b[0;0m";
    const std::string matching = "messages(matching:limit:offset:) ";
    const Case cases[] = {
        {{}, all, "allMessages", {0, 1, 2}},
        {{"-mt", "1"}, all, "allMessages", {0, 1, 2}},
        {{"-p", "0", "1"}, all, "allMessages", {0, 1, 2}},
        {{"-rids", second, "bad"},
         byUUIDs + "[\"" + second + "\", \"bad\"]",
         "messages(recordUUIDs:) 1",
         {1}},
        {{"--recordUUIDs", "bad", "--handles", "ann"}, byUUIDs + "[\"bad\"]", "messages(recordUUIDs:) 0", {}},
        {{"-handles", "ann", "x\x1b[2J", "-p", "0", "-mt", "2"},
         byHandles + R"(["ann", "x\u{1B}[2J"])",
         "messages(handles:) 2",
         {0, 1}},
        {{"--types", "2", "1", "--providers", "0", "1", "-vids", "1"},
         byKind + "providers: [Telephony, Zelvo] types: [video, audio]",
         "messages(providers:types:) 2 2",
         {0, 1, 2}},
        {{"-mt", "2", "-p", "0"},
         byKind + "providers: [Telephony] types: [video]",
         "messages(providers:types:) 1 1",
         {2}},
        {{"--voicemailID", "+1", "x", " 1", "2147483648", "-mt", "1"},
         byUUIDs + "[]",
         matching + "1 9223372036854775807 0",
         {0}},
        {{"-vids=-5"}, byUUIDs + "[]", matching + "1 9223372036854775807 0", {}},
    };
    for (const Case& each : cases) {
        store->calls.clear();
        EXPECT_EQ(commandOutput<GetAllMessages>(each.words), each.heading + "\n" + listing(each.found));
        EXPECT_THAT(store->calls, ElementsAre(each.call));
    }
    EXPECT_EQ(commandOutput<GetAllMessages>({"-nc", "-handles", "bob"}),
              "Getting messages with handles:\n[\"bob\"]\n\nMessage #1:\n" + store->stored[2].description() +
                  "\n");
}

TEST_F(CommandsTest, GetAllMessagesPrintsAStoreErrorAndNothingElse) {
    fill();
    for (const Words& words : {Words{}, Words{"-rids", "x"}, Words{"-handles", "x"},
                               Words{"-p", "0", "-mt", "0"}, Words{"-vids", "1"}}) {
        failAtCall(0);
        EXPECT_THAT(commandOutput<GetAllMessages>(words),
                    testing::EndsWith("\n\x1b[0;31mError: \x1b[0;0mthe store is on fire\n"));
    }
}

TEST_F(CommandsTest, SaveMessageHasADefaultForEverything) {
    const std::string output = commandOutput<SaveMessage>({});
    ASSERT_EQ(store->stored.size(), 1U);
    const StoredMessage& saved = store->stored[0];
    EXPECT_EQ(output, "\x1b[0;32mSuccessfully added the message: \n\x1b[0;0m" + saved.description() + "\n");
    EXPECT_EQ(saved.type, MessageType::video);
    EXPECT_EQ(saved.provider, MessageProvider::Zelvo);
    EXPECT_EQ(saved.messageFile, FileURL::fromPath("file.mov"));
    EXPECT_EQ(saved.from, "tester@example.com");
    EXPECT_EQ(saved.duration, Seconds(0));
    EXPECT_EQ(saved.quality, MessageQuality::standard);
    EXPECT_FALSE(saved.thumbnail || saved.transcriptURL || saved.recipient || saved.sensitive || saved.isRTT);
    const std::optional<UUID> simID = UUID::parse(saved.simID);
    ASSERT_TRUE(simID);
    EXPECT_EQ((std::set{saved.recordUUID, saved.conversationID, *simID, UUID()}.size()), 4U);
}

TEST_F(CommandsTest, SaveMessageTakesEveryOption) {
    const std::string uuid = "0123ABCD-4567-89EF-FEDC-BA9876543210";
    const Words common = {"-recordUUID", uuid,    "-conversationID",
                          uuid,          "-file", "/m",
                          "-thumb",      "/t",    "-tcpt",
                          "/x",          "-frm",  "ann",
                          "-prov",       "0",     "-dur",
                          "1.5",         "-mbt",  "2",
                          "-x",          "true",  "-rec",
                          "bob",         "-rtt",  "true",
                          "-simID",      "S"};
    for (const std::string_view type : {"0", "1", "2"}) {
        store->stored.clear();
        Words words = common;
        words.insert(words.end(), {"-mt", type});
        commandOutput<SaveMessage>(words);
        const StoredMessage& saved = store->stored.at(0);
        EXPECT_EQ(saved.recordUUID.text(), uuid);
        EXPECT_EQ(saved.conversationID.text(), uuid);
        EXPECT_EQ(saved.messageFile.path(), "/m");
        EXPECT_EQ(saved.from, "ann");
        EXPECT_EQ(saved.provider, MessageProvider::Telephony);
        EXPECT_EQ(saved.duration, Seconds(1.5));
        EXPECT_EQ(saved.mailbox, Mailbox::inbox);
        EXPECT_TRUE(saved.sensitive && saved.isRTT);
        EXPECT_EQ(saved.recipient, "bob");
        EXPECT_EQ(saved.simID, "S");
        // A video has a thumbnail, any other message a transcript.
        const bool isVideo = type == "2";
        EXPECT_EQ(saved.thumbnail, isVideo ? std::optional(FileURL::fromPath("/t")) : std::nullopt);
        EXPECT_EQ(saved.transcriptURL, isVideo ? std::nullopt : std::optional(FileURL::fromPath("/x")));
    }
}

TEST_F(CommandsTest, SaveMessageReplacesWhatIsNoUUID) {
    commandOutput<SaveMessage>({"-recordUUID", "x", "--input-conversation-id="});
    EXPECT_NE(store->stored.at(0).recordUUID, UUID());
    EXPECT_NE(store->stored.at(0).conversationID, UUID());
}

TEST_F(CommandsTest, SaveMessagePrintsAnError) {
    const std::filesystem::path before = std::filesystem::current_path();
    {
        const TemporaryFolder gone;
        std::filesystem::current_path(gone / "");
    }
    EXPECT_EQ(
        commandOutput<SaveMessage>({"-nc"}),
        "Error: \ncannot tell where \"file.mov\" is: the current folder is gone; give an absolute path\n");
    std::filesystem::current_path(before);

    failAtCall(0);
    EXPECT_EQ(commandOutput<SaveMessage>({}), "\x1b[0;31mError: \n\x1b[0;0mthe store is on fire\n");
}

constexpr std::string_view confirmDeletion = "Are you sure you want to delete these messages (y/n)?\n";
constexpr std::string_view whichToDelete = "Enter a comma-separated list of messages to delete\n";
constexpr std::string_view nothingFound = "\x1b[0;31mNo messages found for the given inputs!\x1b[0;0m\n";

TEST(Prompts, AskForNumbersTakesWhatIsANumber) {
    using Numbers = std::vector<std::int64_t>;
    const std::pair<std::string_view, Numbers> cases[] = {
        {" 2, x ,,3\n", {2, 3}},
        {"1,1\n", {1, 1}},
        {"\n", {}},
        {"", {}},
        {"7", {7}},
        {"1,2\r\n3\n", {1, 2}},
        {"\t+4 ,\v-5\f,0\n", {4, -5, 0}},
        {"1 2,1.5,0x3,--4,+,9223372036854775808,-9223372036854775808,9223372036854775807\n",
         {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}},
        {std::string_view("1\0,2\n", 5), {2}},
    };
    for (const auto& [input, numbers] : cases) {
        const InputFrom standardInput(input);
        Numbers answer;
        EXPECT_EQ(outputOf([&answer] { answer = askForNumbers("\x1b[1mWhich?", true); }), "Which?\n");
        EXPECT_EQ(answer, numbers) << input;
    }
}

TEST(Prompts, AskYesNoAsksUntilItIsAnswered) {
    struct Case {
        std::string_view input;
        bool answer;
        int questions;
    };
    const Case cases[] = {
        {"y\n", true, 1},      {"YES\n", true, 1}, {"True\n", true, 1},        {"1", true, 1},
        {"n\n", false, 1},     {"No\n", false, 1}, {"FALSE\n", false, 1},      {"0\n", false, 1},
        {" y\nn\n", false, 2}, {"\ny\n", true, 2}, {"y \nyep\n2\ny", true, 4}, {"y\r\nno\ny\n", false, 2},
    };
    for (const Case& each : cases) {
        const InputFrom standardInput(each.input);
        const std::string output =
            outputOf([&] { EXPECT_EQ(askYesNo("Sure?", false), each.answer) << each.input; });
        EXPECT_EQ(output.size(),
                  std::string_view("Sure?\n").size() * static_cast<std::size_t>(each.questions));
    }
}

TEST_F(CommandsTest, DeleteMessageDeletesTheMessagesChosen) {
    fill();
    const std::string heading = "\x1b[0;32mGetting all messages\x1b[0;0m\n";
    const std::string expected = heading + listing({0, 1, 2}) + std::string(whichToDelete) + listing({2, 0}) +
                                 std::string(confirmDeletion) + std::string(confirmDeletion) +
                                 "\x1b[0;32mDeleted 2 messages!\x1b[0;0m\n";
    EXPECT_EQ(commandOutput<DeleteMessage>({}, " 3, x ,,1\n y\nYES\n"), expected);
    EXPECT_THAT(store->calls, ElementsAre("allMessages", "deleteMessages 2"));
    ASSERT_EQ(store->stored.size(), 1U);
    EXPECT_EQ(store->stored[0].from, "ann");
}

TEST_F(CommandsTest, DeleteMessageAsksForNoChoiceWhereOneWasMade) {
    fill();
    const std::string uuid = store->stored[1].recordUUID.text();
    EXPECT_EQ(commandOutput<DeleteMessage>({"--recordUUIDs", uuid, "bad"}, "n\n"),
              "\x1b[0;32mGetting messages with recordUUIDs:\n\x1b[0;0m[\"" + uuid + "\", \"bad\"]\n" +
                  listing({1}) + std::string(confirmDeletion));
    EXPECT_THAT(store->calls, ElementsAre("messages(recordUUIDs:) 1"));
    EXPECT_EQ(commandOutput<DeleteMessage>({"-nc", "-a", "-handles", "ann"}, "yes"),
              "Getting messages with handles:\n[\"ann\"]\n\nMessage #1:\n" + store->stored[0].description() +
                  "\n\nMessage #2:\n" + store->stored[1].description() + "\n" + std::string(confirmDeletion) +
                  "Deleted 2 messages!\n");
    ASSERT_EQ(store->stored.size(), 1U);
    EXPECT_EQ(store->stored[0].from, "bob");
}

TEST_F(CommandsTest, DeleteMessageEndsWhereNothingIsFoundOrChosen) {
    const std::string all = "\x1b[0;32mGetting all messages\x1b[0;0m\n";
    EXPECT_EQ(commandOutput<DeleteMessage>({"-a"}), all + std::string(nothingFound));
    EXPECT_EQ(commandOutput<DeleteMessage>({"-p", "0"}),
              all + std::string(whichToDelete) + std::string(nothingFound));
    fill();
    EXPECT_EQ(commandOutput<DeleteMessage>({}, "x\n"),
              all + listing({0, 1, 2}) + std::string(whichToDelete) + std::string(nothingFound));
    EXPECT_THAT(commandOutput<DeleteMessage>({"-rids", "bad"}), testing::EndsWith(nothingFound));
    failAtCall(0);
    EXPECT_EQ(commandOutput<DeleteMessage>({"-a"}),
              all + "\x1b[0;31mError: \x1b[0;0mthe store is on fire\n" + std::string(nothingFound));
    EXPECT_EQ(store->stored.size(), 3U);
}

TEST_F(CommandsTest, DeleteMessageSendsBatchesOfAHundred) {
    const std::pair<int, std::vector<std::string>> cases[] = {
        {1, {"1"}}, {99, {"99"}}, {100, {"100"}}, {101, {"100", "1"}}, {250, {"100", "100", "50"}},
    };
    for (const auto& [count, batches] : cases) {
        for (int i = 0; i < count; ++i) {
            wait(store->saveMessage(newMessage()));
        }
        store->calls.clear();
        EXPECT_THAT(commandOutput<DeleteMessage>({"-a", "-nc"}, "y\n"),
                    testing::EndsWith("Deleted " + std::to_string(count) + " messages!\n"));
        std::vector<std::string> expected = {"allMessages"};
        for (const std::string& batch : batches) {
            expected.push_back("deleteMessages " + batch);
        }
        EXPECT_EQ(store->calls, expected);
        EXPECT_TRUE(store->stored.empty());
    }
}

TEST_F(CommandsTest, DeleteMessageStopsAtTheFirstBatchThatFails) {
    for (int i = 0; i < 250; ++i) {
        wait(store->saveMessage(newMessage()));
    }
    failAtCall(2);
    EXPECT_THAT(
        commandOutput<DeleteMessage>({"-a"}, "y\n"),
        testing::EndsWith(std::string(confirmDeletion) + "\x1b[0;31mError: \x1b[0;0mthe store is on fire\n"));
    EXPECT_EQ(store->calls.back(), "deleteMessages 100");
    EXPECT_EQ(store->stored.size(), 150U);
}

TEST_F(CommandsTest, DeleteMessageCountsChoicesNotMessages) {
    fill();
    EXPECT_THAT(commandOutput<DeleteMessage>({"-nc"}, "1,1\ny\n"),
                testing::EndsWith("Deleted 2 messages!\n"));
    EXPECT_EQ(store->calls.back(), "deleteMessages 2");
    EXPECT_EQ(store->stored.size(), 2U);
}

TEST_F(CommandsTest, UpdateMessageShowsConfirmsAndRereads) {
    fill();
    const StoredMessage before = store->stored[2];
    const std::string output = commandOutput<UpdateMessage>({"-handles",
                                                             "bob",
                                                             "-callUUID",
                                                             before.recordUUID.text(),
                                                             "-conversationID",
                                                             "bad",
                                                             "-from",
                                                             "eve",
                                                             "-duration",
                                                             "2",
                                                             "-newProvider",
                                                             "1",
                                                             "-read",
                                                             "true",
                                                             "-mailbox",
                                                             "2",
                                                             "-recipient",
                                                             "r",
                                                             "-transcription",
                                                             "3",
                                                             "-rtt",
                                                             "true",
                                                             "-undelete"},
                                                            "YES\n");
    const StoredMessage& after = store->stored[2];
    const MessageUpdate update{.recordUUID = before.recordUUID,
                               .callUUID = before.recordUUID,
                               .from = "eve",
                               .provider = MessageProvider::Zelvo,
                               .read = true,
                               .duration = Seconds(2),
                               .mailbox = Mailbox::trash,
                               .recipient = "r",
                               .transcription = TranscriptionStatus::inProgress,
                               .isRTT = true,
                               .undelete = true};
    EXPECT_EQ(output,
              "\x1b[0;32mGetting messages with handles:\n\x1b[0;0m[\"bob\"]\n"
              "\x1b[0;32m\nMessage #1:\n\x1b[0;0m" +
                  before.description() + "\n\x1b[0;32mMessageUpdate:\n\x1b[0;0m" + update.description() +
                  "\nDo you want to update the store (y/n)?\n"
                  "\x1b[0;32mMessage updated successfully!\x1b[0;0m\n\x1b[0;32mNew message:\n\x1b[0;0m[" +
                  after.description() + "]\n");
    EXPECT_THAT(store->calls,
                ElementsAre("messages(handles:) 1", "updateMessage 1", "messages(recordUUIDs:) 1"));
    EXPECT_EQ(after.from, "eve");
    EXPECT_EQ(after.conversationID, before.conversationID);
    EXPECT_EQ(after.mailbox, Mailbox::inbox);
}

TEST_F(CommandsTest, UpdateMessageTakesTheFirstNumberOrTheFirstMessage) {
    const std::pair<std::string_view, std::size_t> cases[] = {{"\ny\n", 0}, {"x\ny\n", 0}, {"3,9\ny\n", 2}};
    for (const auto& [input, index] : cases) {
        store->stored.clear();
        fill();
        const std::string output = commandOutput<UpdateMessage>({"-read", "true", "-nc"}, input);
        EXPECT_THAT(output, testing::HasSubstr("\nType the message number to update\nMessageUpdate:\n"));
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(store->stored[i].read, i == index) << input << i;
        }
    }
}

TEST_F(CommandsTest, UpdateMessageChangesNothingUnlessConfirmed) {
    fill();
    const std::string uuid = store->stored[0].recordUUID.text();
    EXPECT_THAT(commandOutput<UpdateMessage>({"-rid", uuid, "-handles", "bob"}, "n\n"),
                testing::EndsWith("\x1b[0;32mMessageUpdate:\n\x1b[0;0m  recordUUID: " + uuid +
                                  "\n  undelete: false\nDo you want to update the store (y/n)?\n"));
    EXPECT_THAT(store->calls, ElementsAre("messages(recordUUIDs:) 1"));
    EXPECT_THAT(commandOutput<UpdateMessage>({"-rid", "bad"}), testing::EndsWith(nothingFound));
    EXPECT_THAT(commandOutput<UpdateMessage>({"-rid="}),
                testing::EndsWith("[\"\"]\n" + std::string(nothingFound)));
}

TEST_F(CommandsTest, UpdateMessagePrintsAnErrorOfTheUpdateOrTheRereading) {
    for (const int failing : {1, 2}) {
        store->stored.clear();
        fill();
        failAtCall(failing);
        EXPECT_THAT(commandOutput<UpdateMessage>({"-handles", "bob", "-read", "true"}, "y\n"),
                    testing::EndsWith("(y/n)?\n\x1b[0;31mError: \x1b[0;0mthe store is on fire\n"));
        EXPECT_EQ(store->stored[2].read, failing == 2);
    }
}

TEST_F(CommandsTest, GetAccountStatus) {
    const std::pair<std::int64_t, std::string> cases[] = {
        {0, "\x1b[0;31mError: \x1b[0;0mQuennet indicates that it could not determine the account status. "
            "Check for a "
            "logged error!\n\n"},
        {1, "\x1b[0;32mAccount status: \x1b[0;0mstate 1\n"},
        {4, "\x1b[0;32mAccount status: \x1b[0;0mstate 4\n"},
        {5, "\x1b[0;33mThe message store is still waiting for a response from Quennet. Try again in a few "
            "seconds!\x1b[0;0m\n"},
    };
    for (const auto& [status, output] : cases) {
        store->status = static_cast<AccountStatus>(status);
        EXPECT_EQ(commandOutput<GetAccountStatus>({}), output);
    }
    EXPECT_EQ(
        commandOutput<GetAccountStatus>({"-nc"}),
        "The message store is still waiting for a response from Quennet. Try again in a few seconds!\n");
}

TEST_F(CommandsTest, GetAccountStatusEndsTheProcessForAnUnknownOne) {
    for (const std::int64_t status : {-1, 6}) {
        store->status = static_cast<AccountStatus>(status);
        EXPECT_EXIT(commandOutput<GetAccountStatus>({}), testing::KilledBySignal(SIGABRT),
                    "^Fatal error: Orvex/commands/GetAccountStatus: unexpected account status " +
                        std::to_string(status) + ", known are 0 to 5\n$");
    }
}

TEST_F(CommandsTest, GetAllVoicemailMessages) {
    EXPECT_EQ(commandOutput<GetAllVoicemailMessages>({}), "");
    fill();
    EXPECT_EQ(commandOutput<GetAllVoicemailMessages>({}), listing({0}));
    EXPECT_THAT(store->calls, ElementsAre("messages(providers:types:) 1 1"));
}

TEST_F(CommandsTest, VoicemailMessagesShowsTranscriptsAndGoesOnAfterBadOnes) {
    EXPECT_EQ(commandOutput<VoicemailMessages>({}), "");
    const TemporaryFolder folder;
    const std::string good = folder / "good";
    const std::string nil = folder / "nil";
    const std::string gone = folder / "gone";
    const VMVoicemailTranscript transcript{.text = "Hi", .confidence = 1};
    writeFile(good, encodeTranscript(transcript, ArchiveForm::binary));
    writeFile(nil, encodeTranscript(std::nullopt, ArchiveForm::xml));
    for (const std::string& file : {gone, std::string(), good, nil}) {
        StoredMessage voicemail = newMessage(MessageType::audio, MessageProvider::Telephony);
        voicemail.transcriptURL = file.empty() ? std::nullopt : std::optional(FileURL::fromPath(file));
        wait(store->saveMessage(voicemail));
    }
    store->calls.clear();
    const auto block = [&](std::size_t index) {
        return "\x1b[0;32m\nMessage #" + std::to_string(index + 1) + ":\n\x1b[0;0m" +
               store->stored[index].description() + "\n";
    };
    EXPECT_EQ(commandOutput<VoicemailMessages>({"-h", "someone"}),
              block(0) + "\x1b[0;31mError: \x1b[0;0mcannot read the transcript \"" + gone +
                  "\": it cannot be read: No such file or directory\n" + block(1) + block(2) +
                  "\x1b[0;32mTranscript: \x1b[0;0mOptional(VMVoicemailTranscript\n  text: \"Hi\"\n  "
                  "confidence: 1)\n" +
                  block(3) + "\x1b[0;32mTranscript: \x1b[0;0mnil\n");
    EXPECT_THAT(store->calls, ElementsAre("voicemailMessages 1 1"));
    EXPECT_THAT(commandOutput<VoicemailMessages>({"-nc"}), testing::Not(testing::HasSubstr("\x1b")));
}

TEST_F(CommandsTest, SomeCommandsPassTheStoresErrorOn) {
    const auto expectError = [&](auto command) {
        failAtCall(0);
        EXPECT_EQ(outputOf([&] { EXPECT_THROW(runToCompletion(command.run()), MessageStoreError); }), "");
    };
    expectError(GetAccountStatus());
    expectError(GetAllVoicemailMessages());
    expectError(VoicemailMessages());
}

/// A sending service that remembers what it was asked to send.
class RecordingService final : public SendingService {
  public:
    std::vector<VideoMessageRequest> sent;
    bool fails = false;

    Async<void> sendVideoMessage(VideoMessageRequest request) override {
        if (fails) {
            throw SendingServiceError("no");
        }
        sent.push_back(std::move(request));
        co_return;
    }
};

TEST(SendVideoMessage, HandsARequestToTheService) {
    auto service = std::make_shared<RecordingService>();
    SendingService::setFactory([service] { return service; });
    const Words words = {"--video-url", "file:///a%20b", "--sender-handle", "me", "--destination-handles",
                         "you",         "them"};
    EXPECT_EQ(commandOutput<SendVideoMessage>(words) + commandOutput<SendVideoMessage>(words), "");
    ASSERT_EQ(service->sent.size(), 2U);
    EXPECT_NE(service->sent[0].recordUUID, service->sent[1].recordUUID);
    EXPECT_NE(service->sent[0].recordUUID, UUID());
    EXPECT_EQ(service->sent[0].senderHandle, "me");
    EXPECT_THAT(service->sent[0].destinationHandles, ElementsAre("you", "them"));
    EXPECT_EQ(service->sent[0].provider, MessageProvider::Zelvo);
    EXPECT_EQ(service->sent[0].videoURL.path(), "/a b");

    service->fails = true;
    auto command = parsed<SendVideoMessage>(words);
    EXPECT_THROW(runToCompletion(command.run()), SendingServiceError);
    SendingService::setFactory(nullptr);
    EXPECT_THROW(runToCompletion(command.run()), SendingServiceError);
}

TEST(SendVideoMessage, NeedsAllItsOptions) {
    for (const Words& words :
         {Words{"-nc"}, Words{"--video-url", "/v", "--sender-handle", "me"},
          Words{"--video-url", "/v", "--destination-handles", "you"},
          Words{"--sender-handle", "me", "--destination-handles", "you"},
          Words{"--video-url", "/v", "--sender-handle=", "--destination-handles", "you"},
          Words{"--video-url", "/v", "--sender-handle", "me", "--destination-handles", "you", ""}}) {
        EXPECT_THROW(parsed<SendVideoMessage>(words), UsageError);
    }
}

TEST(MessageStoreClient, NeedsAStoreOnlyWhenItIsUsed) {
    MessageStoreClient::setStoreFactory(nullptr);
    MessageStoreClient client;
    EXPECT_THROW(wait(client.messageCount()), MessageStoreError);

    int made = 0;
    std::weak_ptr<MessageStore> released;
    MessageStoreClient::setStoreFactory([&] {
        ++made;
        auto store = std::make_shared<RecordingStore>();
        released = store;
        return store;
    });
    {
        MessageStoreClient another;
        EXPECT_EQ(made, 0);
        wait(another.messageCount());
        wait(another.allMessages());
        EXPECT_EQ(made, 1);
        EXPECT_FALSE(released.expired());
    }
    EXPECT_TRUE(released.expired());
    MessageStoreClient::setStoreFactory(nullptr);
}

} // namespace
} // namespace Orvex::Testing
