#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace Orvex {

/// `label` in green, then default attributes: the label of a result, or a heading.
[[nodiscard]] std::string inGreen(std::string_view label);

/// Appends the concatenated parts in green.
void appendInGreen(std::string& out, std::initializer_list<std::string_view> parts);

/// `label` in red, then default attributes: an error, or an empty result.
[[nodiscard]] std::string inRed(std::string_view label);

/// `label` in yellow, then default attributes: a request to try again later.
[[nodiscard]] std::string inYellow(std::string_view label);

/// Loads the libraries that `printLine` needs for `noColor`. Throws `std::runtime_error` if one is missing.
/// Call it before any work whose result has to be printed.
void prepareToPrint(bool noColor);

/// Prints `text` and a newline to standard output; with `noColor`, without escape sequences.
///
/// Escape sequences are removed only from the first N UTF-16 code units of the text, where N is its number of
/// user-perceived characters. If characters take several code units, sequences near the end therefore stay.
void printLine(std::string_view text, bool noColor);

} // namespace Orvex
