#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"
#include <string>
#include <vector>

namespace Orvex {

/// Prints every voicemail with its transcript.
struct VoicemailMessages {
    Flag noColor = noColorFlag();
    /// Ignored: every voicemail is printed.
    Option<std::vector<std::string>> handles{{},
                                             {singleDash("h"), customLong("handles")},
                                             "Handles to get messages for.",
                                             ValueCount::onePerOccurrence};

    Async<void> run();

    static const ManualText manual;

    ORVEX_CODING_KEYS(VoicemailMessages, noColor, handles)
};
static_assert(AsyncParsableCommand<VoicemailMessages>);

} // namespace Orvex
