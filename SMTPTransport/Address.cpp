#include "SMTPTransport/Address.h"

#include "Foundation/QuotedText.h"
#include "Orvex/store/SendingService.h"
#include <regex>

namespace Orvex {

namespace {

// As RFC 5321, section 4.5.3.1, limits them.
constexpr std::size_t longestLocalPart = 64;
constexpr std::size_t longestAddress = 254;
constexpr std::size_t longestDomain = 253;

bool matches(std::string_view text, const std::regex& pattern) {
    return std::regex_match(text.begin(), text.end(), pattern);
}

bool isTelephoneNumber(std::string_view handle) {
    // ITU-T E.164 allows no more digits.
    static const std::regex number(R"(\+?[0-9]{1,15})");
    return matches(handle, number);
}

bool isMailAddress(std::string_view handle) {
    // Atoms of RFC 5322, section 3.2.3, between dots.
    static const std::regex localPart(
        R"([A-Za-z0-9_!#$%&'*+/=?^`{|}~-]+(\.[A-Za-z0-9_!#$%&'*+/=?^`{|}~-]+)*)");
    const std::size_t at = handle.find('@');
    return at <= longestLocalPart && handle.size() <= longestAddress &&
           matches(handle.substr(0, at), localPart) && isDomain(handle.substr(at + 1));
}

} // namespace

bool isDomain(std::string_view text) {
    static const std::string label = "[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?";
    static const std::regex domain(label + R"((\.)" + label + ")*");
    return text.size() <= longestDomain && matches(text, domain);
}

std::string mailAddress(const std::string& handle, const std::string& phoneDomain, const std::string& whose) {
    const bool isNumber = isTelephoneNumber(handle);
    if (isNumber && phoneDomain.empty()) {
        throw SendingServiceError(whose + " " + inQuotes(handle) +
                                  " is a telephone number, and the URL of the sending service names no "
                                  "gateway for these; add ?phone-domain=DOMAIN");
    }
    std::string address = isNumber ? handle + "@" + phoneDomain : handle;
    if (!isMailAddress(address)) {
        throw SendingServiceError(whose + " " + inQuotes(handle) +
                                  " is neither a telephone number, such as +15550100, nor an e-mail address "
                                  "in ASCII, such as ann@example.com");
    }
    return address;
}

} // namespace Orvex
