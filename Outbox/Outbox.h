#pragma once

#include "Orvex/store/SendingService.h"
#include "Outbox/OutboxEntry.h"
#include <filesystem>
#include <optional>

namespace Orvex {

/// Puts a message into the outbox in `folder`, an absolute path: an entry of its own, durable and whole, or
/// none. It is locked as long as the result lives. Entries that a process left unfinished when it died are
/// cleared away. Throws `SendingServiceError`.
OutboxEntry putIntoOutbox(const std::filesystem::path& folder, const VideoMessageRequest& request,
                          const std::optional<Transport>& transport = std::nullopt);

} // namespace Orvex
