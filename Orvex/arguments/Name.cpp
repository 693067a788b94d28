#include "Orvex/arguments/Name.h"

#include "Foundation/LetterCase.h"

namespace Orvex {

std::string lowerCaseWords(std::string_view identifier) {
    std::string words;
    for (std::size_t i = 0; i < identifier.size(); ++i) {
        const char c = identifier[i];
        if (!isUpperCase(c)) {
            words += c;
            continue;
        }
        // A run of capitals is one word. If a small letter follows, the last capital begins the next word.
        const bool endsWord = i > 0 && !isUpperCase(identifier[i - 1]);
        const bool beginsWord = i > 0 && i + 1 < identifier.size() && !isUpperCase(identifier[i + 1]);
        if (endsWord || beginsWord) {
            words += '-';
        }
        words += lowerCased(c);
    }
    return words;
}

std::string Name::spelling(std::string_view propertyName) const {
    return std::string(dashes_) + (text_.empty() ? lowerCaseWords(propertyName) : std::string(text_));
}

} // namespace Orvex
