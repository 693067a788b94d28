#pragma once

#include "Foundation/Async.h"
#include "Foundation/QuotedText.h"
#include "Foundation/Time.h"
#include "Orvex/store/MessageStore.h"
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Tests that every message store has to pass. One source of a test program includes this header and names
/// the stores:
///
///     using namespace Orvex::StoreContract;
///     INSTANTIATE_TEST_SUITE_P(Stores, MessageStoreContract, testing::Values(StoreKind{
///         "Mine", [] { return std::make_shared<MyStore>(); }}));
///
/// `orvex_test_message_store` of the CMake package writes that source. The program needs GoogleTest.
namespace Orvex::StoreContract {

/// Makes an empty store for each test.
struct StoreKind {
    std::string name;
    std::function<std::shared_ptr<MessageStore>()> make;

    friend void PrintTo(const StoreKind& kind, std::ostream* out) { *out << kind.name; }
};

class MessageStoreContract : public testing::TestWithParam<StoreKind> {
  protected:
    template <class T>
    static T wait(Async<T> work) {
        std::optional<T> result;
        runToCompletion(keepResult(std::move(work), result));
        return *std::move(result);
    }
    static void wait(Async<void> work) { runToCompletion(std::move(work)); }

    static StoredMessage newMessage(MessageType type = MessageType::video,
                                    MessageProvider provider = MessageProvider::Zelvo,
                                    std::string_view from = "ann@example.com") {
        return StoredMessage{.conversationID = UUID::random(),
                             .messageFile = FileURL::fromPath("/media/file.mov"),
                             .type = type,
                             .from = std::string(from),
                             .provider = provider,
                             .simID = "SIM",
                             .recordUUID = UUID::random()};
    }

    StoredMessage save(MessageType type = MessageType::video,
                       MessageProvider provider = MessageProvider::Zelvo,
                       std::string_view from = "ann@example.com") {
        return wait(store->saveMessage(newMessage(type, provider, from)));
    }
    StoredMessage saveVoicemail() { return save(MessageType::audio, MessageProvider::Telephony); }

    StoredMessage reread(const StoredMessage& message) {
        const auto found = wait(store->messages(std::vector{message.recordUUID}));
        EXPECT_EQ(found.size(), 1U);
        return found.at(0);
    }

    static void expectThese(const std::vector<StoredMessage>& found,
                            const std::vector<StoredMessage>& expected) {
        EXPECT_EQ(bracketed(found, &StoredMessage::description),
                  bracketed(expected, &StoredMessage::description));
    }

    std::shared_ptr<MessageStore> store = GetParam().make();

  private:
    template <class T>
    static Async<void> keepResult(Async<T> work, std::optional<T>& result) {
        result = co_await std::move(work);
    }
};

TEST_P(MessageStoreContract, AnEmptyStoreHasNothing) {
    EXPECT_EQ(wait(store->messageCount()), 0);
    EXPECT_TRUE(wait(store->isTranscriptionEnabled()));
    expectThese(wait(store->allMessages()), {});
    expectThese(wait(store->messages(std::vector{UUID::random()})), {});
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
    // The store decides these fields itself.
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
    expectThese(wait(store->voicemailMessages(MessageProvider::Zelvo, MessageType::audio)), {});
}

TEST_P(MessageStoreContract, AnEmptyListSelectsNothing) {
    const StoredMessage saved = saveVoicemail();
    expectThese(wait(store->messages(std::vector<UUID>())), {});
    expectThese(wait(store->messages(std::vector<std::string>())), {});
    expectThese(wait(store->messages({}, {MessageType::audio})), {});
    expectThese(wait(store->messages({MessageProvider::Telephony}, {})), {});
    expectThese(wait(store->messages(MessageQuery{}, 10, 0)), {});
    wait(store->updateMessage({}));
    wait(store->deleteMessages({}));
    expectThese(wait(store->allMessages()), {saved});
}

TEST_P(MessageStoreContract, GivesVoicemailIdentifiersOnce) {
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
        saved.push_back(saveVoicemail());
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
    expectThese(find(0, 0), {});
    expectThese(find(all, 3), {});
    expectThese(find(all, all), {});
}

/// Fills in an update and applies what the store should do to the expected message.
using Change = std::function<void(MessageUpdate&, StoredMessage&)>;

/// Changes a field that both have.
template <auto updated, auto stored, class Value>
Change changing(Value value) {
    return [value](MessageUpdate& update, StoredMessage& message) {
        update.*updated = value;
        message.*stored = value;
    };
}

inline std::vector<Change> everyChange() {
    using Update = MessageUpdate;
    using Message = StoredMessage;
    const UUID uuid = UUID::random();
    const FileURL url = FileURL::fromPath("/t");
    return {
        changing<&Update::callUUID, &Message::callUUID>(uuid),
        changing<&Update::conversationID, &Message::conversationID>(uuid),
        changing<&Update::from, &Message::from>("bob"),
        [](Update& update, Message& message) {
            update.provider = message.provider = MessageProvider::Zelvo;
            message.voicemailID.reset();
        },
        changing<&Update::read, &Message::read>(true),
        changing<&Update::duration, &Message::duration>(Seconds(2.5)),
        changing<&Update::mailbox, &Message::mailbox>(Mailbox::junk),
        changing<&Update::recipient, &Message::recipient>(""),
        changing<&Update::transcription, &Message::transcription>(TranscriptionStatus::pending),
        changing<&Update::isRTT, &Message::isRTT>(true),
        changing<&Update::transcriptURL, &Message::transcriptURL>(url),
        changing<&Update::simID, &Message::simID>("other"),
        // Changes nothing outside of the trash.
        [](Update& update, Message&) { update.undelete = true; },
    };
}

TEST_P(MessageStoreContract, UpdatesTheGivenFieldsAlone) {
    const StoredMessage bystander = save();
    std::vector<Change> changes = everyChange();
    changes.emplace_back([](auto&, auto&) {});
    changes.emplace_back([](MessageUpdate& update, StoredMessage& message) {
        for (const Change& change : everyChange()) {
            change(update, message);
        }
    });
    for (const Change& change : changes) {
        StoredMessage message = saveVoicemail();
        MessageUpdate update{.recordUUID = message.recordUUID};
        change(update, message);
        wait(store->updateMessage({update}));
        EXPECT_EQ(reread(message).description(), message.description());
    }
    EXPECT_EQ(reread(bystander).description(), bystander.description());
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
    const StoredMessage saved[] = {save(), save(), save()};
    wait(store->deleteMessages(
        {saved[2].recordUUID, UUID::random(), saved[0].recordUUID, saved[0].recordUUID}));
    const StoredMessage later = save();
    expectThese(wait(store->allMessages()), {saved[1], later});
}

} // namespace Orvex::StoreContract
