#include "Orvex/commands/GetAllVoicemailMessages.h"

#include "Orvex/commands/MessageSelection.h"
#include <vector>

namespace Orvex {

Async<void> GetAllVoicemailMessages::run() {
    MessageStoreClient client;
    const std::vector<MessageProvider> providers(1, MessageProvider::Telephony);
    const std::vector<MessageType> types(1, MessageType::audio);
    const std::vector<StoredMessage> messages = co_await client.messages(providers, types);
    listMessages(messages, noColor);
}

} // namespace Orvex
