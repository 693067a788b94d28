#pragma once

#include "Orvex/arguments/Property.h"
#include "Orvex/model/InputTypes.h"
#include <string>
#include <vector>

namespace Orvex {

// Options that several commands have.

/// Removes escape sequences from what is printed.
[[nodiscard]] inline Flag noColorFlag() {
    return {{singleDash("nc"), derivedLong}, "Turn off color printing in the response."};
}

/// Selects messages together with `providersOption`.
[[nodiscard]] inline Option<std::vector<InputMessageType>> typesOption() {
    return {{}, {singleDash("mt"), customLong("types")}, "The message type."};
}

/// Selects messages together with `typesOption`.
[[nodiscard]] inline Option<std::vector<InputProviderType>> providersOption() {
    return {{}, {singleDash("p"), customLong("providers")}, "The message provider."};
}

/// Selects messages by their senders.
[[nodiscard]] inline Option<std::vector<std::string>> handlesOption() {
    return {{}, {singleDash("handles"), customLong("handles")}, "Handles to get messages for."};
}

} // namespace Orvex
