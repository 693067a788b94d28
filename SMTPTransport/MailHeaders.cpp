#include "SMTPTransport/MailHeaders.h"

#include "Foundation/CharacterSets.h"
#include "Foundation/LetterCase.h"
#include "Foundation/UTF8.h"
#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <curl/curl.h>
#include <filesystem>
#include <iomanip>
#include <locale>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace Orvex {

namespace {

/// Percent-encodes a character for RFC 2231, unless it is a letter, a digit or one of "-._~".
std::string escaped(char32_t c) {
    std::string bytes;
    appendUTF8(bytes, c);
    const std::unique_ptr<char, decltype(&curl_free)> escape(
        curl_easy_escape(nullptr, bytes.data(), static_cast<int>(bytes.size())), curl_free);
    return escape ? escape.get() : throw std::bad_alloc();
}

} // namespace

std::string addressHeader(std::string_view name, const std::vector<std::string>& addresses) {
    std::string header(name);
    std::string_view separator = ": ";
    for (const std::string& address : addresses) {
        header.append(separator) += address;
        separator = ",\r\n ";
    }
    return header;
}

std::string mailDate(const std::string& timestamp) {
    std::istringstream in(timestamp);
    in.imbue(std::locale::classic());
    std::tm moment{};
    in >> std::get_time(&moment, "%Y-%m-%dT%H:%M:%S");
    if (!in) {
        throw std::runtime_error("the outbox has no time for it");
    }
    // Sets the day of the week.
    timegm(&moment);
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << std::put_time(&moment, "%a, %d %b %Y %H:%M:%S +0000");
    return out.str();
}

std::string attachmentHeader(std::string_view fileName) {
    // A line should not exceed 78 characters, so long names are split, between characters.
    constexpr std::size_t longestSection = 60;
    constexpr char32_t replacement = 0xFFFD;
    std::vector<std::string> sections{"UTF-8''"};
    for (std::size_t position = 0; position < fileName.size();) {
        const char32_t c = nextCharacter(fileName, position).value_or(replacement);
        const bool isDeceptive = isControl(c) || c == 0x2028 || c == 0x2029 || isBidirectionalControl(c);
        const std::string escape = escaped(isDeceptive ? replacement : c);
        if (sections.back().size() + escape.size() > longestSection) {
            sections.emplace_back();
        }
        sections.back() += escape;
    }
    std::string header = "Content-Disposition: attachment";
    if (sections.size() == 1 && sections[0].ends_with("''" + std::string(fileName))) {
        return header.append(";\r\n filename=\"").append(fileName) + '"';
    }
    for (std::size_t i = 0; i < sections.size(); ++i) {
        header +=
            ";\r\n filename" + (sections.size() > 1 ? "*" + std::to_string(i) : "") + "*=" + sections[i];
    }
    return header;
}

std::string videoType(std::string_view fileName) {
    constexpr std::array types = std::to_array<std::pair<std::string_view, std::string_view>>({
        {".3g2", "video/3gpp2"},
        {".3gp", "video/3gpp"},
        {".avi", "video/x-msvideo"},
        {".m4v", "video/mp4"},
        {".mkv", "video/matroska"},
        {".mov", "video/quicktime"},
        {".mp4", "video/mp4"},
        {".mpeg", "video/mpeg"},
        {".mpg", "video/mpeg"},
        {".ogv", "video/ogg"},
        {".webm", "video/webm"},
    });
    const std::string extension = lowerCased(std::filesystem::path(fileName).extension().native());
    const auto* const found =
        std::find_if(types.begin(), types.end(), [&](const auto& type) { return type.first == extension; });
    return std::string(found != types.end() ? found->second : "application/octet-stream");
}

} // namespace Orvex
