#include "Orvex/model/InputTypes.h"
#include "Orvex/model/MessageUpdate.h"
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

TEST(MessageUpdate, DescribesWhatItChanges) {
    const MessageUpdate update{.recordUUID = UUID({0xAB, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}),
                               .callUUID = UUID(),
                               .conversationID = UUID(),
                               .from = "",
                               .provider = MessageProvider::Zelvo,
                               .read = false,
                               .duration = Seconds(2),
                               .mailbox = Mailbox::junk,
                               .recipient = "bob",
                               .transcription = TranscriptionStatus::pending,
                               .isRTT = true,
                               .transcriptURL = FileURL::fromPath("/x"),
                               .simID = "S",
                               .undelete = true};
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
