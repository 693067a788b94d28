#include "Orvex/commands/GetTotalCount.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/store/MessageStoreClient.h"
#include <cstdint>
#include <exception>
#include <string>

namespace Orvex {

Async<void> GetTotalCount::run() {
    MessageStoreClient client;
    try {
        const std::int64_t count = co_await client.messageCount();
        printLine(inGreen("Message count: ") + std::to_string(count), noColor);
    } catch (const std::exception& error) {
        printLine(inRed("Error: \n") + error.what(), noColor);
    }
}

} // namespace Orvex
