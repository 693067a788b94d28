#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"
#include <string>
#include <vector>

namespace Orvex {

/// Lists the messages that a filter selects, and deletes those that the user chooses.
struct DeleteMessage {
    Flag noColor = noColorFlag();
    Flag deleteAll{{singleDash("a")}, "Delete all messages from the store"};
    Option<std::vector<InputMessageType>> types = typesOption();
    Option<std::vector<InputProviderType>> providers = providersOption();
    Option<std::vector<std::string>> handles = handlesOption();
    Option<std::vector<std::string>> messageUUIDStrings{
        {}, {singleDash("rids"), customLong("recordUUIDs")}, "A list of recordUUIDs to delete."};

    Async<void> run();

    static const ManualText manual;

    ORVEX_CODING_KEYS(DeleteMessage, noColor, deleteAll, types, providers, handles, messageUUIDStrings)
};
static_assert(AsyncParsableCommand<DeleteMessage>);

} // namespace Orvex
