#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Orvex {

/// Appends `text` in double quotes, safe for a terminal: one line of valid UTF-8 that cannot move the cursor
/// and has no invisible characters. Escapes quotes, backslashes, control characters (C0, DEL, C1), U+2028,
/// U+2029 and invisible characters (Unicode's Default_Ignorable_Code_Point, including bidirectional controls)
/// as `\"`, `\\`, `\n`, `\r`, `\t` or `\u{HEX}`, and bytes that are not UTF-8 as `\xHH`.
void appendQuoted(std::string& out, std::string_view text);

/// The same for texts that people said or wrote. Keeps U+200C, U+200D and variation selectors, which shape
/// emoji and the letters of some scripts.
void appendQuotedProse(std::string& out, std::string_view text);

/// Returns what `appendQuoted` appends.
[[nodiscard]] std::string inQuotes(std::string_view text);

/// The same for the first 64 bytes or so, followed by an ellipsis if there are more.
[[nodiscard]] std::string excerptInQuotes(std::string_view text);

/// Returns `text` with the same escapes, but without quotes around it, and with quotes and backslashes as
/// they are. For sentences from outside, such as a library's error message.
[[nodiscard]] std::string onOneLine(std::string_view text);

/// Returns the texts of the elements, separated by ", ", in square brackets.
template <class Range, class TextOf>
[[nodiscard]] std::string bracketed(const Range& elements, TextOf textOf) {
    std::string list = "[";
    for (const auto& element : elements) {
        if (list.size() > 1) {
            list += ", ";
        }
        list += std::invoke(textOf, element);
    }
    list += ']';
    return list;
}

} // namespace Orvex
