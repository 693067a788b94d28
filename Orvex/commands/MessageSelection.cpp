#include "Orvex/commands/MessageSelection.h"

#include "Foundation/FatalError.h"
#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include "Orvex/TerminalTools.h"
#include <cstdint>
#include <exception>
#include <iterator>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace Orvex {

namespace {

constexpr std::string_view recordUUIDsHeading = "Getting messages with recordUUIDs:\n";

template <class T, class Parse>
std::vector<T> validOnes(std::span<const std::string> texts, Parse parse) {
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

Async<std::vector<StoredMessage>> fetchMessages(MessageStoreClient& client, bool noColor,
                                                MessageFilters filters) {
    try {
        if (!filters.recordUUIDs.empty()) {
            printLine(inGreen(recordUUIDsHeading) + bracketed(filters.recordUUIDs, inQuotes), noColor);
            co_return co_await client.messages(validOnes<UUID>(filters.recordUUIDs, UUID::parse));
        }
        if (!filters.handles.empty()) {
            printLine(inGreen("Getting messages with handles:\n") + bracketed(filters.handles, inQuotes),
                      noColor);
            co_return co_await client.messages(std::move(filters.handles));
        }
        if (!filters.providers.empty() && !filters.types.empty()) {
            printLine(inGreen("Getting messages with providers and types:\n") +
                          "providers: " + bracketed(filters.providers, caseName<InputProviderType>) +
                          " types: " + bracketed(filters.types, caseName<InputMessageType>),
                      noColor);
            co_return co_await client.messages(storeValues<InputProviderType>(filters.providers),
                                               storeValues<InputMessageType>(filters.types));
        }
        if (!filters.voicemailIDs.empty()) {
            // This branch has no heading of its own: it prints the heading for record UUIDs and their empty
            // list.
            printLine(inGreen(recordUUIDsHeading) + bracketed(filters.recordUUIDs, inQuotes), noColor);
            MessageQuery query;
            query.voicemailIDs = validOnes<std::int32_t>(filters.voicemailIDs, parseNumber<std::int32_t>);
            co_return co_await client.messages(std::move(query), std::numeric_limits<std::int64_t>::max(), 0);
        }
        printLine(inGreen("Getting all messages"), noColor);
        co_return co_await client.allMessages();
    } catch (const std::exception& error) {
        printLine(inRed("Error: ") + error.what(), noColor);
    }
    co_return std::vector<StoredMessage>{};
}

void appendMessage(std::string& out, const StoredMessage& message, std::size_t number) {
    appendInGreen(out, {"\nMessage #", std::to_string(number), ":\n"});
    message.appendDescription(out);
}

void listMessages(std::span<const StoredMessage> messages, bool noColor) {
    // `printLine` strips escapes from a limited prefix of its text, so that each message needs a call of its
    // own. Otherwise, fewer and larger writes are faster.
    const std::size_t enough = noColor ? 1 : std::size_t{1} << 16U;
    std::string text;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        appendMessage(text, messages[i], i + 1);
        if (text.size() >= enough || i + 1 == messages.size()) {
            printLine(text, noColor);
            text.clear();
        } else {
            text += '\n';
        }
    }
}

const StoredMessage& messageNumbered(std::span<const StoredMessage> messages, std::int64_t number) {
    if (number < 1 || number > std::ssize(messages)) {
        fatalError("Orvex/commands/MessageSelection", "index out of range: message number " +
                                                          std::to_string(number) + " of " +
                                                          std::to_string(messages.size()));
    }
    return messages[static_cast<std::size_t>(number - 1)];
}

} // namespace Orvex
