#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"

namespace Orvex {

/// Prints "true" if the store transcribes messages.
struct TranscriptionEnabled {
    Flag noColor = noColorFlag();

    Async<void> run();

    static const ManualText manual;

    ORVEX_CODING_KEYS(TranscriptionEnabled, noColor)
};
static_assert(AsyncParsableCommand<TranscriptionEnabled>);

} // namespace Orvex
