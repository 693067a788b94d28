// A tool that offers the ten commands with a message store and a sending service of its own:
//   mytool COMMAND [OPTION]... [, COMMAND [OPTION]...]...
// The store lives as long as the process, so the tool runs several commands one after another.

#include "Foundation/QuotedText.h"
#include "MemoryStore.h"
#include "Orvex/TerminalTools.h"
#include "Orvex/arguments/Tool.h"
#include "Orvex/commands/AllCommands.h"
#include "Orvex/store/MessageStoreClient.h"
#include "Orvex/store/SendingService.h"
#include <algorithm>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace {

using namespace Orvex;

/// Prints what it would send. Yours would hand the message to a network, and return when the network has
/// stored it.
class SpokenSendingService final : public SendingService {
  public:
    Async<void> sendVideoMessage(VideoMessageRequest request) override {
        // Quote text from outside for a terminal: quoting escapes control characters.
        printLine("Sent " + inQuotes(request.videoURL.text()) + " to " +
                      bracketed(request.destinationHandles, inQuotes),
                  false);
        co_return;
    }
};

/// Makes all commands use the same store and the same service.
void chooseStoreAndService() {
    MessageStoreClient::setStoreFactory([store = std::make_shared<MyTool::MemoryStore>()] { return store; });
    SendingService::setFactory([service = std::make_shared<SpokenSendingService>()] { return service; });
}

} // namespace

int main(int argc, char* argv[]) {
    chooseStoreAndService();
    const Tool tool{
        .name = "mytool",
        .version = "1.0",
        .summary = "Tries the commands out on a message store in memory.",
        // Append commands of your own with subcommandTypes().
        .subcommands = allCommands(),
    };

    const std::vector<std::string_view> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    auto begin = words.begin();
    while (true) {
        const auto end = std::find(begin, words.end(), ",");
        const ExitStatus status = run(tool, std::span(begin, end));
        if (status != ExitStatus::success || end == words.end()) {
            return static_cast<int>(status);
        }
        begin = end + 1;
    }
}
