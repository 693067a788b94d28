#include "Orvex/model/InputTypes.h"
#include "Orvex/model/MessageUpdate.h"
#include "Orvex/model/StoredMessage.h"
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

namespace Orvex {
namespace {

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

constexpr UUID::Bytes someBytes = {0xAB, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

TEST(StoredMessage, DescribesItself) {
    StoredMessage message{.conversationID = UUID(),
                          .messageFile = FileURL::fromPath("/m.mov"),
                          .type = MessageType::audio,
                          .from = "ann",
                          .simID = "S"};
    EXPECT_EQ(message.description(), R"(  recordUUID: 00000000-0000-0000-0000-000000000000
  conversationID: 00000000-0000-0000-0000-000000000000
  type: audio
  provider: Zelvo
  mailbox: inbox
  from: "ann"
  duration: 0 s
  read: false
  sensitive: false
  RTT: false
  transcription: notAvailable
  messageFile: "file:///m.mov"
  simID: "S"
  quality: standard)");

    message.recordUUID = UUID(someBytes);
    message.voicemailID = 7;
    message.callUUID = UUID(someBytes);
    message.provider = MessageProvider::Telephony;
    message.mailbox = Mailbox::trash;
    message.recipient = "bob\n";
    message.created = Timestamp(std::chrono::milliseconds(1500));
    message.duration = Seconds(1.5);
    message.read = message.sensitive = message.isRTT = true;
    message.transcription = TranscriptionStatus::inProgress;
    message.thumbnail = FileURL::fromPath("/t");
    message.transcriptURL = FileURL::fromPath("/x");
    message.quality = MessageQuality::high;
    EXPECT_EQ(message.description(), R"(  recordUUID: AB010203-0405-0607-0809-0A0B0C0D0E0F
  voicemailID: 7
  conversationID: 00000000-0000-0000-0000-000000000000
  callUUID: AB010203-0405-0607-0809-0A0B0C0D0E0F
  type: audio
  provider: Telephony
  mailbox: trash
  from: "ann"
  recipient: "bob\n"
  created: 1970-01-01T00:00:01.500Z
  duration: 1.5 s
  read: true
  sensitive: true
  RTT: true
  transcription: inProgress
  messageFile: "file:///m.mov"
  thumbnail: "file:///t"
  transcript: "file:///x"
  simID: "S"
  quality: high)");
}

TEST(MessageUpdate, DescribesWhatItChanges) {
    MessageUpdate update{.recordUUID = UUID(someBytes)};
    EXPECT_EQ(update.description(), "  recordUUID: AB010203-0405-0607-0809-0A0B0C0D0E0F\n  undelete: false");

    update.callUUID = UUID();
    update.conversationID = UUID();
    update.from = "";
    update.provider = MessageProvider::Zelvo;
    update.read = false;
    update.duration = Seconds(2);
    update.mailbox = Mailbox::junk;
    update.recipient = "bob";
    update.transcription = TranscriptionStatus::pending;
    update.isRTT = true;
    update.transcriptURL = FileURL::fromPath("/x");
    update.simID = "S";
    update.undelete = true;
    EXPECT_EQ(update.description(), R"(  recordUUID: AB010203-0405-0607-0809-0A0B0C0D0E0F
  callUUID: 00000000-0000-0000-0000-000000000000
  conversationID: 00000000-0000-0000-0000-000000000000
  from: ""
  provider: Zelvo
  read: false
  duration: 2 s
  mailbox: junk
  recipient: "bob"
  transcription: pending
  RTT: true
  transcript: "file:///x"
  simID: "S"
  undelete: true)");
}

} // namespace
} // namespace Orvex
