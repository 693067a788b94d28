#pragma once

#include "Foundation/FileURL.h"
#include "Orvex/arguments/ParsableArguments.h"
#include <string>
#include <vector>

namespace Orvex {

/// Hands a video file to the sending service.
struct SendVideoMessage {
    Option<FileURL> videoURL{{derivedLong}, "The video file to send."};
    Option<std::string> senderHandle{{derivedLong}, "The handle that sends the message."};
    Option<std::vector<std::string>> destinationHandles{{derivedLong}, "The handles to send the message to."};

    ORVEX_CODING_KEYS(SendVideoMessage, videoURL, senderHandle, destinationHandles)
};
static_assert(ParsableCommand<SendVideoMessage>);

} // namespace Orvex
