#include "Orvex/commands/GetAccountStatus.h"

#include "Foundation/FatalError.h"
#include "Orvex/TerminalTools.h"
#include "Orvex/store/MessageStoreClient.h"
#include <string>

namespace Orvex {

Async<void> GetAccountStatus::run() {
    prepareToPrint(noColor);
    MessageStoreClient client;
    const AccountStatus status = co_await client.accountStatus();
    if (status >= AccountStatus::signedIn && status <= AccountStatus::temporarilyUnavailable) {
        printLine(inGreen("Account status: ") + client.description(status), noColor);
    } else if (status == AccountStatus::waiting) {
        printLine(
            inYellow("The message store is still waiting for a response from Quennet. Try again in a few "
                     "seconds!"),
            noColor);
    } else if (status == AccountStatus::couldNotDetermine) {
        printLine(inRed("Error: ") +
                      "Quennet indicates that it could not determine the account status. Check for a "
                      "logged error!\n",
                  noColor);
    } else {
        fatalError("Orvex/commands/GetAccountStatus", "unexpected account status " +
                                                          std::to_string(static_cast<std::int64_t>(status)) +
                                                          ", known are 0 to 5");
    }
}

const ManualText GetAccountStatus::manual{
    .summary = "print the state of the cloud account",
    .description = R"(Prints the state of the store's account with its cloud service, or a line in red if the
state could not be determined.)",
    .exitStatus = "An error of the store ends the command with status 1, an unknown state with status 134.",
    .examples = R"(Ask without colours:

    {tool} get-account-status -nc)",
};

} // namespace Orvex
