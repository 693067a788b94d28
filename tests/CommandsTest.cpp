#include "Orvex/Prompts.h"
#include "Orvex/commands/DeleteMessage.h"
#include "Orvex/commands/GetAccountStatus.h"
#include "Orvex/commands/GetAllMessages.h"
#include "Orvex/commands/GetAllVoicemailMessages.h"
#include "Orvex/commands/GetTotalCount.h"
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
using testing::EndsWith;

std::string green(const std::string& text) {
    return "\x1b[0;32m" + text + "\x1b[0;0m";
}

std::string red(const std::string& text) {
    return "\x1b[0;31m" + text + "\x1b[0;0m";
}

const std::string onFire = "the store is on fire\n";
const std::string confirmDeletion = "Are you sure you want to delete these messages (y/n)?\n";
const std::string whichToDelete = "Enter a comma-separated list of messages to delete\n";
const std::string nothingFound = red("No messages found for the given inputs!") + "\n";
const std::string gettingAll = green("Getting all messages") + "\n";

class CommandsTest : public testing::Test {
  protected:
    /// Three messages: a voicemail and a video from ann, a video from bob.
    void fill() {
        store->stored.clear();
        wait(store->saveMessage(newMessage(MessageType::audio, MessageProvider::Telephony, "ann")));
        wait(store->saveMessage(newMessage(MessageType::video, MessageProvider::Zelvo, "ann")));
        wait(store->saveMessage(newMessage(MessageType::video, MessageProvider::Telephony, "bob")));
        store->calls.clear();
    }

    void fill(int count) {
        for (int i = 0; i < count; ++i) {
            wait(store->saveMessage(newMessage()));
        }
        store->calls.clear();
    }

    void failAtCall(int number) { store->failingCall = static_cast<int>(store->calls.size()) + number; }

    /// The stored messages with these indices, as a list shows them.
    [[nodiscard]] std::string listing(const std::vector<std::size_t>& indices, std::size_t number = 1) const {
        std::string text;
        for (const std::size_t index : indices) {
            text += green("\nMessage #" + std::to_string(number++) + ":\n") +
                    store->stored[index].description() + "\n";
        }
        return text;
    }

    std::shared_ptr<RecordingStore> store = useRecordingStore();
};

TEST_F(CommandsTest, GetTotalCount) {
    fill();
    EXPECT_EQ(commandOutput<GetTotalCount>(""), green("Message count: ") + "3\n");
    failAtCall(0);
    EXPECT_EQ(commandOutput<GetTotalCount>(""), red("Error: \n") + onFire);
    failAtCall(0);
    EXPECT_EQ(commandOutput<GetTotalCount>("--no-color"), "Error: \n" + onFire);
}

TEST_F(CommandsTest, TranscriptionEnabled) {
    EXPECT_EQ(commandOutput<TranscriptionEnabled>(""), green("isTranscriptionEnabled: ") + "true\n");
    store->transcriptionEnabled = false;
    EXPECT_EQ(commandOutput<TranscriptionEnabled>("-nc"), "isTranscriptionEnabled: false\n");
    failAtCall(0);
    EXPECT_EQ(commandOutput<TranscriptionEnabled>(""),
              red("isTranscriptionEnabled error the store is on fire") + "\n");
}

TEST_F(CommandsTest, GetAllMessagesMakesTheQueryOfHighestPrecedence) {
    fill();
    const std::string second = store->stored[1].recordUUID.text();
    const std::string byUUIDs = green("Getting messages with recordUUIDs:\n");
    const std::string byHandles = green("Getting messages with handles:\n");
    const std::string byKind = green("Getting messages with providers and types:\n");
    const std::string matching = "messages(matching:limit:offset:) 1 9223372036854775807 0";
    const struct {
        std::string line, heading, call;
        std::vector<std::size_t> found;
    } cases[] = {
        {"", gettingAll, "allMessages", {0, 1, 2}},
        {"-mt 1", gettingAll, "allMessages", {0, 1, 2}},
        {"-p 0 1", gettingAll, "allMessages", {0, 1, 2}},
        {"-rids " + second + " bad",
         byUUIDs + "[\"" + second + "\", \"bad\"]\n",
         "messages(recordUUIDs:) 1",
         {1}},
        {"--recordUUIDs bad --handles ann", byUUIDs + "[\"bad\"]\n", "messages(recordUUIDs:) 0", {}},
        {"-handles ann x\x1b[2J -p 0 -mt 2",
         byHandles + "[\"ann\", \"x\\u{1B}[2J\"]\n",
         "messages(handles:) 2",
         {0, 1}},
        {"--types 2 1 --providers 0 1 -vids 1",
         byKind + "providers: [Telephony, Zelvo] types: [video, audio]\n",
         "messages(providers:types:) 2 2",
         {0, 1, 2}},
        {"-mt 2 -p 0",
         byKind + "providers: [Telephony] types: [video]\n",
         "messages(providers:types:) 1 1",
         {2}},
        // The heading is that of the record UUIDs.
        {"--voicemailID +1 x \t1 2147483648 -mt 1", byUUIDs + "[]\n", matching, {0}},
        {"-vids=-5", byUUIDs + "[]\n", matching, {}},
    };
    for (const auto& [line, heading, call, found] : cases) {
        store->calls.clear();
        EXPECT_EQ(commandOutput<GetAllMessages>(line), heading + listing(found));
        EXPECT_THAT(store->calls, ElementsAre(call));
        failAtCall(0);
        EXPECT_EQ(commandOutput<GetAllMessages>(line), heading + red("Error: ") + onFire);
    }
}

TEST_F(CommandsTest, SaveMessageHasADefaultForEverything) {
    for (const std::string_view line : {"", "-recordUUID x --input-conversation-id="}) {
        store->stored.clear();
        const std::string output = commandOutput<SaveMessage>(line);
        const StoredMessage& saved = store->stored.at(0);
        EXPECT_EQ(output, green("Successfully added the message: \n") + saved.description() + "\n");
        StoredMessage expected{.conversationID = saved.conversationID,
                               .messageFile = FileURL::fromPath("file.mov"),
                               .from = "tester@example.com",
                               .simID = saved.simID};
        expected.recordUUID = saved.recordUUID;
        expected.created = saved.created;
        EXPECT_EQ(saved.description(), expected.description());
        const UUID simID = UUID::parse(saved.simID).value_or(UUID());
        EXPECT_EQ((std::set{saved.recordUUID, saved.conversationID, simID, UUID()}.size()), 4U);
    }
}

TEST_F(CommandsTest, SaveMessageTakesEveryOption) {
    const std::string uuid = "0123ABCD-4567-89EF-FEDC-BA9876543210";
    for (const MessageType type : {MessageType::screened, MessageType::audio, MessageType::video}) {
        store->stored.clear();
        commandOutput<SaveMessage>("-recordUUID " + uuid + " -conversationID " + uuid +
                                   " -file /m -thumb /t -tcpt /x -frm ann -prov 0 -dur 1.5 -mbt 2 -x true "
                                   "-rec bob -rtt true -simID S -mt " +
                                   std::to_string(rawValue(type)));
        const StoredMessage& saved = store->stored.at(0);
        // A video has a thumbnail, any other message a transcript.
        const bool isVideo = type == MessageType::video;
        StoredMessage expected{.conversationID = *UUID::parse(uuid),
                               .messageFile = FileURL::fromPath("/m"),
                               .thumbnail = isVideo ? std::optional(FileURL::fromPath("/t")) : std::nullopt,
                               .type = type,
                               .transcriptURL =
                                   isVideo ? std::nullopt : std::optional(FileURL::fromPath("/x")),
                               .from = "ann",
                               .provider = MessageProvider::Telephony,
                               .duration = Seconds(1.5),
                               .sensitive = true,
                               .recipient = "bob",
                               .isRTT = true,
                               .simID = "S"};
        expected.recordUUID = expected.conversationID;
        expected.voicemailID = saved.voicemailID;
        expected.created = saved.created;
        EXPECT_EQ(saved.description(), expected.description());
    }
}

TEST_F(CommandsTest, SaveMessagePrintsAnError) {
    const std::filesystem::path before = std::filesystem::current_path();
    {
        const TemporaryFolder gone;
        std::filesystem::current_path(gone / "");
    }
    EXPECT_EQ(
        commandOutput<SaveMessage>("-nc"),
        "Error: \ncannot tell where \"file.mov\" is: the current folder is gone; give an absolute path\n");
    std::filesystem::current_path(before);

    failAtCall(0);
    EXPECT_EQ(commandOutput<SaveMessage>(""), red("Error: \n") + onFire);
}

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
        {"\ufeff1,\u00a02,3\u3000\u2003,\u200b4,5\xa0\n", {1, 2, 3}},
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
    const struct {
        std::string_view input;
        bool answer;
        std::size_t questions;
    } cases[] = {
        {"y\n", true, 1},           {"YES\n", true, 1},
        {"True\n", true, 1},        {"1", true, 1},
        {"n\n", false, 1},          {"No\n", false, 1},
        {"FALSE\n", false, 1},      {"0\n", false, 1},
        {" y\nn\n", false, 2},      {"\ny\n", true, 2},
        {"y \nyep\n2\ny", true, 4}, {"y\r\nno\ny\n", true, 1},
        {"y\r\r\nn\n", false, 2},   {"\u00a0y\nN\r\n", false, 2},
    };
    for (const auto& [input, expected, questions] : cases) {
        const InputFrom standardInput(input);
        bool answer = !expected;
        EXPECT_EQ(split(outputOf([&] { answer = askYesNo("Sure?", false); }), "\n"),
                  std::vector<std::string>(questions, "Sure?"));
        EXPECT_EQ(answer, expected) << input;
    }
}

TEST_F(CommandsTest, DeleteMessageDeletesTheMessagesChosen) {
    fill();
    const std::string expected = gettingAll + listing({0, 1, 2}) + whichToDelete + listing({2, 0}) +
                                 confirmDeletion + confirmDeletion + green("Deleted 2 messages!") + "\n";
    EXPECT_EQ(commandOutput<DeleteMessage>("", " 3, x ,,1\n y\nYES\n"), expected);
    EXPECT_THAT(store->calls, ElementsAre("allMessages", "deleteMessages 2"));
    ASSERT_EQ(store->stored.size(), 1U);
    EXPECT_EQ(store->stored[0].from, "ann");
}

TEST_F(CommandsTest, DeleteMessageAsksForNoChoiceWhereOneWasMade) {
    fill();
    const std::string uuid = store->stored[1].recordUUID.text();
    EXPECT_EQ(commandOutput<DeleteMessage>("--recordUUIDs " + uuid + " bad", "n\n"),
              green("Getting messages with recordUUIDs:\n") + "[\"" + uuid + "\", \"bad\"]\n" + listing({1}) +
                  confirmDeletion);
    EXPECT_THAT(store->calls, ElementsAre("messages(recordUUIDs:) 1"));
    const std::string expected = green("Getting messages with handles:\n") + "[\"ann\"]\n" + listing({0, 1}) +
                                 confirmDeletion + green("Deleted 2 messages!") + "\n";
    EXPECT_EQ(commandOutput<DeleteMessage>("-a -handles ann", "yes"), expected);
    ASSERT_EQ(store->stored.size(), 1U);
    EXPECT_EQ(store->stored[0].from, "bob");
}

TEST_F(CommandsTest, DeleteMessageEndsWhereNothingIsFoundOrChosen) {
    EXPECT_EQ(commandOutput<DeleteMessage>("-a"), gettingAll + nothingFound);
    EXPECT_EQ(commandOutput<DeleteMessage>("-p 0"), gettingAll + whichToDelete + nothingFound);
    fill();
    EXPECT_EQ(commandOutput<DeleteMessage>("", "x\n"),
              gettingAll + listing({0, 1, 2}) + whichToDelete + nothingFound);
    EXPECT_THAT(commandOutput<DeleteMessage>("-rids bad"), EndsWith("[\"bad\"]\n" + nothingFound));
    failAtCall(0);
    EXPECT_EQ(commandOutput<DeleteMessage>("-a"), gettingAll + red("Error: ") + onFire + nothingFound);
    EXPECT_EQ(store->stored.size(), 3U);
}

TEST_F(CommandsTest, DeleteMessageSendsBatchesOfAHundredUntilOneFails) {
    const std::pair<int, std::vector<int>> cases[] = {
        {1, {1}}, {99, {99}}, {100, {100}}, {101, {100, 1}}, {250, {100, 100, 50}}};
    for (const auto& [count, batches] : cases) {
        fill(count);
        EXPECT_THAT(commandOutput<DeleteMessage>("-a -nc", "y\n"),
                    EndsWith("Deleted " + std::to_string(count) + " messages!\n"));
        std::vector<std::string> expected = {"allMessages"};
        for (const int batch : batches) {
            expected.push_back("deleteMessages " + std::to_string(batch));
        }
        EXPECT_EQ(store->calls, expected);
        EXPECT_TRUE(store->stored.empty());
    }
    fill(250);
    const UUID hundredAndFirst = store->stored[100].recordUUID;
    failAtCall(2);
    EXPECT_THAT(commandOutput<DeleteMessage>("-a", "y\n"),
                EndsWith(confirmDeletion + red("Error: ") + onFire));
    EXPECT_THAT(store->calls, ElementsAre("allMessages", "deleteMessages 100", "deleteMessages 100"));
    // The first ones of the list are gone.
    ASSERT_EQ(store->stored.size(), 150U);
    EXPECT_EQ(store->stored[0].recordUUID, hundredAndFirst);
}

TEST_F(CommandsTest, UpdateMessageShowsConfirmsAndRereads) {
    fill();
    const StoredMessage before = store->stored[2];
    const std::string uuid = before.recordUUID.text();
    const std::string output =
        commandOutput<UpdateMessage>("-handles bob -callUUID " + uuid + " -conversationID " + uuid +
                                         " -from eve -duration 2 -newProvider 1 -read true -mailbox 2 "
                                         "-recipient r -transcription 3 -rtt true "
                                         "-undelete",
                                     "YES\n");
    const StoredMessage& after = store->stored[2];
    EXPECT_EQ(output,
              green("Getting messages with handles:\n") + "[\"bob\"]\n" + green("\nMessage #1:\n") +
                  before.description() + "\n" + green("MessageUpdate:\n") + "  recordUUID: " + uuid +
                  "\n  callUUID: " + uuid + "\n  conversationID: " + uuid +
                  "\n  from: \"eve\"\n  provider: Zelvo\n  read: true\n  duration: 2 s\n  mailbox: trash\n"
                  "  recipient: \"r\"\n  transcription: inProgress\n  RTT: true\n  undelete: true\n"
                  "Do you want to update the store (y/n)?\n" +
                  green("Message updated successfully!") + "\n" + green("New message:\n") + "[" +
                  after.description() + "]\n");
    EXPECT_THAT(store->calls,
                ElementsAre("messages(handles:) 1", "updateMessage 1", "messages(recordUUIDs:) 1"));
    EXPECT_EQ(after.from, "eve");
    EXPECT_EQ(after.conversationID, before.recordUUID);
    EXPECT_EQ(after.mailbox, Mailbox::inbox);
}

TEST_F(CommandsTest, UpdateMessageTakesTheFirstNumberOrTheFirstMessage) {
    const std::pair<std::string_view, std::size_t> cases[] = {{"\ny\n", 0}, {"x\ny\n", 0}, {"3,9\ny\n", 2}};
    for (const auto& [input, index] : cases) {
        fill();
        EXPECT_THAT(commandOutput<UpdateMessage>("-read true -nc", input),
                    testing::HasSubstr("\nType the message number to update\nMessageUpdate:\n"));
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(store->stored[i].read, i == index) << input << i;
        }
    }
}

TEST_F(CommandsTest, UpdateMessageChangesNothingUnlessConfirmed) {
    fill();
    const std::string uuid = store->stored[0].recordUUID.text();
    EXPECT_THAT(commandOutput<UpdateMessage>("-rid " + uuid + " -handles bob -conversationID bad", "n\n"),
                EndsWith(green("MessageUpdate:\n") + "  recordUUID: " + uuid +
                         "\n  undelete: false\nDo you want to update the store (y/n)?\n"));
    EXPECT_THAT(store->calls, ElementsAre("messages(recordUUIDs:) 1"));
    EXPECT_THAT(commandOutput<UpdateMessage>("-rid bad"), EndsWith("[\"bad\"]\n" + nothingFound));
    EXPECT_THAT(commandOutput<UpdateMessage>("-rid="), EndsWith("[\"\"]\n" + nothingFound));
}

TEST_F(CommandsTest, UpdateMessagePrintsAnErrorOfTheUpdateOrTheRereading) {
    for (const int failing : {1, 2}) {
        fill();
        failAtCall(failing);
        EXPECT_THAT(commandOutput<UpdateMessage>("-handles bob -read true", "y\n"),
                    EndsWith("(y/n)?\n" + red("Error: ") + onFire));
        EXPECT_EQ(store->stored[2].read, failing == 2);
    }
}

TEST_F(CommandsTest, GetAccountStatus) {
    const std::pair<std::int64_t, std::string> cases[] = {
        {0, red("Error: ") + "Quennet indicates that it could not determine the account status. "
                             "Check for a logged error!\n\n"},
        {1, green("Account status: ") + "state 1\n"},
        {4, green("Account status: ") + "state 4\n"},
        {5, "\x1b[0;33mThe message store is still waiting for a response from Quennet. Try again in a few "
            "seconds!\x1b[0;0m\n"},
    };
    for (const auto& [status, output] : cases) {
        store->status = static_cast<AccountStatus>(status);
        EXPECT_EQ(commandOutput<GetAccountStatus>(""), output);
    }
    for (const std::int64_t status : {-1, 6}) {
        store->status = static_cast<AccountStatus>(status);
        EXPECT_EXIT(commandOutput<GetAccountStatus>(""), testing::KilledBySignal(SIGABRT),
                    "^Fatal error: Orvex/commands/GetAccountStatus: unexpected account status " +
                        std::to_string(status) + ", known are 0 to 5\n$");
    }
}

TEST_F(CommandsTest, GetAllVoicemailMessages) {
    fill();
    EXPECT_EQ(commandOutput<GetAllVoicemailMessages>(""), listing({0}));
    EXPECT_THAT(store->calls, ElementsAre("messages(providers:types:) 1 1"));
}

TEST_F(CommandsTest, VoicemailMessagesShowsTranscriptsAndGoesOnAfterBadOnes) {
    const TemporaryFolder folder;
    const VMVoicemailTranscript transcript{.text = "Hi", .confidence = 1};
    writeFile(folder / "good", encodeTranscript(transcript, ArchiveForm::binary));
    writeFile(folder / "nil", encodeTranscript(std::nullopt, ArchiveForm::xml));
    for (const std::string name : {"gone", "", "good", "nil"}) {
        StoredMessage voicemail = newMessage(MessageType::audio, MessageProvider::Telephony);
        if (!name.empty()) {
            voicemail.transcriptURL = FileURL::fromPath((folder / name).native());
        }
        wait(store->saveMessage(voicemail));
    }
    store->calls.clear();
    EXPECT_EQ(commandOutput<VoicemailMessages>("-h someone"),
              listing({0}) + red("Error: ") + "cannot read the transcript \"" + (folder / "gone").native() +
                  "\": it cannot be read: No such file or directory\n" + listing({1, 2}, 2) +
                  green("Transcript: ") +
                  "Optional(VMVoicemailTranscript\n  text: \"Hi\"\n  confidence: 1)\n" + listing({3}, 4) +
                  green("Transcript: ") + "nil\n");
    EXPECT_THAT(store->calls, ElementsAre("voicemailMessages 1 1"));
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
    const std::string line = "--video-url file:///a%20b --sender-handle me --destination-handles you them";
    EXPECT_EQ(commandOutput<SendVideoMessage>(line) + commandOutput<SendVideoMessage>(line), "");
    ASSERT_EQ(service->sent.size(), 2U);
    EXPECT_EQ((std::set{service->sent[0].recordUUID, service->sent[1].recordUUID, UUID()}.size()), 3U);
    EXPECT_EQ(service->sent[0].senderHandle, "me");
    EXPECT_THAT(service->sent[0].destinationHandles, ElementsAre("you", "them"));
    EXPECT_EQ(service->sent[0].provider, MessageProvider::Zelvo);
    EXPECT_EQ(service->sent[0].videoURL.path(), "/a b");

    service->fails = true;
    auto command = parsed<SendVideoMessage>(line);
    EXPECT_THROW(runToCompletion(command.run()), SendingServiceError);
    SendingService::setFactory(nullptr);
    EXPECT_THROW(runToCompletion(command.run()), SendingServiceError);
}

TEST(SendVideoMessage, TakesNoEmptyHandle) {
    const std::string video = "--video-url /v ";
    for (const std::string handles :
         {"--sender-handle= --destination-handles you", "--sender-handle me --destination-handles="}) {
        EXPECT_THROW(parsed<SendVideoMessage>(video + handles), UsageError) << handles;
    }
}

template <class Input>
std::vector<std::int64_t> storeNumbers() {
    std::vector<std::int64_t> numbers;
    for (const Input input : allCases<Input>()) {
        EXPECT_EQ(caseName(input), caseName(storeValue(input)));
        numbers.push_back(rawValue(storeValue(input)));
    }
    return numbers;
}

TEST(InputTypes, BecomeTheStoresValues) {
    using Numbers = std::vector<std::int64_t>;
    EXPECT_EQ(storeNumbers<InputMessageType>(), (Numbers{0, 1, 2}));
    EXPECT_EQ(storeNumbers<InputProviderType>(), (Numbers{1, 2}));
    EXPECT_EQ(storeNumbers<InputMailboxType>(), (Numbers{0, 1, 2}));
    EXPECT_EQ(storeNumbers<InputTranscriptionStatus>(), (Numbers{0, 1, 2, 3, 4}));
}

// The program asks for the others as well.
TEST(MessageUpdate, DescribesWhatAHostMayChange) {
    const MessageUpdate update{.recordUUID = UUID(), .transcriptURL = FileURL::fromPath("/x"), .simID = "S"};
    EXPECT_EQ(update.description(), "  recordUUID: 00000000-0000-0000-0000-000000000000\n"
                                    "  transcript: \"file:///x\"\n  simID: \"S\"\n  undelete: false");
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
