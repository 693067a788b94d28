#include "Orvex/commands/TranscriptionEnabled.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/store/MessageStoreClient.h"
#include <exception>
#include <string>

namespace Orvex {

Async<void> TranscriptionEnabled::run() {
    MessageStoreClient client;
    try {
        const bool isEnabled = co_await client.isTranscriptionEnabled();
        printLine(inGreen("isTranscriptionEnabled: ") + (isEnabled ? "true" : "false"), noColor);
    } catch (const std::exception& error) {
        printLine(inRed(std::string("isTranscriptionEnabled error ") + error.what()), noColor);
    }
}

} // namespace Orvex
