#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"

namespace Orvex {

/// Prints the number of messages in the store.
struct GetTotalCount {
    Flag noColor = noColorFlag();

    Async<void> run();

    static const ManualText manual;

    ORVEX_CODING_KEYS(GetTotalCount, noColor)
};
static_assert(AsyncParsableCommand<GetTotalCount>);

} // namespace Orvex
