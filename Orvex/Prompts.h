#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// Flushes standard output and reads a line from standard input, without its LF or CR LF. No value at the end
/// of input; a terminal may deliver more lines after it.
///
/// Does not read past the line, so that the next process with the same standard input gets the rest. Waits if
/// the input is non-blocking. If reading fails, it prints an error and ends the process with status 1: a
/// failure must not pass for an answer.
[[nodiscard]] std::optional<std::string> readLine();

/// The numbers in a comma-separated line, in their order. Ignores everything else, and Unicode white space
/// and U+FEFF around a number.
[[nodiscard]] std::vector<std::int64_t> numbersIn(std::string_view line);

/// Prints the prompt and returns the numbers in the next line of input; none at the end of input.
[[nodiscard]] std::vector<std::int64_t> askForNumbers(std::string_view prompt, bool noColor);

/// Prints the prompt until the answer, in any letter case, is true, yes, 1 or y (returns true), or false, no,
/// 0 or n (returns false). At the end of input it repeats the prompt forever: only an answer decides.
[[nodiscard]] bool askYesNo(std::string_view prompt, bool noColor);

} // namespace Orvex
