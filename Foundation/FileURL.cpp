#include "Foundation/FileURL.h"

#include "Foundation/CharacterSets.h"
#include "Foundation/LetterCase.h"
#include "Foundation/QuotedText.h"
#include "Foundation/UTF8.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace Orvex {

namespace {

constexpr std::string_view scheme = "file:";
constexpr std::string_view beginning = "file://";
constexpr std::string_view hexDigits = "0123456789ABCDEF";

/// For each byte, true if it is a `pchar` of RFC 3986 or a slash.
constexpr auto pathCharacters = [] {
    std::array<bool, 256> isOne{};
    for (const char c : std::string_view("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                         "-._~!$&'()*+,;=:@/")) {
        isOne[static_cast<unsigned char>(c)] = true;
    }
    return isOne;
}();

bool standsForItselfInPath(char c) {
    return pathCharacters[static_cast<unsigned char>(c)];
}

/// Decodes the escape at the front, "%" and two hexadecimal digits. Returns false if there is none.
bool readEscape(std::string_view text, unsigned char& byte) {
    return text.size() > 2 &&
           std::from_chars(text.data() + 1, text.data() + 3, byte, 16).ptr == text.data() + 3;
}

/// Decodes `text` up to its end or to a malformed escape, and removes that part.
std::string takeDecoded(std::string_view& text) {
    std::string decoded;
    decoded.reserve(text.size());
    while (true) {
        const std::size_t plain = std::min(text.find('%'), text.size());
        decoded += text.substr(0, plain);
        text.remove_prefix(plain);
        unsigned char byte = 0;
        if (!readEscape(text, byte)) {
            return decoded;
        }
        decoded += static_cast<char>(byte);
        text.remove_prefix(3);
    }
}

bool isControlCharacter(char c) {
    return isASCII(c) && isControl(static_cast<unsigned char>(c));
}

bool startsWithIgnoringCase(std::string_view text, std::string_view lowerCasePrefix) {
    return lowerCased(text.substr(0, lowerCasePrefix.size())) == lowerCasePrefix;
}

} // namespace

FileURL FileURL::ofAbsolutePath(std::string_view path) {
    std::string text(beginning);
    text.reserve(text.size() + path.size());
    for (const char c : path) {
        if (standsForItselfInPath(c)) {
            text += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            text += {'%', hexDigits[byte >> 4U], hexDigits[byte & 0xFU]};
        }
    }
    return FileURL(text);
}

FileURL FileURL::fromPath(std::string_view path) {
    std::string absolute;
    if (!path.starts_with('/')) {
        std::error_code error;
        absolute = std::filesystem::current_path(error).native();
        if (error) {
            throw std::runtime_error("cannot tell where " + inQuotes(path) +
                                     " is: the current folder is gone; give an absolute path");
        }
    }
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view component = path.substr(start, end - start);
        if (!component.empty() && component != ".") {
            if (!absolute.ends_with('/')) {
                absolute += '/';
            }
            absolute += component;
        }
        start = end + 1;
    }
    const bool namesFolder = path.empty() || path.ends_with('/');
    if (absolute.empty() || (namesFolder && !absolute.ends_with('/'))) {
        absolute += '/';
    }
    return ofAbsolutePath(absolute);
}

bool FileURL::hasScheme(std::string_view text) {
    return startsWithIgnoringCase(text, scheme);
}

std::optional<FileURL> FileURL::parse(std::string_view text, std::string* fault) {
    if (text.starts_with("file:///") &&
        std::all_of(text.begin() + beginning.size(), text.end(), standsForItselfInPath)) {
        return FileURL(text);
    }
    const auto refuse = [fault](const std::string& reason) {
        if (fault != nullptr) {
            *fault = reason;
        }
        return std::nullopt;
    };
    if (!hasScheme(text)) {
        return refuse("it is not a file: URL");
    }
    text.remove_prefix(scheme.size());
    const bool hasHost = text.starts_with("//");
    if (hasHost) {
        text.remove_prefix(2);
        constexpr std::string_view thisHost = "localhost";
        if (startsWithIgnoringCase(text, thisHost)) {
            text.remove_prefix(thisHost.size());
        }
    }
    if (!text.starts_with('/')) {
        return refuse(hasHost ? "it names a host; a file on this machine is file:///path"
                              : "the path of a file: URL is absolute, as in file:///path");
    }
    if (text.find('?') != std::string_view::npos) {
        return refuse("a file: URL has no query; write %3F for a \"?\" in a name");
    }
    if (text.find('#') != std::string_view::npos) {
        return refuse("a file: URL has no fragment; write %23 for a \"#\" in a name");
    }
    if (std::any_of(text.begin(), text.end(), isControlCharacter)) {
        return refuse("a URL has no control characters; write %0A for a newline, and so on");
    }
    const std::string path = takeDecoded(text);
    if (!text.empty()) {
        return refuse(inQuotes(text.substr(0, 3)) + " is not a percent escape; write %25 for a \"%\"");
    }
    if (path.find('\0') != std::string::npos) {
        return refuse("no path holds a zero byte (%00)");
    }
    return ofAbsolutePath(path);
}

std::string FileURL::path() const {
    std::string_view encoded = text().substr(beginning.size());
    return takeDecoded(encoded);
}

} // namespace Orvex
