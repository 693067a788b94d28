#include "SMTPTransport/Address.h"

#include "Foundation/QuotedText.h"
#include "Orvex/store/SendingService.h"
#include <algorithm>
#include <cstddef>

namespace Orvex {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLetterOrDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isLabel(std::string_view label) {
    constexpr std::size_t longest = 63;
    return !label.empty() && label.size() <= longest && label.front() != '-' && label.back() != '-' &&
           std::all_of(label.begin(), label.end(), [](char c) { return isLetterOrDigit(c) || c == '-'; });
}

/// An atom of RFC 5322, section 3.2.3.
bool isAtom(std::string_view atom) {
    constexpr std::string_view others = "!#$%&'*+-/=?^_`{|}~";
    return !atom.empty() && std::all_of(atom.begin(), atom.end(), [others](char c) {
        return isLetterOrDigit(c) || others.find(c) != std::string_view::npos;
    });
}

/// Whether all parts between dots are of a kind.
bool consistsOf(std::string_view text, bool (*isPart)(std::string_view)) {
    while (true) {
        const std::size_t dot = text.find('.');
        if (!isPart(text.substr(0, dot))) {
            return false;
        }
        if (dot == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(dot + 1);
    }
}

bool isTelephoneNumber(std::string_view handle) {
    if (handle.starts_with('+')) {
        handle.remove_prefix(1);
    }
    // ITU-T E.164 allows no more digits.
    constexpr std::size_t longest = 15;
    return !handle.empty() && handle.size() <= longest && std::all_of(handle.begin(), handle.end(), isDigit);
}

bool isMailAddress(std::string_view handle) {
    // RFC 5321, section 4.5.3.1.
    constexpr std::size_t longestLocalPart = 64;
    constexpr std::size_t longestAddress = 254;
    const std::size_t at = handle.find('@');
    return at != std::string_view::npos && at <= longestLocalPart && handle.size() <= longestAddress &&
           consistsOf(handle.substr(0, at), isAtom) && isDomain(handle.substr(at + 1));
}

} // namespace

bool isDomain(std::string_view text) {
    constexpr std::size_t longest = 253;
    return text.size() <= longest && consistsOf(text, isLabel);
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
