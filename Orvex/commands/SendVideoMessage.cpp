#include "Orvex/commands/SendVideoMessage.h"

#include "Orvex/store/SendingService.h"
#include <memory>
#include <utility>

namespace Orvex {

VideoMessageRequest SendVideoMessage::request() const {
    std::vector<std::string> destinations;
    for (const Handle& destination : *destinationHandles) {
        destinations.push_back(destination.text);
    }
    return {.recordUUID = UUID::random(),
            .senderHandle = senderHandle->text,
            .destinationHandles = std::move(destinations),
            .provider = MessageProvider::Zelvo,
            .videoURL = *videoURL};
}

Async<void> SendVideoMessage::run() {
    const std::shared_ptr<SendingService> service = SendingService::instance();
    VideoMessageRequest newRequest = request();
    co_await service->sendVideoMessage(std::move(newRequest));
}

} // namespace Orvex
