#pragma once

#include <string>

namespace Orvex {

/// A server that accepts messages for delivery, and how to log in to it.
struct MailService {
    /// The URL as the user gave it.
    std::string text;
    /// URL of scheme, host and port only.
    std::string server;
    /// Empty if the message is sent without a log-in.
    std::string user;
    std::string password;
    /// Domain appended to telephone numbers; empty if the URL names none.
    std::string phoneDomain;
    /// True if the connection does not leave this machine.
    bool isLoopback = false;

    /// Parses `smtp://[USER@]HOST[:PORT][?phone-domain=DOMAIN]` or `smtps://...`, and looks up the user's
    /// password in `~/.netrc`. Throws `SendingServiceError`, which does not repeat the URL: it may have a
    /// password.
    [[nodiscard]] static MailService fromURL(const std::string& text);
};

} // namespace Orvex
