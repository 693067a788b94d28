#include "Orvex/commands/MessageSelection.h"

#include "Foundation/CharacterSets.h"
#include "Foundation/FatalError.h"
#include "Foundation/LetterCase.h"
#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include "Foundation/UTF8.h"
#include "Orvex/TerminalTools.h"
#include <algorithm>
#include <array>
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

/// Without the white space around it, and without the byte order marks that some programs put before a text.
std::string_view trimmed(std::string_view text) {
    constexpr char32_t byteOrderMark = 0xFEFF;
    std::size_t begin = text.size();
    std::size_t end = begin;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const std::optional<char32_t> c = nextCharacter(text, position);
        if (!c || (!isWhiteSpace(*c) && c != byteOrderMark)) {
            begin = std::min(begin, start);
            end = position;
        }
    }
    return text.substr(begin, end - begin);
}

} // namespace

Async<std::vector<StoredMessage>>
fetchMessages(MessageStoreClient& client, bool noColor, std::vector<std::string> handles,
              std::vector<InputProviderType> providers, std::vector<InputMessageType> types,
              std::vector<std::string> recordUUIDStrings, std::vector<std::string> voicemailIDStrings) {
    try {
        if (!recordUUIDStrings.empty()) {
            printLine(inGreen(recordUUIDsHeading) + bracketed(recordUUIDStrings, inQuotes), noColor);
            co_return co_await client.messages(parsedOnes<UUID>(recordUUIDStrings, UUID::parse));
        }
        if (!handles.empty()) {
            printLine(inGreen("Getting messages with handles:\n") + bracketed(handles, inQuotes), noColor);
            co_return co_await client.messages(std::move(handles));
        }
        if (!providers.empty() && !types.empty()) {
            printLine(inGreen("Getting messages with providers and types:\n") +
                          "providers: " + bracketed(providers, caseName<InputProviderType>) +
                          " types: " + bracketed(types, caseName<InputMessageType>),
                      noColor);
            co_return co_await client.messages(storeValues<InputProviderType>(providers),
                                               storeValues<InputMessageType>(types));
        }
        if (!voicemailIDStrings.empty()) {
            // The heading and the list of the record UUIDs, none of which are given here.
            printLine(inGreen(recordUUIDsHeading) + bracketed(recordUUIDStrings, inQuotes), noColor);
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

void appendMessage(std::string& out, const StoredMessage& message, std::size_t number) {
    appendInGreen(out, {"\nMessage #", std::to_string(number), ":\n"});
    message.appendDescription(out);
}

void listMessages(std::span<const StoredMessage> messages, bool noColor) {
    // Escapes are stripped from one message at a time; otherwise many are printed at once.
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

std::vector<std::int64_t> numbersIn(std::string_view line) {
    std::vector<std::int64_t> numbers;
    for (std::size_t start = 0; start <= line.size();) {
        const std::size_t end = std::min(line.find(',', start), line.size());
        if (const auto number = parseNumber<std::int64_t>(trimmed(line.substr(start, end - start)))) {
            numbers.push_back(*number);
        }
        start = end + 1;
    }
    return numbers;
}

std::vector<std::int64_t> askForNumbers(std::string_view prompt, bool noColor) {
    printLine(prompt, noColor);
    return numbersIn(readLine().value_or(""));
}

const StoredMessage& messageNumbered(std::span<const StoredMessage> messages, std::int64_t number) {
    if (number < 1 || number > std::ssize(messages)) {
        fatalError("Orvex/commands/MessageSelection", "index out of range: message number " +
                                                          std::to_string(number) + " of " +
                                                          std::to_string(messages.size()));
    }
    return messages[static_cast<std::size_t>(number - 1)];
}

bool askYesNo(std::string_view prompt, bool noColor) {
    constexpr std::array<std::string_view, 4> noes = {"false", "no", "0", "n"};
    constexpr std::array<std::string_view, 4> yeses = {"true", "yes", "1", "y"};
    while (true) {
        printLine(prompt, noColor);
        const std::optional<std::string> line = readLine();
        if (!line) {
            continue;
        }
        const std::string answer = lowerCased(*line);
        if (std::find(noes.begin(), noes.end(), answer) != noes.end()) {
            return false;
        }
        if (std::find(yeses.begin(), yeses.end(), answer) != yeses.end()) {
            return true;
        }
    }
}

} // namespace Orvex
