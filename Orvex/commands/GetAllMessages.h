#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"
#include <string>
#include <vector>

namespace Orvex {

/// Prints the messages that a filter selects, or all of them.
struct GetAllMessages {
    Flag noColor = noColorFlag();
    Option<std::vector<InputMessageType>> types = typesOption();
    Option<std::vector<InputProviderType>> providers = providersOption();
    Option<std::vector<std::string>> handles = handlesOption();
    Option<std::vector<std::string>> recordUUIDs{
        {}, {singleDash("rids"), customLong("recordUUIDs")}, "The recordUUIDs to get"};
    Option<std::vector<std::string>> voicemailIDs{
        {}, {singleDash("vids"), customLong("voicemailID")}, "The voicemailIDs to search for."};

    Async<void> run();

    static const ManualText manual;

    ORVEX_CODING_KEYS(GetAllMessages, noColor, types, providers, handles, recordUUIDs, voicemailIDs)
};
static_assert(AsyncParsableCommand<GetAllMessages>);

} // namespace Orvex
