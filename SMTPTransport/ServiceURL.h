#pragma once

#include <string>
#include <string_view>

namespace Orvex {

/// The server that takes messages, as `smtp://[USER@]HOST[:PORT][?phone-domain=DOMAIN]` or `smtps://...`.
struct ServiceURL {
    /// As it was given.
    std::string text;
    /// Scheme, host and port alone.
    std::string server;
    /// Empty where nobody logs in.
    std::string user;
    /// From the user's `.netrc` file.
    std::string password;
    /// Where telephone numbers are mail boxes; empty where that is nowhere.
    std::string phoneDomain;
    /// Whether what is sent does not leave this machine.
    bool isLoopback = false;

    /// Throws `SendingServiceError`, whose text does not repeat the URL: there may be a password in it.
    [[nodiscard]] static ServiceURL parse(const std::string& text);
};

} // namespace Orvex
