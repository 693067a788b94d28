#include "Orvex/arguments/ExpressibleByArgument.h"

#include "Orvex/arguments/Wording.h"
#include <algorithm>
#include <utility>
#include <vector>

namespace Orvex {

namespace {

/// True if the text begins with a URL's scheme (RFC 3986, section 3.1).
bool hasURLScheme(std::string_view text) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto isSchemeCharacter = [&](char c) {
        return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    };
    const auto* const end = std::find_if_not(text.begin(), text.end(), isSchemeCharacter);
    return !text.empty() && isLetter(text.front()) && end != text.end() && *end == ':';
}

} // namespace

ValueSyntax ArgumentConversion<std::string>::syntax() {
    return {.placeholder = "<text>", .expected = "a text"};
}

std::optional<bool> ArgumentConversion<bool>::parse(std::string_view word) {
    if (word == "true" || word == "false") {
        return word == "true";
    }
    return std::nullopt;
}

ValueSyntax ArgumentConversion<bool>::syntax() {
    return {.placeholder = "<true|false>", .expected = "true or false", .values = {"true", "false"}};
}

ValueSyntax ArgumentConversion<double>::syntax() {
    return {.placeholder = "<number>", .expected = "a finite number such as 12.5"};
}

ValueSyntax pathSyntax() {
    return {.placeholder = "<path>", .expected = "a path", .isPath = true};
}

std::optional<FileURL> ArgumentConversion<FileURL>::parse(std::string_view word) {
    if (word.empty()) {
        return std::nullopt;
    }
    if (FileURL::hasScheme(word)) {
        std::string fault;
        std::optional<FileURL> url = FileURL::parse(word, &fault);
        return url ? url : throw InvalidValue(fault);
    }
    return hasURLScheme(word) ? std::nullopt : std::optional(FileURL::fromPath(word));
}

ValueSyntax ArgumentConversion<FileURL>::syntax() {
    return {.placeholder = "<path>",
            .expected = "a path (begin it with \"./\" if its name has a \":\"), or a URL such as "
                        "file:///tmp/my%20video.mov",
            .isPath = true};
}

ValueSyntax enumerationSyntax(std::vector<std::string> numbers, std::vector<std::string> caseNames) {
    std::vector<std::string> explained;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        explained.push_back(numbers[i] + " (" + caseNames[i] + ")");
    }
    std::string placeholder = "<" + joined(numbers, "|") + ">";
    return {.placeholder = std::move(placeholder),
            .expected = alternatives(explained),
            .values = std::move(numbers),
            .meanings = std::move(caseNames)};
}

} // namespace Orvex
