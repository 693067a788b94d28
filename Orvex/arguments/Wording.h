#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace Orvex {

/// Concatenates the texts with `separator` between them.
[[nodiscard]] std::string joined(std::span<const std::string> texts, std::string_view separator);

/// Replaces every `part` of `text` by `by`. `part` must not be empty.
[[nodiscard]] std::string replacing(std::string_view text, std::string_view part, std::string_view by);

/// Joins the texts as in "a, b or c".
[[nodiscard]] std::string alternatives(std::span<const std::string> texts);

/// The index of the candidate that `word` probably misspells; `candidates.size()` if there is none.
///
/// This is the first candidate with the fewest edits: characters inserted, removed or replaced, or neighbours
/// swapped; letter case is ignored. One edit is allowed, or two from eight characters on, and at least one
/// character besides dashes must stay.
[[nodiscard]] std::size_t nearest(std::string_view word, std::span<const std::string> candidates);

/// Appends `text`, broken at blanks into lines of at most `width` bytes. The first line begins at `column`;
/// each further line begins after a newline and `indent` blanks. A longer word gets a line of its own.
void appendWrapped(std::string& out, std::string_view text, std::size_t column, std::size_t indent,
                   std::size_t width);

} // namespace Orvex
