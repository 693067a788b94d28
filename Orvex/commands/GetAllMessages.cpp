#include "Orvex/commands/GetAllMessages.h"

#include "Orvex/commands/MessageSelection.h"

namespace Orvex {

Async<void> GetAllMessages::run() {
    MessageStoreClient client;
    const std::vector<StoredMessage> messages =
        co_await fetchMessages(client, noColor, *handles, *providers, *types, *recordUUIDs, *voicemailIDs);
    listMessages(messages, noColor);
}

} // namespace Orvex
