#include "SMTPTransport/Address.h"

#include "Foundation/LetterCase.h"
#include "Foundation/QuotedText.h"
#include "Orvex/store/SendingService.h"
#include <algorithm>

namespace Orvex {

namespace {

// RFC 5321, section 4.5.3.1
constexpr std::size_t longestLocalPart = 64;
constexpr std::size_t longestAddress = 254;
constexpr std::size_t longestDomain = 253;
// RFC 1035, section 2.3.4
constexpr std::size_t longestLabel = 63;

template <class IsAllowed>
bool consistsOf(std::string_view text, IsAllowed isAllowed) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isAllowed);
}

/// Returns true if `isPart` holds for each part of a text in which dots separate them.
template <class IsPart>
bool hasParts(std::string_view text, IsPart isPart) {
    const std::size_t dot = text.find('.');
    return isPart(text.substr(0, dot)) &&
           (dot == std::string_view::npos || hasParts(text.substr(dot + 1), isPart));
}

bool isTelephoneNumber(std::string_view handle) {
    // ITU-T E.164
    constexpr std::size_t mostDigits = 15;
    const std::string_view digits = handle.substr(handle.starts_with('+') ? 1 : 0);
    return digits.size() <= mostDigits && consistsOf(digits, isDigit);
}

/// RFC 5322, section 3.2.3
bool isAtom(std::string_view text) {
    return consistsOf(text, [](char c) {
        constexpr std::string_view others = "!#$%&'*+-/=?^_`{|}~";
        return isLetter(c) || isDigit(c) || others.find(c) != std::string_view::npos;
    });
}

bool isLabel(std::string_view text) {
    return text.size() <= longestLabel && !text.starts_with('-') && !text.ends_with('-') &&
           consistsOf(text, [](char c) { return isLetter(c) || isDigit(c) || c == '-'; });
}

bool isMailAddress(std::string_view handle) {
    const std::size_t at = handle.find('@');
    return at <= longestLocalPart && handle.size() <= longestAddress &&
           hasParts(handle.substr(0, at), isAtom) && isDomain(handle.substr(at + 1));
}

} // namespace

bool isDomain(std::string_view text) {
    return text.size() <= longestDomain && hasParts(text, isLabel);
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
