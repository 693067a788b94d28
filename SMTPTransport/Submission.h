#pragma once

#include "SMTPTransport/Delivery.h"
#include "SMTPTransport/MailService.h"
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Orvex {

/// A message as it is submitted.
struct MailMessage {
    std::string sender;
    std::vector<std::string> recipients;
    /// Each in ASCII, without its line end.
    std::vector<std::string> headers;
    std::string text;
    std::string videoType;
    std::string videoHeader;
    /// Open for reading, at its beginning.
    int video = -1;
    std::uintmax_t videoSize = 0;
};

struct TimeLimits {
    /// For the connection, including the log-in.
    std::chrono::seconds connecting{120};
    /// For each reply, and for each pause in the upload (RFC 5321, section 4.5.3.2).
    std::chrono::seconds step{600};
};

struct Submission {
    /// One for each recipient.
    std::vector<Delivery> deliveries;
    /// True if the server accepted the connection and the log-in.
    bool reachedServer = false;
};

/// Submits a message to a server. Before the last bytes are sent, calls `beforeTheEnd` with the deliveries
/// that hold if no reply comes; if it throws, the attempt ends with its exception. After any exception, the
/// server does not have the message.
[[nodiscard]] Submission submit(const MailService& service, const MailMessage& message,
                                const TimeLimits& limits,
                                const std::function<void(const std::vector<Delivery>&)>& beforeTheEnd);

} // namespace Orvex
