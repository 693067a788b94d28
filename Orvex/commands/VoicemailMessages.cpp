#include "Orvex/commands/VoicemailMessages.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/commands/MessageSelection.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <exception>
#include <optional>
#include <vector>

namespace Orvex {

namespace {

void printTranscript(const FileURL& file, bool noColor) {
    try {
        const std::optional<VMVoicemailTranscript> transcript = readTranscript(file);
        std::string text = inGreen("Transcript: ");
        if (transcript) {
            text += "Optional(";
            transcript->appendDescription(text);
            text += ')';
        } else {
            text += "nil";
        }
        printLine(text, noColor);
    } catch (const std::exception& error) {
        printLine(inRed("Error: ") + error.what(), noColor);
    }
}

} // namespace

Async<void> VoicemailMessages::run() {
    MessageStoreClient client;
    const std::vector<StoredMessage> messages =
        co_await client.voicemailMessages(MessageProvider::Telephony, MessageType::audio);
    std::size_t number = 0;
    for (const StoredMessage& message : messages) {
        printMessage(message, ++number, noColor);
        if (message.transcriptURL) {
            printTranscript(*message.transcriptURL, noColor);
        }
    }
}

const ManualText VoicemailMessages::manual{
    .summary = "list the voicemails with their transcripts",
    .description = R"(Prints every voicemail, an audio message of the telephone, and behind each its
transcript, read from the file that the message refers to. A transcript that cannot be
read is reported in its place; the others follow.

Handles are accepted but select nothing: all voicemails are listed.)",
    .exitStatus = "An error of the store ends the command with status 1; one of a transcript does not.",
    .examples = R"(Look for a word in all transcripts:

    {tool} voicemail-messages -nc | grep -i birthday)",
};

} // namespace Orvex
