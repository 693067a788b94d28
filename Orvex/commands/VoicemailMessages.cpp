#include "Orvex/commands/VoicemailMessages.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/commands/MessageSelection.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <exception>
#include <optional>
#include <string>
#include <vector>

namespace Orvex {

namespace {

void appendTranscript(std::string& out, const FileURL& file) {
    try {
        const std::optional<VMVoicemailTranscript> transcript = readTranscript(file);
        appendInGreen(out, {"Transcript: "});
        if (transcript) {
            out += "Optional(";
            transcript->appendDescription(out);
            out += ')';
        } else {
            out += "nil";
        }
    } catch (const std::exception& error) {
        out += inRed("Error: ") + error.what();
    }
}

} // namespace

Async<void> VoicemailMessages::run() {
    prepareToPrint(noColor);
    MessageStoreClient client;
    const std::vector<StoredMessage> messages =
        co_await client.voicemailMessages(MessageProvider::Telephony, MessageType::audio);
    std::size_t number = 0;
    std::string text;
    for (const StoredMessage& message : messages) {
        text.clear();
        appendMessage(text, message, ++number);
        printLine(text, noColor);
        if (message.transcriptURL) {
            text.clear();
            appendTranscript(text, *message.transcriptURL);
            printLine(text, noColor);
        }
    }
}

const ManualText VoicemailMessages::manual{
    .summary = "list the voicemails with their transcripts",
    .description = R"(Prints every voicemail, which is an audio message of the telephone, and after each its
transcript, read from the file that the message refers to. If a transcript cannot be read, an error is
printed in its place, and the others follow.

Handles are accepted but ignored: all voicemails are listed.)",
    .exitStatus = "An error of the store ends the command with status 1. An error of a transcript does not.",
    .examples = R"(Look for a word in all transcripts:

    {tool} voicemail-messages -nc | grep -i birthday)",
};

} // namespace Orvex
