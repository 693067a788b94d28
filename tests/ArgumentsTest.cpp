#include "Orvex/Version.h"
#include "Orvex/arguments/Tool.h"
#include "Orvex/arguments/Wording.h"
#include "Support.h"
#include <csignal>
#include <cstdint>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <tuple>

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
    Option<std::string> motto{"", {derivedLong}, "Written on it."};

    Async<void> run();

    ORVEX_CODING_KEYS(PaintWall, dryRun, colours, names, wallURL, shiny, unreachable, motto)
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

struct Forgetful {
    Flag listed{{derivedLong}, "Listed."};
    Flag forgotten{{derivedLong}, "Not listed."};
    ORVEX_CODING_KEYS(Forgetful, listed)
};
static_assert(!listsAllMembers<Forgetful> && listsAllMembers<PaintWall> && listsAllMembers<SendURL>);

struct SpellTwice {
    Flag loud{{derivedLong, singleDash("l")}, "Loud."};
    Option<double> level{1, {singleDash("l")}, "Level."};

    Async<void> run() { co_return; }

    ORVEX_CODING_KEYS(SpellTwice, loud, level)
};

struct OwnHelp {
    Flag aid{{customLong("help")}, "Aid."};

    Async<void> run() { co_return; }

    ORVEX_CODING_KEYS(OwnHelp, aid)
};

struct OwnVersion {
    Flag edition{{customLong("version")}, "Edition."};

    Async<void> run() { co_return; }

    ORVEX_CODING_KEYS(OwnVersion, edition)
};

TEST(Version, IsTheSameAsTextAndAsNumbers) {
    const std::vector<std::string> numbers = Testing::split(ORVEX_VERSION, ".");
    EXPECT_THAT(numbers, ElementsAre(std::to_string(ORVEX_VERSION_MAJOR), std::to_string(ORVEX_VERSION_MINOR),
                                     std::to_string(ORVEX_VERSION_PATCH)));
}

TEST(Names, AreDerivedFromProperties) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"noColor", "no-color"},
        {"inputRecordUUID", "input-record-uuid"},
        {"GetTotalCount", "get-total-count"},
        {"URLValue", "url-value"},
        {"ANumber", "a-number"},
        {"a", "a"},
    };
    for (const auto& [identifier, words] : cases) {
        EXPECT_EQ(lowerCaseWords(identifier), words);
    }
}

TEST(Parser, FillsInOptions) {
    using Testing::parsed;
    const PaintWall defaults = parsed<PaintWall>("");
    EXPECT_FALSE(defaults.dryRun);
    EXPECT_EQ(*defaults.wallURL, 0.5);
    EXPECT_EQ(*defaults.unreachable, "paint");
    EXPECT_TRUE(parsed<PaintWall>("-dr").dryRun);
    EXPECT_TRUE(parsed<PaintWall>("--dry-run --dry-run").dryRun);
    EXPECT_EQ(*parsed<PaintWall>("--wall-url 1 --wall-url=-2.5 --").wallURL, -2.5);
    EXPECT_EQ(*parsed<PaintWall>("-shiny false").shiny, false);
    EXPECT_EQ(*parsed<PaintWall>("-shiny=true").shiny, true);

    const PaintWall lists = parsed<PaintWall>("-c 0 2 -dr -c=+1 00 --theColours 2");
    EXPECT_THAT(*lists.colours,
                ElementsAre(Colour::Red, Colour::blue, Colour::green, Colour::Red, Colour::blue));
    EXPECT_THAT(*parsed<PaintWall>("-h a --names= -h=-x=y -dr").names, ElementsAre("a", "", "-x=y"));
}

TEST(FileURLArgument, IsAPathOrAFileURL) {
    const std::pair<std::string_view, std::optional<std::string>> cases[] = {
        {"/a b", "file:///a%20b"}, {"file:///a%20b", "file:///a%20b"}, {"/http:x", "file:///http:x"},
        {"", std::nullopt},        {"http://x/a", std::nullopt},
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
    const std::vector<std::string_view> words[] = {
        {"--nc", "-n", "-cn"},
        {"-no-color", "--no-colo", "--no_colour", "--onc-olor", "--nocolo"},
        {"--recorduuids"},
        {"--x", "--no-colour-s", "", "x", "-", "--", "-x", "-nzy"}};
    for (std::size_t index = 0; index < std::size(words); ++index) {
        for (const std::string_view word : words[index]) {
            EXPECT_EQ(nearest(word, candidates), index) << word;
        }
    }
    EXPECT_EQ(nearest(std::string(1000000, 'x'), candidates), 3U);
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
    std::string output, errors, prepared;

    bool operator==(const ToolRun&) const = default;
    friend void PrintTo(const ToolRun& run, std::ostream* out) {
        *out << run.status << run.output << run.errors << run.prepared;
    }
};

ToolRun runTool(std::string_view line) {
    const std::vector<std::string> texts = Testing::split(line);
    const std::vector<std::string_view> words(texts.begin(), texts.end());
    ToolRun result{};
    testing::internal::CaptureStderr();
    result.output =
        Testing::outputOf([&] { result.status = static_cast<int>(run(testTool(result.prepared), words)); });
    result.errors = testing::internal::GetCapturedStderr();
    return result;
}

TEST(Tool, RunsTheSubcommandAfterPreparing) {
    lastPainted.reset();
    EXPECT_EQ(runTool("paint-wall -c 1"), (ToolRun{0, "", "", "prepared"}));
    ASSERT_TRUE(lastPainted);
    EXPECT_THAT(*lastPainted->colours, ElementsAre(Colour::green));
}

TEST(ToolDeathTest, RefusesOptionsThatAreSpelledAlike) {
    OwnVersion options;
    const std::tuple<std::vector<SubcommandType>, std::vector<BoundProperty>, std::string_view> cases[] = {
        {subcommandTypes<SendURL, SpellTwice>(), {}, "spell-twice has two options -l: level and loud"},
        {subcommandTypes<OwnHelp>(), {}, "own-help has two options --help: aid and help"},
        {subcommandTypes<OwnVersion>(), {}, "own-version has two options --version: edition and version"},
        {{}, boundProperties(options), "tool has two options --version: edition and version"},
    };
    for (const auto& [commands, ofTool, fault] : cases) {
        const Tool tool{
            .name = "tool", .version = "", .summary = "", .subcommands = commands, .options = ofTool};
        const std::vector<std::string_view> words = {"--help"};
        EXPECT_EXIT(static_cast<void>(run(tool, words)), testing::KilledBySignal(SIGABRT),
                    std::string(fault) + "\n");
    }
}

TEST(Tool, ReportsAnErrorThatLeavesASubcommandOnOneLine) {
    EXPECT_EQ(runTool("send-url --handles a --target-url /x"),
              (ToolRun{1, "", "tool: sent\\nnothing\n", "prepared"}));
}

TEST(Tool, ReportsUsageErrorsBeforeAnythingHappens) {
    std::ifstream file(ORVEX_TEST_DATA "/usage-errors.txt");
    std::string usage;
    int errors = 0;
    for (std::string line, error; std::getline(file, line);) {
        if (line.starts_with("Usage: ")) {
            std::getline(file, usage);
            usage = line + "\n" + usage + "\n";
        } else if (line.starts_with("$ tool ")) {
            std::getline(file, error);
            EXPECT_EQ(runTool(line.substr(7)), (ToolRun{64, "", error + "\n" + usage, ""}));
            ++errors;
        }
    }
    EXPECT_EQ(errors, 40);
}

TEST(Tool, ShowsHelpWhereverItIsAskedFor) {
    const std::string toolHelp = runTool("").output;
    EXPECT_THAT(toolHelp, testing::HasSubstr("\n\nTests.\n\nCommands:\n  paint-wall\n  send-url\n\nOptions"));
    const std::string paintHelp = runTool("help paint-wall").output;
    EXPECT_THAT(
        paintHelp,
        testing::AllOf(testing::HasSubstr("\n  -h, --names <text>          Names. (may be repeated)\n"),
                       testing::HasSubstr("\n  --motto <text>              Written on it.\n"),
                       testing::EndsWith("\n  --help                      Show this help.\n"),
                       testing::Not(testing::HasSubstr("paint."))));
    const std::string sendHelp = R"(Usage: tool send-url --target-url <path> --handles <text>...

Options:
  --target-url <path>         Where to. (required)
  --handles <text>...         Who. (required)
  -h, --help                  Show this help.
)";
    const std::pair<std::string_view, std::string> cases[] = {
        {"--help", toolHelp},
        {"-h", toolHelp},
        {"--wrong --help", toolHelp},
        {"help", toolHelp},
        {"help help", toolHelp},
        {"help -h", toolHelp},
        {"--version", "tool 1.2.3\n"},
        {"--version --help", toolHelp},
        {"paint-wall --help", paintHelp},
        {"paint-wall --wrong -c --help", paintHelp},
        {"send-url -h", sendHelp},
    };
    for (const auto& [line, text] : cases) {
        EXPECT_EQ(runTool(line), (ToolRun{0, text, "", ""}));
    }
}

TEST(Tool, OpensStandardStreamsThatAreClosed) {
    const auto statuses = Testing::runInProcesses(1, [](int) {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            close(stream);
        }
        std::string order;
        static_cast<void>(run(testTool(order), std::vector<std::string_view>{"--version"}));
        const int nextFile = dup(STDIN_FILENO);
        _exit(nextFile > STDERR_FILENO ? 0 : 2);
    });
    EXPECT_THAT(statuses, ElementsAre(0));
}

TEST(Tool, PrintsManualPages) {
    EXPECT_EQ(runTool("--generate-manual-page send-url").output,
              Testing::readFile(ORVEX_TEST_DATA "/tool-send-url.1"));
    EXPECT_THAT(runTool("--generate-manual-page").output,
                testing::AllOf(
                    testing::StartsWith(".Dd May 1, 2026\n.Dt TOOL 1\n.Os\n.Sh NAME\n.Nm tool\n.Nd Tests\n"),
                    testing::HasSubstr(".It Cm send\\-url\nsend a URL\n"),
                    testing::EndsWith(".Xr tool-paint-wall 1 ,\n.Xr tool-send-url 1\n")));
    EXPECT_EQ(runTool("--generate-manual-page snd-url").status, 64);
}

} // namespace
} // namespace Orvex
