#include "Outbox/OutboxSendingService.h"

#include "Outbox/OutboxEntry.h"

namespace Orvex {

OutboxSendingService::OutboxSendingService(const std::filesystem::path& outbox)
    : outbox_(std::filesystem::absolute(outbox)) {}

Async<void> OutboxSendingService::sendVideoMessage(VideoMessageRequest request) {
    putIntoOutbox(outbox_, request);
    co_return;
}

} // namespace Orvex
