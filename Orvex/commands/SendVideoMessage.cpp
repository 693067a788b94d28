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

const ManualText SendVideoMessage::manual{
    .summary = "send a video file as a message",
    .description = R"(Hands a copy of the video, the sender and all destinations to the sending service.
Handles are telephone numbers or e-mail addresses, and are not changed. Each message gets a new record UUID. It
is not added to the store.)",
    .exitStatus = "If the message was not accepted for every destination, the exit status is 1, and standard "
                  "error tells the reason.",
    .examples = R"(Send a video to two people:

    {tool} send-video-message --video-url party.mov --sender-handle +15550100 \
        --destination-handles ann@example.com +15550101)",
};

} // namespace Orvex
