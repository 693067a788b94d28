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

// The program asks for the others as well.
TEST(MessageUpdate, DescribesWhatAHostMayChange) {
    const MessageUpdate update{.recordUUID = UUID(), .transcriptURL = FileURL::fromPath("/x"), .simID = "S"};
    EXPECT_EQ(update.description(), "  recordUUID: 00000000-0000-0000-0000-000000000000\n"
                                    "  transcript: \"file:///x\"\n  simID: \"S\"\n  undelete: false");
}

} // namespace
} // namespace Orvex
