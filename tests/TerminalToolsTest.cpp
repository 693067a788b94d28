#include "Orvex/TerminalTools.h"
#include "Support.h"
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace Orvex {
namespace {

using namespace std::string_view_literals;

std::string printed(std::string_view text, bool noColor) {
    return Testing::outputOf([&] { printLine(text, noColor); });
}

TEST(PrintLine, WritesByteForByteInColor) {
    for (const std::string_view text : {""sv, "\x1b[0;32mlabel\x1b[0;0mvalue\n"sv,
                                        "\xff\x1b"
                                        "c\0end"sv}) {
        EXPECT_EQ(printed(text, false), std::string(text) + "\n");
    }
}

TEST(PrintLine, StripsEscapesWithoutColor) {
    struct Case {
        std::string_view text;
        std::string_view expected;
    };
    const Case cases[] = {
        {"", ""},
        {"\x1b[0;32mMessage count: \x1b[0;0m42", "Message count: 42"},
        {"\x1b[0;31mError: \n\x1b[0;0mwhy", "Error: \nwhy"},
        // Two characters, of either case: the Kelvin sign and the long s fold to letters of the set.
        {"\x1b"
         "c.\x1bM.\x1b-.\x1b_.\x1b\u212a.\x1b\u017f.",
         "......"},
        {"\x1b"
         "7\x1b ~\x1b"
         "é\x1b",
         "\x1b"
         "7\x1b ~\x1b"
         "é\x1b"},
        {"\x1b[?25l\x1b[1 q\x1b[38:5:1m\x1b[@", ""},
        // The opening bracket is in neither set on its own.
        {"\x1b[31\n", "\x1b[31\n"},
        {"\x1b\x1b[31mx", "\x1bx"},
        // Nothing but the escapes is lost.
        {"\xff\x1b[31m\xc3\x1b"
         "c\x80\0end"sv,
         "\xff\xc3\x80\0end"sv},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(printed(each.text, true), std::string(each.expected) + "\n") << each.text;
    }
}

TEST(PrintLine, LooksAtAsManyCodeUnitsAsThereAreCharacters) {
    struct Case {
        std::string_view text;
        std::string_view expected;
    };
    const Case cases[] = {
        // One character in two code units: the last unit of the text lies outside, and with it the sequence's
        // end.
        {"😀\x1b[0m", "😀\x1b[0m"},
        {"😀\x1b[0m.", "😀."},
        {"\x1b[0m😀", "😀"},
        {"e\u0301\x1b"
         "c",
         "e\u0301\x1b"
         "c"},
        {"é\x1b"
         "c",
         "é"},
        // CR LF is one character.
        {"\r\n\x1b"
         "c",
         "\r\n\x1b"
         "c"},
        {"\n\r\x1b"
         "c",
         "\n\r"},
        {"👨‍👩‍👧\x1b[0;32m123456", "👨‍👩‍👧\x1b[0;32m123456"},
        {"👨‍👩‍👧\x1b[0;32m1234567\x1b"
         "c",
         "👨‍👩‍👧1234567\x1b"
         "c"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(printed(each.text, true), std::string(each.expected) + "\n") << each.text;
    }
}

} // namespace
} // namespace Orvex
