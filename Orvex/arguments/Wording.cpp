#include "Orvex/arguments/Wording.h"

#include "Foundation/LetterCase.h"
#include <algorithm>
#include <vector>

namespace Orvex {

namespace {

/// Optimal string alignment distance: the least number of edits, none of which touches a character twice.
std::size_t editDistance(std::string_view from, std::string_view to) {
    // The last three rows of the table of distances between prefixes. Row i is for the first i characters of
    // `from`.
    std::vector<std::size_t> beforePrevious(to.size() + 1);
    std::vector<std::size_t> previous(to.size() + 1);
    std::vector<std::size_t> current(to.size() + 1);
    for (std::size_t j = 0; j <= to.size(); ++j) {
        current[j] = j;
    }
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::swap(beforePrevious, previous);
        std::swap(previous, current);
        current[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = previous[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            current[j] = std::min({replaced, previous[j] + 1, current[j - 1] + 1});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                current[j] = std::min(current[j], beforePrevious[j - 2] + 1);
            }
        }
    }
    return current[to.size()];
}

std::string_view withoutDashes(std::string_view word) {
    word.remove_prefix(std::min(word.find_first_not_of('-'), word.size()));
    return word;
}

/// True if the edits leave a character besides dashes as it was.
bool haveSomethingInCommon(std::string_view first, std::string_view second) {
    const std::string_view one = withoutDashes(first);
    const std::string_view other = withoutDashes(second);
    return editDistance(one, other) < std::max(one.size(), other.size());
}

} // namespace

std::string joined(std::span<const std::string> texts, std::string_view separator) {
    std::string all;
    for (const std::string& text : texts) {
        if (&text != texts.data()) {
            all += separator;
        }
        all += text;
    }
    return all;
}

std::string replacing(std::string_view text, std::string_view part, std::string_view by) {
    std::string result;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t found = std::min(text.find(part, start), text.size());
        result += text.substr(start, found - start);
        if (found < text.size()) {
            result += by;
        }
        start = found + part.size();
    }
    return result;
}

std::string alternatives(std::span<const std::string> texts) {
    if (texts.size() < 2) {
        return joined(texts, "");
    }
    return joined(texts.first(texts.size() - 1), ", ") + " or " + texts.back();
}

std::size_t nearest(std::string_view word, std::span<const std::string> candidates) {
    constexpr std::size_t longestWord = 100;
    if (word.size() > longestWord) {
        return candidates.size();
    }
    const std::string lower = lowerCased(word);
    std::size_t fewest = word.size() < 8 ? 2 : 3;
    std::size_t found = candidates.size();
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const std::string candidate = lowerCased(candidates[i]);
        const std::size_t distance = editDistance(lower, candidate);
        if (distance < fewest && haveSomethingInCommon(lower, candidate)) {
            fewest = distance;
            found = i;
        }
    }
    return found;
}

void appendWrapped(std::string& out, std::string_view text, std::size_t column, std::size_t indent,
                   std::size_t width) {
    bool atStart = true;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        if (!atStart && column + 1 + end > width) {
            out += '\n';
            out.append(indent, ' ');
            column = indent;
        } else if (!atStart) {
            out += ' ';
            ++column;
        }
        out += text.substr(0, end);
        column += end;
        atStart = false;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

} // namespace Orvex
