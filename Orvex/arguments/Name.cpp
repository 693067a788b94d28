#include "Orvex/arguments/Name.h"

namespace Orvex {

namespace {

constexpr bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

} // namespace

std::string lowerCaseWords(std::string_view identifier) {
    std::string words;
    for (std::size_t i = 0; i < identifier.size(); ++i) {
        const char c = identifier[i];
        if (!isUpper(c)) {
            words += c;
            continue;
        }
        // A run of capitals is one word, but its last one begins the next word where a small letter follows.
        const bool endsWord = i > 0 && !isUpper(identifier[i - 1]);
        const bool beginsWord = i > 0 && i + 1 < identifier.size() && !isUpper(identifier[i + 1]);
        if (endsWord || beginsWord) {
            words += '-';
        }
        words += static_cast<char>(c - 'A' + 'a');
    }
    return words;
}

std::string Name::spelling(std::string_view propertyName) const {
    return std::string(dashes_) + (text_.empty() ? lowerCaseWords(propertyName) : std::string(text_));
}

} // namespace Orvex
