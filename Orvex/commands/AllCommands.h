#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/DeleteMessage.h"
#include "Orvex/commands/GetAccountStatus.h"
#include "Orvex/commands/GetAllMessages.h"
#include "Orvex/commands/GetAllVoicemailMessages.h"
#include "Orvex/commands/GetTotalCount.h"
#include "Orvex/commands/SaveMessage.h"
#include "Orvex/commands/SendVideoMessage.h"
#include "Orvex/commands/TranscriptionEnabled.h"
#include "Orvex/commands/UpdateMessage.h"
#include "Orvex/commands/VoicemailMessages.h"
#include <vector>

namespace Orvex {

/// All ten commands, for `Tool::subcommands`.
[[nodiscard]] inline std::vector<SubcommandType> allCommands() {
    return subcommandTypes<TranscriptionEnabled, SendVideoMessage, GetAllVoicemailMessages, VoicemailMessages,
                           SaveMessage, GetTotalCount, GetAllMessages, DeleteMessage, UpdateMessage,
                           GetAccountStatus>();
}

} // namespace Orvex
