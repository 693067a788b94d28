#include "Orvex/arguments/Help.h"
#include "Orvex/arguments/Tool.h"
#include "Orvex/arguments/Wording.h"
#include "Support.h"
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>

namespace Orvex {
namespace {

using testing::ElementsAre;

enum class Colour : std::int16_t { Red, green, blue };
BOOST_DESCRIBE_ENUM(Colour, Red, green, blue)

struct PaintWall {
    Flag dryRun{{singleDash("dr"), derivedLong}, "Paint nothing."};
    Option<std::vector<Colour>> colours{{}, {singleDash("c"), customLong("theColours")}, "The colours."};
    Option<std::vector<std::string>> names{
        {}, {singleDash("h"), derivedLong}, "Names.", ValueCount::onePerOccurrence};
    Option<double> wallURL{0.5, {derivedLong}, "How thick."};
    Option<std::optional<bool>> shiny{std::nullopt, {singleDash("shiny")}, "Whether it shines."};
    Option<std::string> unreachable{"paint", {}, "Nobody can say."};

    Async<void> run();

    ORVEX_CODING_KEYS(PaintWall, dryRun, colours, names, wallURL, shiny, unreachable)
};
static_assert(AsyncParsableCommand<PaintWall>);

struct SendURL {
    Option<FileURL> targetURL{{derivedLong}, "Where to."};
    Option<std::vector<std::string>> handles{{derivedLong}, "Who."};

    Async<void> run() {
        throw std::runtime_error("sent\nnothing");
        co_return;
    }

    static constexpr ManualText manual{
        .summary = "send a URL",
        .description = R"(Sends it with {tool}. It's \sent
(ie. gone).

.Sh is no request here.)",
        .exitStatus = "Always 1.",
        .examples = R"(Send:

    {tool} send-url \
        --target-url ~/x

Or not.)",
    };

    ORVEX_CODING_KEYS(SendURL, targetURL, handles)
};
static_assert(AsyncParsableCommand<SendURL>);

std::optional<PaintWall> lastPainted;

Async<void> PaintWall::run() {
    lastPainted = *this;
    co_return;
}

struct NoOption {
    int number = 0;
    ORVEX_CODING_KEYS(NoOption, number)
};
static_assert(!ParsableArguments<NoOption> && !AsyncParsableCommand<NoOption> && !ParsableArguments<int>);

TEST(Names, AreDerivedFromProperties) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"noColor", "no-color"},
        {"inputRecordUUID", "input-record-uuid"},
        {"GetTotalCount", "get-total-count"},
        {"URLValue", "url-value"},
        {"ANumber", "a-number"},
        {"isRTT", "is-rtt"},
        {"a", "a"},
        {"", ""},
    };
    for (const auto& [identifier, words] : cases) {
        EXPECT_EQ(lowerCaseWords(identifier), words);
    }
}

TEST(Parser, FillsInOptions) {
    using Testing::parsed;
    EXPECT_FALSE(parsed<PaintWall>({}).dryRun);
    EXPECT_EQ(*parsed<PaintWall>({}).wallURL, 0.5);
    EXPECT_TRUE(parsed<PaintWall>({"-dr"}).dryRun);
    EXPECT_TRUE(parsed<PaintWall>({"--dry-run", "--dry-run"}).dryRun);
    EXPECT_EQ(*parsed<PaintWall>({"--wall-url", "1", "--wall-url=-2.5", "--"}).wallURL, -2.5);
    EXPECT_EQ(*parsed<PaintWall>({"-shiny", "false"}).shiny, false);
    EXPECT_EQ(*parsed<PaintWall>({"-shiny=true"}).shiny, true);
    EXPECT_EQ(*parsed<PaintWall>({}).unreachable, "paint");

    const PaintWall lists = parsed<PaintWall>({"-c", "0", "2", "-dr", "-c=+1", "00", "--theColours", "2"});
    EXPECT_THAT(*lists.colours,
                ElementsAre(Colour::Red, Colour::blue, Colour::green, Colour::Red, Colour::blue));
}

TEST(Parser, TakesOneValuePerOccurrenceWhereDeclared) {
    EXPECT_THAT(*Testing::parsed<PaintWall>({"-h", "a", "--names=", "-h=-x=y", "-dr"}).names,
                ElementsAre("a", "", "-x=y"));
}

TEST(FileURLArgument, IsAPathOrAFileURL) {
    const std::pair<std::string_view, std::optional<std::string>> cases[] = {
        {"/a b", "file:///a%20b"},
        {"file:///a%20b", "file:///a%20b"},
        {"/http:x", "file:///http:x"},
        {"/a%zz", "file:///a%25zz"},
        {"", std::nullopt},
        {"file:///a%zz", std::nullopt},
        {"http://x/a", std::nullopt},
        {"mailto:x", std::nullopt},
        {"file://host/a", std::nullopt},
    };
    for (const auto& [word, text] : cases) {
        const auto url = ArgumentConversion<FileURL>::parse(word);
        EXPECT_EQ(url ? std::optional(url->text()) : std::nullopt, text) << word;
    }
    EXPECT_EQ(ArgumentConversion<FileURL>::parse("./http:x"), FileURL::fromPath("http:x"));
    EXPECT_EQ(ArgumentConversion<FileURL>::parse("9:x"), FileURL::fromPath("9:x"));
}

TEST(Wording, FindsTheNearestSpelling) {
    const std::string candidates[] = {"-nc", "--no-color", "--recordUUIDs"};
    const std::pair<std::string_view, std::size_t> cases[] = {
        {"--nc", 0},
        {"-n", 0},
        {"-cn", 0},
        {"-no-color", 1},
        {"--no-colo", 1},
        {"--no_colour", 1},
        {"--onc-olor", 1},
        {"--x", 3},
        {"--nocolo", 1},
        {"--recorduuids", 2},
        {"--no-colour-s", 3},
        {"", 3},
        {"x", 3},
        {"-", 3},
        {"--", 3},
        {"-x", 3},
    };
    for (const auto& [word, index] : cases) {
        EXPECT_EQ(nearest(word, candidates), index) << word;
    }
    EXPECT_EQ(nearest(std::string(1000000, 'x'), candidates), 3U);
}

TEST(Wording, WrapsAtBlanks) {
    const auto wrapped = [](std::string_view text, std::size_t column, std::size_t width) {
        std::string out;
        appendWrapped(out, text, column, 2, width);
        return out;
    };
    EXPECT_EQ(wrapped("", 0, 10), "");
    EXPECT_EQ(wrapped("ab cd ef", 0, 5), "ab cd\n  ef");
    EXPECT_EQ(wrapped("ab cd ef", 3, 5), "ab\n  cd\n  ef");
    EXPECT_EQ(wrapped("abcdefgh ij", 0, 5), "abcdefgh\n  ij");
}

Tool testTool(std::string& order) {
    return {.name = "tool",
            .version = "1.2.3",
            .summary = "Tests.",
            .subcommands = subcommandTypes<PaintWall, SendURL>(),
            .options = {},
            .prepare = [&order] { order += "prepared"; },
            .released = "May 1, 2026"};
}

struct ToolRun {
    int status;
    std::string output;
    std::string errors;
    std::string prepared;
};

ToolRun runTool(const std::vector<std::string_view>& words) {
    ToolRun result{};
    testing::internal::CaptureStderr();
    result.output =
        Testing::outputOf([&] { result.status = static_cast<int>(run(testTool(result.prepared), words)); });
    result.errors = testing::internal::GetCapturedStderr();
    return result;
}

TEST(Tool, RunsTheSubcommandAfterPreparing) {
    lastPainted.reset();
    const ToolRun result = runTool({"paint-wall", "-c", "1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.prepared, "prepared");
    EXPECT_EQ(result.output + result.errors, "");
    ASSERT_TRUE(lastPainted);
    EXPECT_THAT(*lastPainted->colours, ElementsAre(Colour::green));
}

TEST(Tool, ReportsAnErrorThatLeavesASubcommandOnOneLine) {
    const ToolRun result = runTool({"send-url", "--handles", "a", "--target-url", "/x"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "tool: sent\\nnothing\n");
}

TEST(Tool, ReportsUsageErrorsBeforeAnythingHappens) {
    struct Case {
        std::vector<std::string_view> words;
        std::string_view error;
    };
    const Case paintErrors[] = {
        {{"--dr"}, R"(unknown option "--dr": did you mean -dr?)"},
        {{"-d"}, R"(unknown option "-d": did you mean -dr?)"},
        {{"--dry-ru"}, R"(unknown option "--dry-ru": did you mean --dry-run?)"},
        {{"-dry-run"}, R"(unknown option "-dry-run": did you mean --dry-run?)"},
        {{"--thecolours", "1"}, R"(unknown option "--thecolours": did you mean --theColours?)"},
        {{"--\x1b[31m"}, R"(unknown option "--\u{1B}[31m": expected one that --help lists)"},
        {{"-dr=true"}, R"(unexpected value "true" for -dr: a flag takes none)"},
        {{"--dry-run", "true"}, R"(unexpected argument "true": expected an option)"},
        {{"--hel"}, R"(unknown option "--hel": did you mean --help?)"},
        {{"--versoin"},
         R"(unknown option "--versoin": did you mean --version, given in front of the command?)"},
        {{"-q"}, R"(unknown option "-q": expected one that --help lists)"},
        {{"--version"}, R"(misplaced option --version: it is given in front of the command)"},
        {{"--", "-dr"}, R"(unexpected argument "-dr": expected an option)"},
        {{"-h", "a", "b"}, R"(unexpected argument "b": expected an option)"},
        {{"-c"}, "missing value for -c: expected 0 (Red), 1 (green) or 2 (blue)"},
        {{"-c", "-dr"}, "missing value for -c: expected 0 (Red), 1 (green) or 2 (blue)"},
        {{"-c", "--"}, "missing value for -c: expected 0 (Red), 1 (green) or 2 (blue)"},
        {{"--wall-url", "-1"},
         "missing value for --wall-url: expected a finite number such as 12.5; one that begins with \"-\" is "
         "given "
         "as --wall-url=-1"},
        {{"-c", "3"}, R"(invalid value "3" for -c: expected 0 (Red), 1 (green) or 2 (blue))"},
        {{"-c", "0", "-c=-7"}, R"(invalid value "-7" for -c: expected 0 (Red), 1 (green) or 2 (blue))"},
        {{"-c", "red"},
         R"(invalid value "red" for -c: expected 0 (Red), 1 (green) or 2 (blue); did you mean 0?)"},
        {{"-c", "1x"},
         R"(invalid value "1x" for -c: expected 0 (Red), 1 (green) or 2 (blue); did you mean 1?)"},
        {{"-c", "32769"}, R"(invalid value "32769" for -c: expected 0 (Red), 1 (green) or 2 (blue))"},
        {{"-shiny", "True"},
         R"(invalid value "True" for -shiny: expected true or false; did you mean true?)"},
        {{"-shiny="}, R"(invalid value "" for -shiny: expected true or false)"},
        {{"--wall-url", "1.5s"},
         R"(invalid value "1.5s" for --wall-url: expected a finite number such as 12.5)"},
        {{"--wall-url", "inf"},
         R"(invalid value "inf" for --wall-url: expected a finite number such as 12.5)"},
    };
    for (Case each : paintErrors) {
        each.words.insert(each.words.begin(), "paint-wall");
        const ToolRun result = runTool(each.words);
        EXPECT_EQ(result.status, 64);
        EXPECT_EQ(result.output + result.prepared, "");
        EXPECT_EQ(result.errors, "tool: " + std::string(each.error) +
                                     "\nUsage: tool paint-wall [options]\n"
                                     "'tool paint-wall --help' shows all options.\n");
    }
    const Case sendErrors[] = {
        {{"--handles", "a"},
         "missing option --target-url: expected a path (begin it with \"./\" if its name has a \":\"), or a "
         "URL such "
         "as file:///tmp/my%20video.mov"},
        {{"--target-url", "/x"}, "missing option --handles: expected a text"},
    };
    for (Case each : sendErrors) {
        each.words.insert(each.words.begin(), "send-url");
        EXPECT_EQ(runTool(each.words).errors,
                  "tool: " + std::string(each.error) +
                      "\nUsage: tool send-url --target-url <path> --handles <text>...\n"
                      "'tool send-url --help' shows all options.\n");
    }
    const Case toolErrors[] = {
        {{"paint-wal"}, R"(unknown command "paint-wal": did you mean paint-wall?)"},
        {{"draw"}, R"(unknown command "draw": expected paint-wall or send-url)"},
        {{"--dri-run"}, R"(unknown option "--dri-run": did you mean --dry-run, given after the command?)"},
        {{"help", "--wrong"}, R"(unexpected argument "--wrong": expected one command)"},
        {{"hlep"}, R"(unknown command "hlep": did you mean help?)"},
        {{"-dr", "paint-wall"}, R"(misplaced option -dr: it is given after the command)"},
        {{"--generate-completion-script", "zhs"},
         "invalid value \"zhs\" for --generate-completion-script: expected bash, zsh or fish; did you mean "
         "zsh?"},
        {{"--versoin"}, R"(unknown option "--versoin": did you mean --version?)"},
        {{"help", "draw"}, R"(unknown command "draw": expected paint-wall or send-url)"},
        {{"help", "send-url", "x"}, R"(unexpected argument "x": expected one command)"},
    };
    for (const Case& each : toolErrors) {
        const ToolRun result = runTool(each.words);
        EXPECT_EQ(result.status, 64);
        EXPECT_EQ(result.errors, "tool: " + std::string(each.error) +
                                     "\nUsage: tool [options] <command> [options of the command]\n"
                                     "'tool --help' shows all commands.\n");
    }
}

TEST(Tool, ShowsHelpWhereverItIsAskedFor) {
    const std::string toolHelp = R"(Usage: tool [options] <command> [options of the command]

Tests.

Commands:
  paint-wall
  send-url

Options, in front of the command:
  -h, --help                  Show this help.
  --version                   Show the version.
  --generate-completion-script <bash|zsh|fish>
                              Print a script that completes command lines in a
                              shell.
  --generate-manual-page      Print the manual page, in the mdoc language, of
                              the command that follows, or of the tool.

'tool help <command>' shows the options of a command.
)";
    const std::string paintHelp = runTool({"help", "paint-wall"}).output;
    EXPECT_THAT(
        paintHelp,
        testing::AllOf(testing::HasSubstr("\n  -h, --names <text>          Names. (may be repeated)\n"),
                       testing::EndsWith("\n  --help                      Show this help.\n"),
                       testing::Not(testing::HasSubstr("paint."))));
    const std::string sendHelp = R"(Usage: tool send-url --target-url <path> --handles <text>...

Options:
  --target-url <path>         Where to. (required)
  --handles <text>...         Who. (required)
  -h, --help                  Show this help.
)";
    const std::pair<std::vector<std::string_view>, std::string> cases[] = {
        {{}, toolHelp},
        {{"--help"}, toolHelp},
        {{"-h"}, toolHelp},
        {{"--wrong", "--help"}, toolHelp},
        {{"help"}, toolHelp},
        {{"help", "help"}, toolHelp},
        {{"help", "-h"}, toolHelp},
        {{"--version"}, "tool 1.2.3\n"},
        {{"--version", "--help"}, toolHelp},
        {{"paint-wall", "--help"}, paintHelp},
        {{"paint-wall", "--wrong", "-c", "--help"}, paintHelp},
        {{"send-url", "-h"}, sendHelp},
    };
    for (const auto& [words, text] : cases) {
        const ToolRun result = runTool(words);
        EXPECT_EQ(result.output, text);
        EXPECT_EQ(result.errors + result.prepared, "");
        EXPECT_EQ(result.status, 0);
    }
}

TEST(Tool, PrintsManualPages) {
    const std::string page = R"(.Dd May 1, 2026
.Dt TOOL-SEND-URL 1
.Os
.Sh NAME
.Nm tool-send-url
.Nd send a URL
.Sh SYNOPSIS
.Nm tool send\-url
.Fl \-target\-url Ar path
.Fl \-handles Ar text ...
.Op Fl h
.Sh DESCRIPTION
Sends it with tool.
It\(aqs \esent (ie.\& gone).
.Pp
\&.Sh is no request here.
.Sh OPTIONS
.Bl -tag -width Ds
.It Fl \-target\-url Ar path
Where to.\& (required)
.It Fl \-handles Ar text ...
Who.\& (required)
.It Fl h , Fl \-help
Show this help.
.El
.Sh EXIT STATUS
Always 1.
.Bl -tag -width Ds
)";
    const std::string pageEnd = R"(.El
.Sh EXAMPLES
Send:
.Bd -literal -offset indent
tool send\-url \e
    \-\-target\-url \(ti/x
.Ed
.Pp
Or not.
.Sh SEE ALSO
.Xr tool 1
)";
    EXPECT_THAT(runTool({"--generate-manual-page", "send-url"}).output,
                testing::AllOf(testing::StartsWith(page), testing::EndsWith(pageEnd)));
    EXPECT_THAT(runTool({"--generate-manual-page"}).output,
                testing::AllOf(testing::HasSubstr(".Nm tool\n.Nd Tests\n"),
                               testing::HasSubstr(".It Cm send\\-url\nsend a URL\n"),
                               testing::EndsWith(".Xr tool-paint-wall 1 ,\n.Xr tool-send-url 1\n")));
    EXPECT_EQ(runTool({"--generate-manual-page", "snd-url"}).status, 64);
}

TEST(Help, IsWrappedToTheWidth) {
    PaintWall command;
    std::string text;
    appendOptions(text, boundProperties(command), 40);
    EXPECT_EQ(text, R"(  -dr, --dry-run
      Paint nothing.
  -c, --theColours <0|1|2>...
      The colours. (0 Red, 1 green, 2
      blue)
  -h, --names <text>
      Names. (may be repeated)
  --wall-url <number>
      How thick. (default: 0.5)
  -shiny <true|false>
      Whether it shines.
)");
}

} // namespace
} // namespace Orvex
