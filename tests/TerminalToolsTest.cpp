#include "Orvex/TerminalTools.h"
#include "Faults.h"
#include "Orvex/Prompts.h"
#include "Support.h"
#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>
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

TEST(PrintLine, LeavesALongTextBehindTheLastEscapeAsItIs) {
    std::string text = "\x1b[0;32mTranscript: \x1b[0;0m\n";
    for (std::size_t i = 0; i < 5000; ++i) {
        text += "é\n";
    }
    EXPECT_EQ(printed(text, true), text.substr(7, 12) + text.substr(25) + "\n");
}

TEST(ReadLine, WaitsForTheRestOfALine) {
    const Testing::InputFrom restored("");
    std::array<int, 2> pipe{};
    ASSERT_EQ(pipe2(pipe.data(), O_NONBLOCK | O_CLOEXEC), 0);
    dup2(pipe[0], STDIN_FILENO);
    std::thread typist([&pipe] {
        for (const std::string_view typed : {"1,", "2\r", "\nrest"}) {
            // Once all that is there has been read, the reader asks for more.
            int unread = 1;
            while (unread > 0 && ioctl(pipe[0], FIONREAD, &unread) == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            EXPECT_EQ(write(pipe[1], typed.data(), typed.size()), std::ssize(typed));
        }
        close(pipe[1]);
    });
    EXPECT_EQ(readLine(), "1,2");
    typist.join();
    EXPECT_EQ(readLine(), "rest");
    EXPECT_EQ(readLine(), std::nullopt);
    close(pipe[0]);
}

TEST(ReadLine, TellsAnInterruptFromAFailureAndThatFromTheEnd) {
    const Testing::InputFrom input("2\ny\n");
    {
        const Testing::Faults faults({.number = 1, .error = EINTR});
        EXPECT_EQ(readLine(), "2");
    }
    EXPECT_EXIT(
        {
            const Testing::Faults faults({.number = 1, .error = EIO});
            static_cast<void>(readLine());
        },
        testing::ExitedWithCode(1),
        "^orvex_tests: cannot read an answer from standard input: Input/output error; "
        "answer in a terminal or through a pipe\n$");
}

} // namespace
} // namespace Orvex
