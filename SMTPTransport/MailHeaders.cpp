#include "SMTPTransport/MailHeaders.h"

#include "Foundation/LetterCase.h"
#include "Foundation/UTF8.h"
#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <locale>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace Orvex {

namespace {

bool isLetterOrDigit(char c) {
    return (c >= '0' && c <= '9') || (lowerCased(c) >= 'a' && lowerCased(c) <= 'z');
}

/// Fit to stand between quotes, and in a line of ordinary length.
bool isPlainName(std::string_view name) {
    constexpr std::size_t longest = 60;
    return name.size() <= longest && std::all_of(name.begin(), name.end(), [](char c) {
               return c >= ' ' && c <= '~' && c != '"' && c != '\\';
           });
}

/// With a replacement for each control character and for bytes that are no UTF-8.
std::string asText(std::string_view bytes) {
    constexpr char32_t replacement = 0xFFFD;
    std::string text;
    for (std::size_t position = 0; position < bytes.size();) {
        const char32_t c = nextCharacter(bytes, position).value_or(replacement);
        const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
        appendUTF8(text, isControl ? replacement : c);
    }
    return text;
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
    // Finds the day of the week.
    timegm(&moment);
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << std::put_time(&moment, "%a, %d %b %Y %H:%M:%S +0000");
    return out.str();
}

std::string attachmentHeader(std::string_view fileName) {
    std::string header = "Content-Disposition: attachment;\r\n filename";
    if (isPlainName(fileName)) {
        return header.append("=\"").append(fileName) + '"';
    }
    // In sections, since a line should have no more than 78 characters.
    constexpr std::size_t longestSection = 54;
    constexpr std::string_view hexadecimal = "0123456789ABCDEF";
    std::vector<std::string> sections{"UTF-8''"};
    for (const char c : asText(fileName)) {
        if (sections.back().size() > longestSection) {
            sections.emplace_back();
        }
        if (isLetterOrDigit(c) || c == '.' || c == '-' || c == '_') {
            sections.back() += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            sections.back() +=
                {'%', hexadecimal[byte / hexadecimal.size()], hexadecimal[byte % hexadecimal.size()]};
        }
    }
    for (std::size_t i = 0; i < sections.size(); ++i) {
        header += i > 0 ? ";\r\n filename" : "";
        header += (sections.size() > 1 ? "*" + std::to_string(i) : "") + "*=" + sections[i];
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
