#include "Support.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include "examples/own-host/MemoryStore.h"
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace Orvex::Testing {
namespace {

using testing::IsEmpty;

struct StoreKind {
    const char* name;
    std::shared_ptr<MessageStore> (*make)(const TemporaryFolder& folder);
};

/// What every message store must do.
class MessageStoreContract : public testing::TestWithParam<StoreKind> {
  protected:
    StoredMessage save(MessageType type = MessageType::video,
                       MessageProvider provider = MessageProvider::Zelvo,
                       std::string_view from = "ann@example.com") {
        return wait(store->saveMessage(newMessage(type, provider, from)));
    }

    StoredMessage reread(const StoredMessage& message) {
        const auto found = wait(store->messages(std::vector{message.recordUUID}));
        EXPECT_EQ(found.size(), 1U);
        return found.at(0);
    }

    static std::vector<std::string> descriptions(const std::vector<StoredMessage>& messages) {
        std::vector<std::string> texts;
        for (const StoredMessage& message : messages) {
            texts.push_back(message.description());
        }
        return texts;
    }

    void expectThese(const std::vector<StoredMessage>& found, const std::vector<StoredMessage>& expected) {
        EXPECT_EQ(descriptions(found), descriptions(expected));
    }

    TemporaryFolder folder;
    std::shared_ptr<MessageStore> store = GetParam().make(folder);
};

TEST_P(MessageStoreContract, AnEmptyStoreHasNothing) {
    EXPECT_EQ(wait(store->messageCount()), 0);
    EXPECT_TRUE(wait(store->isTranscriptionEnabled()));
    EXPECT_EQ(wait(store->accountStatus()), AccountStatus::noAccount);
    EXPECT_THAT(wait(store->allMessages()), IsEmpty());
    EXPECT_THAT(wait(store->messages(std::vector{UUID::random()})), IsEmpty());
    wait(store->deleteMessages({UUID::random()}));
}

TEST_P(MessageStoreContract, KeepsEveryValueOfASavedMessage) {
    StoredMessage message =
        newMessage(MessageType::audio, MessageProvider::Telephony, std::string("+1 \"\0\xff", 6));
    message.thumbnail = FileURL::fromPath("/thumb nail");
    message.transcriptURL = FileURL::fromPath("/transcript");
    message.duration = Seconds(0.1);
    message.sensitive = true;
    message.recipient = "";
    message.isRTT = true;
    message.simID = "";
    message.quality = MessageQuality::high;
    // What the store decides is not taken from the caller.
    message.voicemailID = 99;
    message.callUUID = UUID::random();
    message.mailbox = Mailbox::trash;
    message.read = true;
    message.transcription = TranscriptionStatus::pending;
    message.created = Timestamp();

    const auto before = currentTime();
    const StoredMessage saved = wait(store->saveMessage(message));
    ASSERT_TRUE(saved.created);
    EXPECT_GE(*saved.created, before);
    EXPECT_LE(*saved.created, std::chrono::system_clock::now());

    message.voicemailID = 1;
    message.callUUID.reset();
    message.mailbox = Mailbox::inbox;
    message.read = false;
    message.transcription = TranscriptionStatus::notAvailable;
    message.created = saved.created;
    EXPECT_EQ(saved.description(), message.description());
    EXPECT_EQ(reread(saved).description(), message.description());
}

TEST_P(MessageStoreContract, RefusesASecondMessageWithTheSameUUID) {
    const StoredMessage first = save();
    StoredMessage second = newMessage(MessageType::audio);
    second.recordUUID = first.recordUUID;
    EXPECT_THROW(wait(store->saveMessage(second)), MessageStoreError);
    expectThese(wait(store->allMessages()), {first});
}

TEST_P(MessageStoreContract, ListsInTheOrderOfSavingEachMessageOnce) {
    std::vector<StoredMessage> saved;
    for (int i = 0; i < 12; ++i) {
        saved.push_back(save(i % 2 == 0 ? MessageType::audio : MessageType::video,
                             i % 3 == 0 ? MessageProvider::Telephony : MessageProvider::Zelvo,
                             i % 4 == 0 ? "Ann" : "ann"));
    }
    expectThese(wait(store->allMessages()), saved);
    EXPECT_EQ(wait(store->messageCount()), 12);
    expectThese(wait(store->messages(std::vector{saved[5].recordUUID, UUID::random(), saved[0].recordUUID,
                                                 saved[5].recordUUID})),
                {saved[0], saved[5]});
    expectThese(wait(store->messages(std::vector<std::string>{"Ann", "ANN", "Ann"})),
                {saved[0], saved[4], saved[8]});
    expectThese(
        wait(store->messages({MessageProvider::Zelvo, MessageProvider::Telephony, MessageProvider::Zelvo},
                             {MessageType::video, MessageType::screened})),
        {saved[1], saved[3], saved[5], saved[7], saved[9], saved[11]});
    expectThese(wait(store->messages({MessageProvider::Telephony}, {MessageType::audio})),
                {saved[0], saved[6]});
    expectThese(wait(store->voicemailMessages(MessageProvider::Telephony, MessageType::audio)),
                {saved[0], saved[6]});
    EXPECT_THAT(wait(store->voicemailMessages(MessageProvider::Zelvo, MessageType::audio)), IsEmpty());
}

TEST_P(MessageStoreContract, AnEmptyListSelectsNothing) {
    const StoredMessage saved = save(MessageType::audio, MessageProvider::Telephony);
    EXPECT_THAT(wait(store->messages(std::vector<UUID>())), IsEmpty());
    EXPECT_THAT(wait(store->messages(std::vector<std::string>())), IsEmpty());
    EXPECT_THAT(wait(store->messages({}, {MessageType::audio})), IsEmpty());
    EXPECT_THAT(wait(store->messages({MessageProvider::Telephony}, {})), IsEmpty());
    EXPECT_THAT(wait(store->messages(MessageQuery{}, 10, 0)), IsEmpty());
    wait(store->updateMessage({}));
    wait(store->deleteMessages({}));
    expectThese(wait(store->allMessages()), {saved});
}

TEST_P(MessageStoreContract, GivesVoicemailIdentifiersOnce) {
    const auto saveVoicemail = [&] { return save(MessageType::audio, MessageProvider::Telephony); };
    EXPECT_EQ(saveVoicemail().voicemailID, 1);
    EXPECT_EQ(save(MessageType::audio, MessageProvider::Zelvo).voicemailID, std::nullopt);
    EXPECT_EQ(save(MessageType::video, MessageProvider::Telephony).voicemailID, std::nullopt);
    const StoredMessage second = saveVoicemail();
    EXPECT_EQ(second.voicemailID, 2);
    wait(store->deleteMessages({second.recordUUID}));
    EXPECT_EQ(saveVoicemail().voicemailID, 3);
}

TEST_P(MessageStoreContract, FindsVoicemailsByIdentifierWithinLimits) {
    std::vector<StoredMessage> saved;
    for (int i = 0; i < 4; ++i) {
        saved.push_back(save(MessageType::audio, MessageProvider::Telephony));
    }
    constexpr auto all = std::numeric_limits<std::int64_t>::max();
    const auto find = [&](std::int64_t limit, std::int64_t offset) {
        MessageQuery query;
        query.voicemailIDs = {4, 2, -1, 1, 2};
        return wait(store->messages(query, limit, offset));
    };
    expectThese(find(all, 0), {saved[0], saved[1], saved[3]});
    expectThese(find(1, 1), {saved[1]});
    expectThese(find(2, 2), {saved[3]});
    EXPECT_THAT(find(0, 0), IsEmpty());
    EXPECT_THAT(find(all, 3), IsEmpty());
    EXPECT_THAT(find(all, all), IsEmpty());
}

struct Change {
    const char* name;
    std::function<void(MessageUpdate&)> request;
    std::function<void(StoredMessage&)> effect;
};

std::vector<Change> everyChange() {
    static const UUID uuid = UUID::random();
    return {
        {"callUUID", [](auto& update) { update.callUUID = uuid; },
         [](auto& message) { message.callUUID = uuid; }},
        {"conversationID", [](auto& update) { update.conversationID = uuid; },
         [](auto& message) { message.conversationID = uuid; }},
        {"from", [](auto& update) { update.from = "bob"; }, [](auto& message) { message.from = "bob"; }},
        {"provider", [](auto& update) { update.provider = MessageProvider::Zelvo; },
         [](auto& message) {
             message.provider = MessageProvider::Zelvo;
             message.voicemailID.reset();
         }},
        {"read", [](auto& update) { update.read = true; }, [](auto& message) { message.read = true; }},
        {"duration", [](auto& update) { update.duration = Seconds(2.5); },
         [](auto& message) { message.duration = Seconds(2.5); }},
        {"mailbox", [](auto& update) { update.mailbox = Mailbox::junk; },
         [](auto& message) { message.mailbox = Mailbox::junk; }},
        {"recipient", [](auto& update) { update.recipient = ""; },
         [](auto& message) { message.recipient = ""; }},
        {"transcription",
         [](auto& update) { update.transcription = TranscriptionStatus::transcriptionAvailable; },
         [](auto& message) { message.transcription = TranscriptionStatus::transcriptionAvailable; }},
        {"isRTT", [](auto& update) { update.isRTT = true; }, [](auto& message) { message.isRTT = true; }},
        {"transcriptURL", [](auto& update) { update.transcriptURL = FileURL::fromPath("/t"); },
         [](auto& message) { message.transcriptURL = FileURL::fromPath("/t"); }},
        {"simID", [](auto& update) { update.simID = "other"; },
         [](auto& message) { message.simID = "other"; }},
        {"undelete outside the trash", [](auto& update) { update.undelete = true; }, [](auto&) {}},
    };
}

TEST_P(MessageStoreContract, UpdatesTheGivenFieldsAlone) {
    const StoredMessage bystander = save();
    for (const Change& change : everyChange()) {
        StoredMessage message = save(MessageType::audio, MessageProvider::Telephony);
        MessageUpdate update{.recordUUID = message.recordUUID};
        change.request(update);
        wait(store->updateMessage({update}));
        change.effect(message);
        EXPECT_EQ(reread(message).description(), message.description()) << change.name;
    }
    EXPECT_EQ(reread(bystander).description(), bystander.description());
}

TEST_P(MessageStoreContract, UpdatesAllFieldsAtOnceAndNone) {
    StoredMessage message = save(MessageType::audio, MessageProvider::Telephony);
    MessageUpdate update{.recordUUID = message.recordUUID};
    wait(store->updateMessage({update}));
    EXPECT_EQ(reread(message).description(), message.description());
    for (const Change& change : everyChange()) {
        change.request(update);
        change.effect(message);
    }
    wait(store->updateMessage({update}));
    EXPECT_EQ(reread(message).description(), message.description());
}

TEST_P(MessageStoreContract, UndeletesFromTheTrashToTheInbox) {
    const StoredMessage message = save();
    const auto update = [&](std::optional<Mailbox> mailbox, bool undelete) {
        wait(store->updateMessage(
            {{.recordUUID = message.recordUUID, .mailbox = mailbox, .undelete = undelete}}));
        return reread(message).mailbox;
    };
    EXPECT_EQ(update(Mailbox::trash, false), Mailbox::trash);
    EXPECT_EQ(update(std::nullopt, true), Mailbox::inbox);
    EXPECT_EQ(update(Mailbox::trash, true), Mailbox::inbox);
    EXPECT_EQ(update(Mailbox::junk, true), Mailbox::junk);
    EXPECT_EQ(update(std::nullopt, true), Mailbox::junk);
}

TEST_P(MessageStoreContract, AMessageThatBecomesAVoicemailGetsAnIdentifier) {
    const auto setProvider = [&](const StoredMessage& message, MessageProvider provider) {
        wait(store->updateMessage({{.recordUUID = message.recordUUID, .provider = provider}}));
        return reread(message).voicemailID;
    };
    const StoredMessage audio = save(MessageType::audio, MessageProvider::Zelvo);
    const StoredMessage video = save(MessageType::video, MessageProvider::Zelvo);
    EXPECT_EQ(setProvider(audio, MessageProvider::Telephony), 1);
    EXPECT_EQ(setProvider(audio, MessageProvider::Telephony), 1);
    EXPECT_EQ(setProvider(video, MessageProvider::Telephony), std::nullopt);
    EXPECT_EQ(setProvider(audio, MessageProvider::Zelvo), std::nullopt);
    EXPECT_EQ(setProvider(audio, MessageProvider::Telephony), 2);
}

TEST_P(MessageStoreContract, AppliesAllUpdatesOrNone) {
    const StoredMessage message = save();
    const std::vector<MessageUpdate> updates = {{.recordUUID = message.recordUUID, .read = true},
                                                {.recordUUID = UUID::random(), .read = true}};
    EXPECT_THROW(wait(store->updateMessage(updates)), MessageStoreError);
    EXPECT_FALSE(reread(message).read);
}

TEST_P(MessageStoreContract, DeletesTheMessagesNamed) {
    const StoredMessage first = save();
    const StoredMessage second = save();
    const StoredMessage third = save();
    wait(store->deleteMessages({third.recordUUID, UUID::random(), first.recordUUID, first.recordUUID}));
    expectThese(wait(store->allMessages()), {second});
    const StoredMessage fourth = save();
    expectThese(wait(store->allMessages()), {second, fourth});
}

INSTANTIATE_TEST_SUITE_P(
    Stores, MessageStoreContract,
    testing::Values(StoreKind{"Memory",
                              [](const TemporaryFolder&) -> std::shared_ptr<MessageStore> {
                                  return std::make_shared<MyTool::MemoryStore>();
                              }},
                    StoreKind{"SQLite",
                              [](const TemporaryFolder& folder) -> std::shared_ptr<MessageStore> {
                                  return std::make_shared<SQLiteMessageStore>(folder / "new/messages.db");
                              }}),
    [](const auto& kind) { return std::string(kind.param.name); });

} // namespace
} // namespace Orvex::Testing
