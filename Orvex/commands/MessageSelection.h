#pragma once

#include "Foundation/Async.h"
#include "Orvex/model/InputTypes.h"
#include "Orvex/model/StoredMessage.h"
#include "Orvex/store/MessageStoreClient.h"
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// Announces and makes one query, chosen by the first of these that is given: record UUIDs, handles,
/// providers together with types, voicemail identifiers; else all messages. Texts that are no UUID or no
/// identifier are skipped. An error of the store is printed, and the result is empty. `client` must outlive
/// the query.
Async<std::vector<StoredMessage>>
fetchMessages(MessageStoreClient& client, bool noColor, std::vector<std::string> handles,
              std::vector<InputProviderType> providers, std::vector<InputMessageType> types,
              std::vector<std::string> recordUUIDStrings, std::vector<std::string> voicemailIDStrings);

/// Adds the text of a message under its number.
void appendMessage(std::string& out, const StoredMessage& message, std::size_t number);

/// Prints each message under its number, counted from 1.
void listMessages(std::span<const StoredMessage> messages, bool noColor);

/// The numbers in a line, separated by commas, in their order. Unicode's white space and U+FEFF around a
/// number do not matter. Anything else is skipped.
[[nodiscard]] std::vector<std::int64_t> numbersIn(std::string_view line);

/// Asks for numbers, and returns those in the line typed; at the end of input there are none.
[[nodiscard]] std::vector<std::int64_t> askForNumbers(std::string_view prompt, bool noColor);

/// The message with this number in the list as it was printed. There is no number outside the list that could
/// be meant: it ends the process by `fatalError`.
[[nodiscard]] const StoredMessage& messageNumbered(std::span<const StoredMessage> messages,
                                                   std::int64_t number);

/// Asks until the answer, in any letter case, is true, yes, 1 or y, or else false, no, 0 or n. At the end of
/// input it asks again, without end: only an answer decides.
[[nodiscard]] bool askYesNo(std::string_view prompt, bool noColor);

} // namespace Orvex
