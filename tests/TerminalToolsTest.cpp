#include "Orvex/TerminalTools.h"
#include "Support.h"
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>

namespace Orvex {
namespace {

using namespace std::string_view_literals;

std::string printed(std::string_view text, bool noColor) {
    return Testing::outputOf([&] { printLine(text, noColor); });
}

TEST(PrintLine, WritesByteForByteInColor) {
    for (const std::string_view text : {""sv, "\x1b[0;32mlabel\x1b[0;0mvalue\n"sv, "\xff\33c\0end"sv}) {
        EXPECT_EQ(printed(text, false), std::string(text) + "\n");
    }
}

TEST(PrintLine, StripsEscapesWithoutColorAmongAsManyCodeUnitsAsThereAreCharacters) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", ""},
        {"\x1b[0;32mMessage count: \x1b[0;0m42", "Message count: 42"},
        {"\x1b[0;31mError: \n\x1b[0;0mwhy", "Error: \nwhy"},
        // Two characters, of either case: the Kelvin sign and the long s fold to letters of the set.
        {"\33c.\33M.\33-.\33_.\33\u212a.\33\u017f.", "......"},
        {"\0337\33 ~\33é\33", "\0337\33 ~\33é\33"},
        {"\x1b[?25l\x1b[1 q\x1b[38:5:1m\x1b[@", ""},
        // The opening bracket is in neither set on its own.
        {"\x1b[31\n", "\x1b[31\n"},
        {"\x1b\x1b[31mx", "\x1bx"},
        // Nothing but the escapes is lost.
        {"\xff\x1b[31m\xc3\33c\x80\0end"sv, "\xff\xc3\x80\0end"sv},
        // One character in two code units: the last unit of the text lies outside, and with it the sequence's
        // end.
        {"😀\x1b[0m", "😀\x1b[0m"},
        {"😀\x1b[0m.", "😀."},
        {"\x1b[0m😀", "😀"},
        {"e\u0301\33c", "e\u0301\33c"},
        {"é\33c", "é"},
        // CR LF is one character.
        {"\r\n\33c", "\r\n\33c"},
        {"\n\r\33c", "\n\r"},
        {"👨‍👩‍👧\x1b[0;32m123456", "👨‍👩‍👧\x1b[0;32m123456"},
        {"👨‍👩‍👧\x1b[0;32m1234567\33c", "👨‍👩‍👧1234567\33c"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(printed(text, true), std::string(expected) + "\n") << text;
    }
}

} // namespace
} // namespace Orvex
