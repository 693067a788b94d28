#pragma once

#include "Orvex/store/SendingService.h"
#include <filesystem>

namespace Orvex {

/// Puts a message into the outbox in `folder`, an absolute path: an entry of its own, durable and whole, or
/// none. Entries that a process left unfinished when it died are cleared away. Throws `SendingServiceError`.
void putIntoOutbox(const std::filesystem::path& folder, const VideoMessageRequest& request);

} // namespace Orvex
