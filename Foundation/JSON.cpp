#include "Foundation/JSON.h"

#include <array>
#include <cstdio>

namespace Orvex {

namespace {

std::string enclosed(char opening, const std::vector<std::string>& lines, char closing, std::size_t depth) {
    std::string text(1, opening);
    const std::string indentation(2 * depth, ' ');
    for (const std::string& line : lines) {
        text.append(text.size() > 1 ? ",\n  " : "\n  ").append(indentation).append(line);
    }
    if (!lines.empty()) {
        text.append("\n").append(indentation);
    }
    return text + closing;
}

} // namespace

std::string jsonString(std::string_view text) {
    constexpr std::string_view escapedByLetter = "\b\f\n\r\t\"\\";
    constexpr std::string_view letters = "bfnrt\"\\";
    std::string out = "\"";
    for (const char c : text) {
        if (const std::size_t place = escapedByLetter.find(c); place != std::string_view::npos) {
            out += {'\\', letters[place]};
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, sizeof "\\u001f"> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
            out += escape.data();
        } else {
            out += c;
        }
    }
    return out + '"';
}

std::string jsonArray(const std::vector<std::string>& elements, std::size_t depth) {
    return enclosed('[', elements, ']', depth);
}

std::string jsonObject(const std::vector<JSONMember>& members, std::size_t depth) {
    std::vector<std::string> lines;
    for (const auto& [name, value] : members) {
        lines.push_back("\"" + std::string(name) + "\": " + value);
    }
    return enclosed('{', lines, '}', depth);
}

} // namespace Orvex
