#include "Orvex/commands/DeleteMessage.h"

#include "Orvex/Prompts.h"
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

/// The number of messages that one request to the store deletes at most.
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
    prepareToPrint(noColor);
    MessageStoreClient client;
    MessageFilters filters{
        .recordUUIDs = *messageUUIDStrings, .handles = *handles, .providers = *providers, .types = *types};
    std::vector<StoredMessage> toDelete = co_await fetchMessages(client, noColor, std::move(filters));
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

const ManualText DeleteMessage::manual{
    .summary = "delete messages",
    .description = R"(Lists the messages that a filter selects, or all of them, asks for the numbers of those
to delete, shows these again, and deletes them after a confirmation. With -a or record UUIDs, it does not ask
for numbers and deletes all selected messages.

Numbers are separated by commas; everything else is ignored. A number outside the list ends the command at once,
before anything is deleted. The command asks for the confirmation until the answer is yes or no.

At the end of input, the command asks for the confirmation again and again. A script whose answers run out, or
whose input is the null device, would never end and would fill its log. Let an endless "n" follow the answers:
then unexpected questions are answered with no.

Only the first of these filters counts, also with -a: record UUIDs, handles of senders, providers together with
types.

Messages are deleted in batches of 100, each completely or not at all. If the command is interrupted, finished
batches stay deleted, and all other messages stay unchanged.)",
    .exitStatus =
        "An error of the store is printed in red, and the exit status is 0. If standard input cannot "
        "be read, it is 1, and nothing is deleted.",
    .examples = R"(Choose among the messages of one sender:

    {tool} delete-message -handles ann@example.com

Delete all messages, in a script:

    (echo y; yes n) | {tool} delete-message -a -nc)",
};

} // namespace Orvex
