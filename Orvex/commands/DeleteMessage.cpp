#include "Orvex/commands/DeleteMessage.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/commands/MessageSelection.h"
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <iterator>
#include <span>
#include <utility>

namespace Orvex {

namespace {

/// How many messages one request deletes at most.
constexpr std::ptrdiff_t batchSize = 100;

std::vector<StoredMessage> askWhichToDelete(std::span<const StoredMessage> messages, bool noColor) {
    listMessages(messages, noColor);
    std::vector<StoredMessage> chosen;
    for (const std::int64_t number :
         askForNumbers("Enter a comma-separated list of messages to delete", noColor)) {
        chosen.push_back(messageNumbered(messages, number));
    }
    return chosen;
}

} // namespace

Async<void> DeleteMessage::run() {
    MessageStoreClient client;
    const std::vector<std::string> noVoicemailIDs;
    std::vector<StoredMessage> toDelete = co_await fetchMessages(client, noColor, *handles, *providers,
                                                                 *types, *messageUUIDStrings, noVoicemailIDs);
    if (messageUUIDStrings->empty() && !deleteAll) {
        toDelete = askWhichToDelete(toDelete, noColor);
    }
    if (toDelete.empty()) {
        printLine(inRed("No messages found for the given inputs!"), noColor);
        co_return;
    }
    listMessages(toDelete, noColor);
    if (!askYesNo("Are you sure you want to delete these messages (y/n)?", noColor)) {
        co_return;
    }
    try {
        for (auto rest = toDelete.cbegin(); rest != toDelete.cend();) {
            const auto end = rest + std::min(batchSize, std::distance(rest, toDelete.cend()));
            std::vector<UUID> batch;
            std::transform(rest, end, std::back_inserter(batch), std::mem_fn(&StoredMessage::recordUUID));
            co_await client.deleteMessages(std::move(batch));
            rest = end;
        }
    } catch (const std::exception& error) {
        printLine(inRed("Error: ") + error.what(), noColor);
        co_return;
    }
    printLine(inGreen("Deleted " + std::to_string(toDelete.size()) + " messages!"), noColor);
}

} // namespace Orvex
