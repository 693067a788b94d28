#include "Orvex/commands/GetAllVoicemailMessages.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/commands/MessageSelection.h"
#include <vector>

namespace Orvex {

Async<void> GetAllVoicemailMessages::run() {
    prepareToPrint(noColor);
    MessageStoreClient client;
    const std::vector<MessageProvider> providers(1, MessageProvider::Telephony);
    const std::vector<MessageType> types(1, MessageType::audio);
    const std::vector<StoredMessage> messages = co_await client.messages(providers, types);
    listMessages(messages, noColor);
}

const ManualText GetAllVoicemailMessages::manual{
    .summary = "list the voicemails",
    .description = R"(Prints every voicemail, which is an audio message of the telephone, numbered from 1.
The command voicemail-messages prints their transcripts as well.)",
    .exitStatus = "An error of the store ends the command with status 1.",
    .examples = R"(List the voicemails without colours:

    {tool} get-all-voicemail-messages -nc)",
};

} // namespace Orvex
