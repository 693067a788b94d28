#include "Orvex/commands/TranscriptionEnabled.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/store/MessageStoreClient.h"
#include <exception>
#include <string>

namespace Orvex {

Async<void> TranscriptionEnabled::run() {
    prepareToPrint(noColor);
    MessageStoreClient client;
    try {
        const bool isEnabled = co_await client.isTranscriptionEnabled();
        printLine(inGreen("isTranscriptionEnabled: ") + (isEnabled ? "true" : "false"), noColor);
    } catch (const std::exception& error) {
        printLine(inRed(std::string("isTranscriptionEnabled error ") + error.what()), noColor);
    }
}

const ManualText TranscriptionEnabled::manual{
    .summary = "print if messages are transcribed",
    .description =
        R"(Prints "isTranscriptionEnabled: true" or "isTranscriptionEnabled: false", from the store's
settings.)",
    .exitStatus = "An error of the store is printed in red, and the exit status is 0.",
    .examples = R"(Ask without colours:

    {tool} transcription-enabled -nc)",
};

} // namespace Orvex
