#pragma once

#include "Foundation/Enumeration.h"
#include <cstdint>

namespace Orvex {

// The values in a message store.

/// The type of a message; an audio message of the telephone is a voicemail.
enum class MessageType : std::int16_t { screened = 0, audio = 1, video = 2 };
BOOST_DESCRIBE_ENUM(MessageType, screened, audio, video)

/// The service that delivers a message.
enum class MessageProvider : std::int64_t { Telephony = 1, Zelvo = 2 };
BOOST_DESCRIBE_ENUM(MessageProvider, Telephony, Zelvo)

/// The mailbox of a message.
enum class Mailbox : std::int16_t { inbox = 0, junk = 1, trash = 2 };
BOOST_DESCRIBE_ENUM(Mailbox, inbox, junk, trash)

/// The progress of a transcription.
enum class TranscriptionStatus : std::int16_t {
    notAvailable = 0,
    pending = 1,
    transcriptionFailed = 2,
    inProgress = 3,
    transcriptionAvailable = 4
};
BOOST_DESCRIBE_ENUM(TranscriptionStatus, notAvailable, pending, transcriptionFailed, inProgress,
                    transcriptionAvailable)

/// The quality of a recording.
enum class MessageQuality : std::int16_t { low = 0, standard = 1, high = 2 };
BOOST_DESCRIBE_ENUM(MessageQuality, low, standard, high)

/// The state of the store's cloud account. A store may report other numbers.
enum class AccountStatus : std::int64_t {
    couldNotDetermine = 0,
    signedIn = 1,
    noAccount = 2,
    restricted = 3,
    temporarilyUnavailable = 4,
    waiting = 5
};

} // namespace Orvex
