#include "SMTPTransport/MailService.h"

#include "Foundation/LetterCase.h"
#include "Foundation/RegularFile.h"
#include "Orvex/store/SendingService.h"
#include "SMTPTransport/Address.h"
#include "SMTPTransport/Netrc.h"
#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <curl/curl.h>
#include <memory>
#include <netinet/in.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvex {

namespace {

[[noreturn]] void fail(const std::string& reason) {
    throw SendingServiceError("cannot send the video message: the URL of the sending service " + reason);
}

const std::string netrcLine = "machine HOST login USER password PASSWORD";

using URL = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

/// Returns a part of the URL, empty if it is absent.
std::string part(const URL& url, CURLUPart which, unsigned flags = 0) {
    char* text = nullptr;
    const CURLUcode code = curl_url_get(url.get(), which, &text, flags);
    const std::unique_ptr<char, decltype(&curl_free)> owned(text, curl_free);
    if (code == CURLUE_URLDECODE) {
        fail("has an escape that cannot be decoded");
    }
    return text != nullptr ? text : "";
}

/// Judges by the name alone: a name server must not decide that a password may be sent in the clear.
bool namesThisMachine(const std::string& host) {
    in_addr address{};
    return lowerCased(host) == "localhost" || host == "[::1]" ||
           (inet_pton(AF_INET, host.c_str(), &address) == 1 &&
            ntohl(address.s_addr) >> IN_CLASSA_NSHIFT == IN_LOOPBACKNET);
}

/// Looks up the password in `~/.netrc`. `host` may be an address in brackets.
std::string passwordOf(const std::string& user, const std::string& host) {
    constexpr std::uintmax_t largest = std::uintmax_t{1} << 20U;
    const std::string machine = host.starts_with('[') ? host.substr(1, host.size() - 2) : host;
    std::optional<std::string> password;
    if (const char* const home = std::getenv("HOME"); home != nullptr) {
        try {
            const RegularFile netrc(std::string(home) + "/.netrc");
            // The user cannot change the mode of somebody else's file, such as a mounted secret of root's.
            if (netrc.status().st_uid == geteuid() && (netrc.status().st_mode & (S_IRGRP | S_IROTH)) != 0) {
                fail("names a user, and others may read the passwords in ~/.netrc; "
                     "close it: chmod go= ~/.netrc");
            }
            password = passwordInNetrc(readWholeFile(netrc, largest), machine, user);
        } catch (const FileError& error) {
            fail("names a user, and there is no password in ~/.netrc: " + std::string(error.what()));
        }
    }
    if (!password) {
        fail("names a user, and there is no password for this one in ~/.netrc; add it: " + netrcLine);
    }
    return *password;
}

} // namespace

MailService MailService::fromURL(const std::string& text) {
    // Other letters have to be in the form xn--... in a host, and percent-encoded in a user.
    const bool isPlain = std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
    const URL url(curl_url(), curl_url_cleanup);
    // libcurl would skip a third slash. A URL that is not parsed has no scheme, and is refused below.
    if (isPlain && text.find(":///") == std::string::npos) {
        curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0);
    }
    const std::string scheme = part(url, CURLUPART_SCHEME);
    const std::string host = part(url, CURLUPART_HOST);
    std::string port = part(url, CURLUPART_PORT);
    if ((scheme != "smtp" && scheme != "smtps") || host.empty() || port == "0") {
        fail("is not of the form smtp://[USER@]HOST[:PORT][?phone-domain=DOMAIN] or smtps://..., in ASCII");
    }
    if (!part(url, CURLUPART_PASSWORD).empty()) {
        fail("has a password, which others on the machine can read; keep it in ~/.netrc: " + netrcLine);
    }
    const std::string path = part(url, CURLUPART_PATH);
    std::string query = part(url, CURLUPART_QUERY, CURLU_URLDECODE);
    constexpr std::string_view phoneDomain = "phone-domain=";
    if ((path != "/" && !path.empty()) || !part(url, CURLUPART_FRAGMENT).empty() ||
        !part(url, CURLUPART_OPTIONS).empty() || (!query.empty() && !query.starts_with(phoneDomain))) {
        fail("has more than a user, a host, a port and ?phone-domain=DOMAIN");
    }
    if (!query.empty() && !isDomain(query.erase(0, phoneDomain.size()))) {
        fail("names no domain behind phone-domain=");
    }
    const std::string user = part(url, CURLUPART_USER, CURLU_URLDECODE);
    // The ports for submission (RFC 6409, RFC 8314); libcurl's default is the one between servers.
    if (port.empty()) {
        port = scheme == "smtps" ? "465" : "587";
    }
    return {.text = text,
            .server = scheme + "://" + host + ":" + port,
            .user = user,
            .password = user.empty() ? "" : passwordOf(user, host),
            .phoneDomain = query,
            .isLoopback = namesThisMachine(host)};
}

} // namespace Orvex
