#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace Orvex {

/// The texts with `separator` between them.
[[nodiscard]] std::string joined(std::span<const std::string> texts, std::string_view separator);

/// `text` with every `part` replaced by `by`. `part` is not empty.
[[nodiscard]] std::string replacing(std::string_view text, std::string_view part, std::string_view by);

/// The texts as a choice: "a, b or c".
[[nodiscard]] std::string alternatives(std::span<const std::string> texts);

/// The index of the candidate that `word` is probably a misspelling of: the first of those the fewest edits
/// away (a character inserted, removed or replaced, or two neighbours swapped; a change of letter case is
/// free), as long as that is one edit, or two for a word of eight characters or more, and leaves a character
/// other than a dash as it was. `candidates.size()` when none is near.
[[nodiscard]] std::size_t nearest(std::string_view word, std::span<const std::string> candidates);

/// Breaks `text` at blanks into lines of at most `width` characters and appends them, each but the first
/// after a newline and `indent` blanks. A word that is wider gets a line of its own. `column` is where the
/// first line begins.
void appendWrapped(std::string& out, std::string_view text, std::size_t column, std::size_t indent,
                   std::size_t width);

} // namespace Orvex
