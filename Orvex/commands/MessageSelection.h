#pragma once

#include "Foundation/Async.h"
#include "Orvex/model/InputTypes.h"
#include "Orvex/model/StoredMessage.h"
#include "Orvex/store/MessageStoreClient.h"
#include <span>
#include <string>
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

/// Prints each message under its number, counted from 1.
void listMessages(std::span<const StoredMessage> messages, bool noColor);

} // namespace Orvex
