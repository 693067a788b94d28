#pragma once

#include "Foundation/Async.h"
#include "Foundation/FileURL.h"
#include "Foundation/UUID.h"
#include "Orvex/model/StoreValues.h"
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Orvex {

/// Why a message was not sent: `what()` is one line that says what was attempted, on what, and why it failed.
class SendingServiceError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A video message to be sent.
struct VideoMessageRequest {
    UUID recordUUID;
    std::string senderHandle;
    std::vector<std::string> destinationHandles;
    MessageProvider provider = MessageProvider::Zelvo;
    FileURL videoURL;
};

/// What sends video messages.
class SendingService {
  public:
    using Factory = std::function<std::shared_ptr<SendingService>()>;

    /// Chooses the service that `instance` hands out from now on.
    static void setFactory(Factory factory);

    /// The service that the host has chosen. Throws `SendingServiceError` when it has chosen none.
    [[nodiscard]] static std::shared_ptr<SendingService> instance();

    SendingService() = default;
    virtual ~SendingService() = default;
    SendingService(const SendingService&) = delete;
    SendingService& operator=(const SendingService&) = delete;

    /// Has the message delivered, or durably accepted for delivery to every destination. Throws
    /// `SendingServiceError`, which says whether some of them get it all the same.
    virtual Async<void> sendVideoMessage(VideoMessageRequest request) = 0;
};

} // namespace Orvex
