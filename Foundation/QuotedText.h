#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Orvex {

/// Appends `text` in double quotes, safe to show on a terminal: quotes, backslashes, control characters (C0,
/// DEL, C1), U+2028, U+2029 and characters that are shown as nothing (Unicode's Default_Ignorable_Code_Point,
/// which has the bidirectional controls) are escaped as `\"`, `\\`, `\n`, `\r`, `\t` or `\u{HEX}`, and bytes
/// that are no UTF-8 as `\xHH`. The result is one line of valid UTF-8 that cannot move a cursor, and in which
/// no character hides.
void appendQuoted(std::string& out, std::string_view text);

/// The same of what somebody said or wrote: U+200C, U+200D and variation selectors stay, since they shape
/// the letters of some scripts, and emoji.
void appendQuotedProse(std::string& out, std::string_view text);

[[nodiscard]] std::string inQuotes(std::string_view text);

/// The same of the first 64 bytes or so, then an ellipsis if there is more: for messages.
[[nodiscard]] std::string excerptInQuotes(std::string_view text);

/// The same escapes without the surrounding quotes, quotes and backslashes left alone: for text from
/// elsewhere that is a sentence, such as an error message.
[[nodiscard]] std::string onOneLine(std::string_view text);

/// The text of each element, separated by ", ", inside square brackets.
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
