#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"

namespace Orvex {

/// Prints every voicemail, without its transcript.
struct GetAllVoicemailMessages {
    Flag noColor = noColorFlag();

    Async<void> run();

    static const ManualText manual;

    ORVEX_CODING_KEYS(GetAllVoicemailMessages, noColor)
};
static_assert(AsyncParsableCommand<GetAllVoicemailMessages>);

} // namespace Orvex
