#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"

namespace Orvex {

/// Prints every voicemail, without its transcript.
struct GetAllVoicemailMessages {
    Flag noColor = noColorFlag();

    ORVEX_CODING_KEYS(GetAllVoicemailMessages, noColor)
};
static_assert(ParsableCommand<GetAllVoicemailMessages>);

} // namespace Orvex
