#include "Foundation/CharacterSets.h"
#include "Foundation/ConnectionString.h"
#include "Foundation/Description.h"
#include "Foundation/FatalError.h"
#include "Foundation/FileURL.h"
#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include "Foundation/RegularExpression.h"
#include "Foundation/RegularFile.h"
#include "Foundation/SharedText.h"
#include "Foundation/UTF8.h"
#include "Foundation/UUID.h"
#include "tests/Faults.h"
#include "tests/Support.h"
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <thread>
#include <unistd.h>

namespace Orvex {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Testing::TemporaryFolder;

TEST(UUID, ReadsItsTextFormAndNothingElse) {
    const auto uuid = UUID::parse("0123abCD-4567-89ef-FEDC-ba9876543210");
    ASSERT_TRUE(uuid);
    EXPECT_EQ(uuid->text(), "0123ABCD-4567-89EF-FEDC-BA9876543210");
    EXPECT_EQ(uuid->bytes()[15], 0x10);
    for (const std::string_view text :
         {""sv, "0123ABCD-4567-89EF-FEDC-BA987654321"sv, "0123ABCD-4567-89EF-FEDC-BA98765432100"sv,
          " 0123ABCD-4567-89EF-FEDC-BA987654321"sv, "0123ABCD-4567-89EF-FEDC-BA98765432 0"sv,
          "0123ABCD456789EFFEDCBA98765432101234"sv, "G123ABCD-4567-89EF-FEDC-BA9876543210"sv,
          "0123ABCD4-567-89EF-FEDC-BA9876543210"sv, "0x23ABCD-4567-89EF-FEDC-BA9876543210"sv,
          "+123ABCD-4567-89EF-FEDC-BA9876543210"sv, "0123ABCD-4567-89EF-FEDC-BA98765432-0"sv,
          "0123ABCD-4567-89EF-FEDC-BA987654321\0"sv, "{123ABCD-4567-89EF-FEDC-BA987654321}"sv}) {
        EXPECT_FALSE(UUID::parse(text)) << text;
    }
}

TEST(UUID, RandomOnesDifferInAllBitsButThoseOfTheirVersion) {
    UUID::Bytes ones{};
    UUID::Bytes zeros{};
    for (int i = 0; i < 100; ++i) {
        const UUID uuid = UUID::random();
        for (std::size_t byte = 0; byte < ones.size(); ++byte) {
            ones[byte] |= uuid.bytes()[byte];
            zeros[byte] |= static_cast<unsigned char>(~uuid.bytes()[byte]);
        }
    }
    EXPECT_EQ(UUID(ones).text(), "FFFFFFFF-FFFF-4FFF-BFFF-FFFFFFFFFFFF");
    EXPECT_EQ(UUID(zeros).text(), "FFFFFFFF-FFFF-BFFF-7FFF-FFFFFFFFFFFF");
}

TEST(FileURL, EncodesPaths) {
    const std::string here(FileURL::fromPath("").text());
    EXPECT_EQ(here, FileURL::fromPath(std::filesystem::current_path().native() + "/").text());
    const std::pair<std::string_view, std::string> cases[] = {
        {"/", "file:///"},
        {"/a b/ü?#%[].mov", "file:///a%20b/%C3%BC%3F%23%25%5B%5D.mov"},
        {"/tilde~and-dots.._/!$&'()*+,;=:@", "file:///tilde~and-dots.._/!$&'()*+,;=:@"},
        {"//a///b/./c/", "file:///a/b/c/"},
        {"/a/../b/..", "file:///a/../b/.."},
        {"/\x01\xff\n", "file:///%01%FF%0A"},
        {"file.mov", here + "file.mov"},
        {"./x/", here + "x/"},
        {".", here.substr(0, here.size() - 1)},
    };
    for (const auto& [path, url] : cases) {
        EXPECT_EQ(FileURL::fromPath(path).text(), url) << path;
    }
}

TEST(FileURL, ReadsURLs) {
    const std::pair<std::string_view, std::string> cases[] = {
        {"file:///a%20b", "/a b"},
        {"FILE:///a", "/a"},
        {"file:/a", "/a"},
        {"file://localhost/a", "/a"},
        {"file://LocalHost/%c3%BC", "/ü"},
        {"file:///a b:ü", "/a b:ü"},
        {"file:///%2541", "/%41"},
    };
    for (const auto& [text, path] : cases) {
        const auto url = FileURL::parse(text);
        ASSERT_TRUE(url) << text;
        EXPECT_EQ(url->path(), path);
        EXPECT_EQ(FileURL::fromPath(path), url);
    }
    for (const std::string_view text :
         {"file://"sv, "file:a"sv, "file://elsewhere/a"sv, "file://localhost"sv, "http:///a"sv,
          "file:///a%2"sv, "file:///a%"sv, "file:///a%zz"sv, "file:///a%+1"sv, "file:///a%00b"sv,
          "file:///a?b"sv, "file:///a#b"sv, "file:///a\nb"sv, "file:///a\x1f"sv, "file:///a\x7f"sv,
          "file:///a%41"sv.substr(0, 11), "/a"sv, ""sv}) {
        EXPECT_FALSE(FileURL::parse(text)) << text;
    }
    const std::pair<std::string_view, std::string> faults[] = {
        {"file:a", "the path of a file: URL is absolute, as in file:///path"},
        {"file://elsewhere/a", "it names a host; a file on this machine is file:///path"},
        {"file:///a?b", "a file: URL has no query; write %3F for a \"?\" in a name"},
        {"file:///a#b", "a file: URL has no fragment; write %23 for a \"#\" in a name"},
        {"file:///a%41%4", "\"%4\" is not a percent escape; write %25 for a \"%\""},
        {"file:///100%zz", "\"%zz\" is not a percent escape; write %25 for a \"%\""},
    };
    for (const auto& [text, expected] : faults) {
        std::string fault;
        EXPECT_FALSE(FileURL::parse(text, &fault));
        EXPECT_EQ(fault, expected) << text;
    }
}

TEST(ConnectionString, IsNeverRepeated) {
    const std::pair<std::string_view, std::string> cases[] = {
        {"postgresql://u:secret@h/d", "postgresql://..."},
        {"PG://u:secret@h", "PG://..."},
        {"u:secret@h://x", "..."},
        {"password=secret service=http://x", "..."},
        {"--postgresql://u:secret@h", "--postgresql://..."},
        {"--Postgresql//u:secret@h", "..."},
        {"postgresql//u:secret@h/d", "..."},
        {"postgres:secret", "..."},
        {"SMTPS:/u:secret@h", "..."},
        {"host=db password=secret", "..."},
        {"\tHost = db password=secret", "..."},
        {"passwort=secret", "passwort=secret"},
        {"hostt=secret", "..."},
        {"file:///a?://b", "file:///a?://b"},
        {"File:/smtp://a", "File:/smtp://a"},
        {"./host=db", "./host=db"},
        {"options/a=b", "options/a=b"},
        {"/postgres:a", "/postgres:a"},
        {"postgresql.db", "postgresql.db"},
        {"smtp/a", "smtp/a"},
        {"c:a", "c:a"},
        {"", ""},
    };
    for (const auto& [word, shown] : cases) {
        EXPECT_EQ(withoutSecrets(word), shown);
        EXPECT_EQ(isConnectionString(word), word != shown) << word;
    }
}

TEST(Number, IsReadWhole) {
    const std::pair<std::string_view, std::optional<std::int32_t>> integers[] = {
        {"0", 0},    {"+7", 7},          {"-2147483648", std::numeric_limits<std::int32_t>::min()},
        {"007", 7},  {"2147483648", {}}, {"", {}},
        {"+", {}},   {"-", {}},          {"+-1", {}},
        {" 1", {}},  {"1 ", {}},         {"1.0", {}},
        {"0x1", {}}, {"1,5", {}},        {"٣", {}},
    };
    for (const auto& [text, number] : integers) {
        EXPECT_EQ(parseNumber<std::int32_t>(text), number) << text;
    }
    const std::pair<std::string_view, std::optional<double>> reals[] = {
        {"1.5", 1.5}, {"+.5", 0.5}, {"-1e3", -1000.0}, {"1.5s", {}}, {" 1", {}},    {"", {}},
        {"0x1", {}},  {"1,5", {}},  {"inf", {}},       {"nan", {}},  {"1e400", {}}, {"+-1", {}},
    };
    for (const auto& [text, number] : reals) {
        EXPECT_EQ(parseNumber<double>(text), number) << text;
    }
}

TEST(QuotedText, CannotBeObeyedByATerminal) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", R"("")"},
        {"+15550100", R"("+15550100")"},
        {R"(say "hi" \o/)", R"("say \"hi\" \\o/")"},
        {"a\nb\rc\td", R"("a\nb\rc\td")"},
        {"\0\x1b[31m\x7f"sv, R"("\u{0}\u{1B}[31m\u{7F}")"},
        {"\u0085\u009b", R"("\u{85}\u{9B}")"},
        {"\u061c\u200e\u200f\u202a\u202e\u2066\u2069",
         R"("\u{61C}\u{200E}\u{200F}\u{202A}\u{202E}\u{2066}\u{2069}")"},
        {"\u2028\u2029", R"("\u{2028}\u{2029}")"},
        {"\x80 \xc3 \xc0\xaf \xed\xa0\x80 \xf4\x90\x80\x80"sv,
         R"("\x80 \xC3 \xC0\xAF \xED\xA0\x80 \xF4\x90\x80\x80")"},
        {"é 😀 \u00a0\u2027\u202f", "\"é 😀 \u00a0\u2027\u202f\""},
        {"ann\u200b\u00ad\ufeff\u3164\U000e0041", R"("ann\u{200B}\u{AD}\u{FEFF}\u{3164}\u{E0041}")"},
        {"👩\u200d🚀 می\u200cخواهم ❤\ufe0f", R"("👩\u{200D}🚀 می\u{200C}خواهم ❤\u{FE0F}")"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(inQuotes(text), expected);
    }
    std::string prose;
    appendQuotedProse(prose,
                      "👩\u200d🚀 می\u200cخواهم ❤\ufe0f \u180b\U000e0100 \"\u200b\u200e\u2060\U000e0041\n");
    EXPECT_EQ(prose, "\"👩\u200d🚀 می\u200cخواهم ❤\ufe0f \u180b\U000e0100 "
                     R"(\"\u{200B}\u{200E}\u{2060}\u{E0041}\n")");
    EXPECT_EQ(onOneLine("no \"x\"\nin \\y\x9b"), "no \"x\"\\nin \\y\\x9B");
    EXPECT_EQ(bracketed(std::vector<std::string>(), inQuotes), "[]");
    const std::string elements[] = {"", "a, \"b\""};
    EXPECT_EQ(bracketed(elements, inQuotes), R"(["", "a, \"b\""])");
}

TEST(QuotedText, SeesEachByteWhereverItStands) {
    for (int byte = 0; byte <= 0xFF; ++byte) {
        const std::string one(1, static_cast<char>(byte));
        const std::string quoted = inQuotes(one);
        for (std::size_t before = 0; before < 20; ++before) {
            for (std::size_t behind = 0; behind < 10; ++behind) {
                const std::string left(before, 'x');
                const std::string right(behind, 'x');
                ASSERT_EQ(inQuotes(left + one + right),
                          '"' + left + quoted.substr(1, quoted.size() - 2) + right + '"');
            }
        }
    }
}

TEST(CharacterSets, AreThoseOfICU) {
    const std::pair<std::string_view, bool (*)(char32_t) noexcept> sets[] = {
        {R"(\p{White_Space})", isWhiteSpace},
        {R"(\p{Bidi_Control})", isBidirectionalControl},
        {R"(\p{Variation_Selector})", isVariationSelector},
        {R"(\p{Default_Ignorable_Code_Point})", isInvisible},
    };
    for (const auto& [pattern, isInSet] : sets) {
        std::string all;
        std::string others;
        for (char32_t c = 0; c <= 0x10FFFF; ++c) {
            if (c < 0xD800 || c > 0xDFFF) {
                appendUTF8(all, c);
                if (!isInSet(c)) {
                    appendUTF8(others, c);
                }
            }
        }
        RegularExpression set(pattern, RegularExpression::CaseSensitivity::sensitive);
        EXPECT_TRUE(set.removingMatches(all, all.size()) == others) << pattern;
    }
}

TEST(SharedText, OutlivesItsMakerInAnyThread) {
    // Of all sizes around those that end a block, and of those that have a block of their own.
    const auto text = [](std::size_t number) {
        return std::string(number * number % 9000, static_cast<char>('a' + number % 26));
    };
    constexpr std::size_t count = 3000;
    std::vector<SharedText> texts(count);
    const auto make = [&](std::size_t first) {
        for (std::size_t i = first; i < count; i += 2) {
            texts[i] = text(i);
        }
    };
    const auto copyAndDrop = [&] {
        std::vector<SharedText> copies;
        for (std::size_t i = 0; i < count; ++i) {
            copies.push_back(texts[i]);
            copies[i / 2] = SharedText();
        }
    };
    std::thread(make, 0).join();
    std::thread(make, 1).join();
    std::thread first(copyAndDrop);
    std::thread second(copyAndDrop);
    first.join();
    second.join();
    for (std::size_t i = 0; i < count; ++i) {
        if (i % 3 != 0) {
            texts[i] = SharedText();
        }
    }
    for (std::size_t i = 0; i < count; i += 3) {
        ASSERT_EQ(texts[i], text(i)) << i;
    }
}

TEST(ShortestText, IsThatOfTheStandardLibrary) {
    const auto expectSame = [](double number) {
        std::array<char, 32> digits{};
        char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        EXPECT_EQ(shortestText(number), std::string(digits.data(), end));
    };
    for (const double number :
         {0.0, -0.0, -0.5, 1e-300, 0.0005, 99999.999, 99999.9995, 1e5, 1e300, 0.1 + 0.2}) {
        expectSame(number);
        expectSame(std::nextafter(number, 1e6));
    }
    for (unsigned thousandths = 0; thousandths < 20'000'000; thousandths += 499) {
        expectSame(thousandths / 1000.0);
        expectSame(thousandths / 999.0);
    }
}

TEST(Description, ShowsEachKindOfValueOnALine) {
    std::string text;
    Description description(text);
    description.field("text", "a\nb");
    description.field("absent", std::optional<std::string>());
    description.field("present", std::optional<bool>(false));
    description.field("short", Seconds(0.1));
    description.field("long", Seconds(-1.7976931348623157e+308));
    description.field("before", Timestamp(std::chrono::milliseconds(-1)));
    description.field("leap", Timestamp(std::chrono::milliseconds(951782400007)));
    description.field("early", Timestamp(std::chrono::sys_days(std::chrono::year(0) / 1 / 1)));
    EXPECT_EQ(text, "  text: \"a\\nb\"\n"
                    "  present: false\n"
                    "  short: 0.1 s\n"
                    "  long: -1.7976931348623157e+308 s\n"
                    "  before: 1969-12-31T23:59:59.999Z\n"
                    "  leap: 2000-02-29T00:00:00.007Z\n"
                    "  early: 0000-01-01T00:00:00.000Z");
}

TEST(RegularExpression, RefusesAMalformedPattern) {
    EXPECT_THROW(RegularExpression("a(", RegularExpression::CaseSensitivity::sensitive),
                 std::invalid_argument);
}

TEST(CharacterCount, CountsGraphemeClusters) {
    const std::pair<std::string_view, std::size_t> cases[] = {
        {"🇫🇷🇩🇪", 2},
        {"\xff\xfe", 2},
        // What joins across the border of ASCII and the rest: marks, a prefix, a line end.
        {"abe\u0301cd", 5},
        {"a\u0600bc", 3},
        {"ab\r\ncd\r", 6},
        {"é\r\n\u0301a", 4},
        {"a\u200d\r", 2},
        {"12\ufe0f\u20e3 ü\u0308x🇫🇷🇩🇪🇪y", 9},
    };
    for (const auto& [text, count] : cases) {
        EXPECT_EQ(characterCount(text), count) << text;
        EXPECT_EQ(characterCount(text, count - 1), count - 1) << text;
    }
}

TEST(RegularFile, IsNoneWhereAnotherProcessRemovesItMeanwhile) {
    const TemporaryFolder folder;
    const std::filesystem::path path = folder / "journal";
    constexpr int open = 1;
    for (int number = 0; number <= open + 1; ++number) {
        Testing::writeFile(path, "");
        const Testing::Faults faults({.number = number,
                                      .effect = Testing::Effect::interruption,
                                      .interruption = [&] { remove(path); }});
        EXPECT_EQ(RegularFile::openIfExists(path).has_value(), number > open);
    }
}

TEST(FatalErrorDeathTest, NamesItsPlaceOnOneLineAndAborts) {
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            std::fputs("printed\n", stdout);
            fatalError("Orvex/Somewhere:1", "two\nlines");
        },
        testing::KilledBySignal(SIGABRT), "^printed\nFatal error: Orvex/Somewhere:1: two\\\\nlines\n$");
}

} // namespace
} // namespace Orvex
