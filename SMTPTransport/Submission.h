#pragma once

#include "SMTPTransport/Delivery.h"
#include "SMTPTransport/ServiceURL.h"
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Orvex {

/// A message as it goes over the wire.
struct MailMessage {
    std::string sender;
    std::vector<std::string> recipients;
    /// Lines of their own, in ASCII.
    std::vector<std::string> headers;
    std::string text;
    std::string videoType;
    std::string videoHeader;
    /// Read from its beginning.
    int video = -1;
    std::uintmax_t videoSize = 0;
};

struct TimeLimits {
    /// For the connection, the log-in included.
    std::chrono::seconds connecting{120};
    /// For each answer, and for each pause in the upload (RFC 5321, section 4.5.3.2).
    std::chrono::seconds step{600};
};

struct Submission {
    /// What has become of the message on its way to each recipient.
    std::vector<Delivery> deliveries;
    /// Whether the server took the connection and the log-in.
    bool reachedServer = false;
};

/// Hands a message to a server. `beforeTheEnd` is called with what the deliveries will be if no answer comes,
/// before the server can have the whole message. What it throws ends the attempt, and leaves this function.
/// Whatever leaves it, the server does not have the message then.
[[nodiscard]] Submission submit(const ServiceURL& service, const MailMessage& message,
                                const TimeLimits& limits,
                                const std::function<void(const std::vector<Delivery>&)>& beforeTheEnd);

} // namespace Orvex
