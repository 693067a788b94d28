#include "Orvex/commands/MessageSelection.h"

#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include "Orvex/TerminalTools.h"
#include <cstdint>
#include <exception>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace Orvex {

namespace {

constexpr std::string_view recordUUIDsHeading = "Getting messages with recordUUIDs:\n";

template <CaseIterable E>
std::string caseNameList(std::span<const E> values) {
    std::string list = "[";
    for (const E value : values) {
        if (list.size() > 1) {
            list += ", ";
        }
        list += caseName(value);
    }
    return list + "]";
}

template <class T, class Parse>
std::vector<T> parsedOnes(std::span<const std::string> texts, Parse parse) {
    std::vector<T> values;
    for (const std::string& text : texts) {
        if (const std::optional<T> value = parse(text)) {
            values.push_back(*value);
        }
    }
    return values;
}

template <class Input>
auto storeValues(std::span<const Input> inputs) {
    std::vector<decltype(storeValue(Input{}))> values;
    for (const Input input : inputs) {
        values.push_back(storeValue(input));
    }
    return values;
}

} // namespace

Async<std::vector<StoredMessage>>
fetchMessages(MessageStoreClient& client, bool noColor, std::vector<std::string> handles,
              std::vector<InputProviderType> providers, std::vector<InputMessageType> types,
              std::vector<std::string> recordUUIDStrings, std::vector<std::string> voicemailIDStrings) {
    try {
        if (!recordUUIDStrings.empty()) {
            printLine(inGreen(recordUUIDsHeading) + quotedList(recordUUIDStrings), noColor);
            co_return co_await client.messages(parsedOnes<UUID>(recordUUIDStrings, UUID::parse));
        }
        if (!handles.empty()) {
            printLine(inGreen("Getting messages with handles:\n") + quotedList(handles), noColor);
            co_return co_await client.messages(std::move(handles));
        }
        if (!providers.empty() && !types.empty()) {
            printLine(inGreen("Getting messages with providers and types:\n") +
                          "providers: " + caseNameList<InputProviderType>(providers) +
                          " types: " + caseNameList<InputMessageType>(types),
                      noColor);
            co_return co_await client.messages(storeValues<InputProviderType>(providers),
                                               storeValues<InputMessageType>(types));
        }
        if (!voicemailIDStrings.empty()) {
            // The heading and the list of the record UUIDs, none of which are given here.
            printLine(inGreen(recordUUIDsHeading) + quotedList(recordUUIDStrings), noColor);
            MessageQuery query;
            query.voicemailIDs = parsedOnes<std::int32_t>(voicemailIDStrings, parseNumber<std::int32_t>);
            co_return co_await client.messages(std::move(query), std::numeric_limits<std::int64_t>::max(), 0);
        }
        printLine(inGreen("Getting all messages"), noColor);
        co_return co_await client.allMessages();
    } catch (const std::exception& error) {
        printLine(inRed("Error: ") + error.what(), noColor);
    }
    co_return std::vector<StoredMessage>{};
}

void listMessages(std::span<const StoredMessage> messages, bool noColor) {
    std::size_t number = 0;
    for (const StoredMessage& message : messages) {
        ++number;
        printLine(inGreen("\nMessage #" + std::to_string(number) + ":\n") + message.description(), noColor);
    }
}

} // namespace Orvex
