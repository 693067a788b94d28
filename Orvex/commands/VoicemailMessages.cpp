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
        printLine(inGreen("Transcript: ") +
                      (transcript ? "Optional(" + transcript->description() + ")" : "nil"),
                  noColor);
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

} // namespace Orvex
