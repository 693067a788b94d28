#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"

namespace Orvex {

/// Prints the state of the store's cloud account.
struct GetAccountStatus {
    Flag noColor = noColorFlag();

    Async<void> run();

    static const ManualText manual;

    ORVEX_CODING_KEYS(GetAccountStatus, noColor)
};
static_assert(AsyncParsableCommand<GetAccountStatus>);

} // namespace Orvex
