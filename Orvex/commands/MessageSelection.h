#pragma once

#include "Foundation/Async.h"
#include "Orvex/model/InputTypes.h"
#include "Orvex/model/StoredMessage.h"
#include "Orvex/store/MessageStoreClient.h"
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Orvex {

/// The filters of a command line as the user typed them; empty lists filter nothing.
struct MessageFilters {
    /// The values given.
    /// @{
    std::vector<std::string> recordUUIDs = {};
    std::vector<std::string> handles = {};
    std::vector<InputProviderType> providers = {};
    std::vector<InputMessageType> types = {};
    std::vector<std::string> voicemailIDs = {};
    /// @}
};

/// Prints a heading and runs one query, for the first filter that is given: record UUIDs, handles, providers
/// together with types, voicemail identifiers. Without any of them, it gets all messages. Invalid UUIDs and
/// identifiers are ignored. An error of the store is printed in red, and the result is empty.
///
/// `client` must outlive the query. Name `filters` before the `co_await`: g++ 12 destroys some temporaries
/// twice.
[[nodiscard]] Async<std::vector<StoredMessage>> fetchMessages(MessageStoreClient& client, bool noColor,
                                                              MessageFilters filters);

/// Appends a heading with the number, and the description of the message.
void appendMessage(std::string& out, const StoredMessage& message, std::size_t number);

/// Prints the messages, numbered from 1.
void listMessages(std::span<const StoredMessage> messages, bool noColor);

/// The message that `listMessages` showed under this number. A number outside the list ends the process by
/// `fatalError`: a guess could delete the wrong message.
[[nodiscard]] const StoredMessage& messageNumbered(std::span<const StoredMessage> messages,
                                                   std::int64_t number);

} // namespace Orvex
