#pragma once

#include "Foundation/Enumeration.h"
#include "Orvex/model/StoreValues.h"
#include <cstdint>
#include <optional>

namespace Orvex {

// Options of the command line, which users give as numbers. Stores use the same numbers, but count providers
// from 1.

/// The type of a message.
enum class InputMessageType : std::int16_t { screened, audio, video };
BOOST_DESCRIBE_ENUM(InputMessageType, screened, audio, video)

/// The service that delivers a message.
enum class InputProviderType : std::int16_t { Telephony, Zelvo };
BOOST_DESCRIBE_ENUM(InputProviderType, Telephony, Zelvo)

/// The mailbox of a message.
enum class InputMailboxType : std::int16_t { inbox, junk, trash };
BOOST_DESCRIBE_ENUM(InputMailboxType, inbox, junk, trash)

/// The progress of a transcription.
enum class InputTranscriptionStatus : std::int16_t {
    notAvailable,
    pending,
    transcriptionFailed,
    inProgress,
    transcriptionAvailable
};
BOOST_DESCRIBE_ENUM(InputTranscriptionStatus, notAvailable, pending, transcriptionFailed, inProgress,
                    transcriptionAvailable)

/// @{ The value that a store has for the value of an option.
[[nodiscard]] constexpr MessageType storeValue(InputMessageType input) {
    return MessageType{rawValue(input)};
}
[[nodiscard]] constexpr MessageProvider storeValue(InputProviderType input) {
    return MessageProvider{rawValue(input) + 1};
}
[[nodiscard]] constexpr Mailbox storeValue(InputMailboxType input) {
    return Mailbox{rawValue(input)};
}
[[nodiscard]] constexpr TranscriptionStatus storeValue(InputTranscriptionStatus input) {
    return TranscriptionStatus{rawValue(input)};
}
template <class Input>
[[nodiscard]] auto storeValue(const std::optional<Input>& input) {
    return input ? std::optional(storeValue(*input)) : std::nullopt;
}
/// @}

} // namespace Orvex
