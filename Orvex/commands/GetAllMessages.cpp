#include "Orvex/commands/GetAllMessages.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/commands/MessageSelection.h"
#include <utility>

namespace Orvex {

Async<void> GetAllMessages::run() {
    prepareToPrint(noColor);
    MessageStoreClient client;
    MessageFilters filters{.recordUUIDs = *recordUUIDs,
                           .handles = *handles,
                           .providers = *providers,
                           .types = *types,
                           .voicemailIDs = *voicemailIDs};
    const std::vector<StoredMessage> messages = co_await fetchMessages(client, noColor, std::move(filters));
    listMessages(messages, noColor);
}

const ManualText GetAllMessages::manual{
    .summary = "list messages",
    .description =
        R"(Prints the messages that a filter selects, or all of them, in the order of saving, numbered
from 1.

Only the first of these filters counts: record UUIDs, handles of senders, providers together with types,
voicemail identifiers. Providers without types, or types without providers, are ignored: all messages are
listed. Invalid UUIDs and identifiers are ignored.)",
    .exitStatus = "An error of the store is printed in red, and the exit status is 0.",
    .examples = R"(List what two people have sent:

    {tool} get-all-messages -handles ann@example.com +15550100

List the audio and video messages of provider 1:

    {tool} get-all-messages -p 1 -mt 1 2)",
};

} // namespace Orvex
