#include "Orvex/commands/GetTotalCount.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/store/MessageStoreClient.h"
#include <cstdint>
#include <exception>
#include <string>

namespace Orvex {

Async<void> GetTotalCount::run() {
    prepareToPrint(noColor);
    MessageStoreClient client;
    try {
        const std::int64_t count = co_await client.messageCount();
        printLine(inGreen("Message count: ") + std::to_string(count), noColor);
    } catch (const std::exception& error) {
        printLine(inRed("Error: \n") + error.what(), noColor);
    }
}

const ManualText GetTotalCount::manual{
    .summary = "count the messages",
    .description = "Prints the number of messages in the store, in all mailboxes.",
    .exitStatus = "An error of the store is printed in red, and the exit status is 0.",
    .examples = R"(Count the messages, without colours:

    {tool} get-total-count -nc)",
};

} // namespace Orvex
