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

/// A message was not sent. `what()` is one line: the attempted operation, its object, and the cause.
class SendingServiceError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A video message to send.
struct VideoMessageRequest {
    /// Identifies the message.
    UUID recordUUID;
    /// Telephone number or e-mail address of the sender.
    std::string senderHandle;
    /// Telephone numbers or e-mail addresses of the recipients.
    std::vector<std::string> destinationHandles;
    /// The service that carries the message.
    MessageProvider provider = MessageProvider::Zelvo;
    /// The video's file.
    FileURL videoURL;
};

/// Sends video messages.
class SendingService {
  public:
    /// Makes or finds the service.
    using Factory = std::function<std::shared_ptr<SendingService>()>;

    /// Sets the factory that `instance` calls from now on.
    static void setFactory(Factory factory);

    /// The service that the host has chosen. Throws `SendingServiceError` if it has not chosen one.
    [[nodiscard]] static std::shared_ptr<SendingService> instance();

    SendingService() = default;
    virtual ~SendingService() = default;
    SendingService(const SendingService&) = delete;
    SendingService& operator=(const SendingService&) = delete;

    /// Returns once the message is delivered, or durably accepted for delivery, to every destination. The
    /// text of a `SendingServiceError` tells if some destinations get the message anyway.
    virtual Async<void> sendVideoMessage(VideoMessageRequest request) = 0;
};

} // namespace Orvex
