#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace Orvex {

/// `label` in green, then the default attributes again: the label of a result, or a heading.
[[nodiscard]] std::string inGreen(std::string_view label);

/// Adds the label that the parts make up, in green.
void appendInGreen(std::string& out, std::initializer_list<std::string_view> parts);

/// `label` in red: an error, or nothing found.
[[nodiscard]] std::string inRed(std::string_view label);

/// `label` in yellow: come back later.
[[nodiscard]] std::string inYellow(std::string_view label);

/// Loads what `printLine` needs for `noColor`, and throws `std::runtime_error` when it is missing: to be
/// called before anything is done that has to be reported.
void prepareToPrint(bool noColor);

/// Prints `text` and a newline to standard output, as it is or, with `noColor`, without its escape sequences.
///
/// Sequences are looked for in as many UTF-16 code units from the start as the text has user-perceived
/// characters. In a text with characters of several code units, sequences near its end therefore stay.
void printLine(std::string_view text, bool noColor);

/// Reads a line from standard input, without the newline that ends it, once all that was printed is visible.
/// No value at the end of input; a terminal may go on after it.
[[nodiscard]] std::optional<std::string> readLine();

} // namespace Orvex
