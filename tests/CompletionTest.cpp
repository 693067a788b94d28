#include "Support.h"
#include <algorithm>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Orvex::Testing {
namespace {

using Texts = std::vector<std::string>;

class CompletionTest : public testing::Test {
  protected:
    CompletionTest() {
        std::filesystem::create_directories(folder / "completions");
        std::filesystem::create_directories(folder / "files");
        writeFile(folder / "files/my video.mov", "");
        writeFile(folder / "files/voice.m4a", "");
    }

    void writeScript(const std::string& shell, std::string_view name) {
        writeFile(folder / "completions" / name, runOrvex({"--generate-completion-script", shell}).output);
    }

    /// `candidates` returns the shell's candidates between two parts of a line, in the folder with the files.
    /// An expected candidate has a description after a tab.
    static void
    expectCandidates(bool withDescriptions,
                     const std::function<Texts(const std::string&, const std::string&)>& candidates) {
        const Texts messageTypes = {"0\tscreened", "1\taudio", "2\tvideo"};
        const std::string shellHelp = "Print a script that completes command lines in a shell.";
        const std::pair<std::string, Texts> cases[] = {
            {"orvex s",
             {"save-message\tadd a message", "send-video-message\tsend a video file as a message"}},
            {"orvex --store x get-t", {"get-total-count\tcount the messages"}},
            {"orvex --store=x get-t", {"get-total-count\tcount the messages"}},
            {"orvex help up", {"update-message\tchange a message"}},
            {"orvex --ve", {"--version\tShow the version."}},
            {"orvex --store ", {"my video.mov", "voice.m4a"}},
            {"orvex --store=v", {"--store=voice.m4a"}},
            {"orvex --generate-completion-script ",
             {"bash\t" + shellHelp, "zsh\t" + shellHelp, "fish\t" + shellHelp}},
            {"orvex voicemail-messages -",
             {"-nc\tTurn off color printing in the response.",
              "--no-color\tTurn off color printing in the response.", "-h\tHandles to get messages for.",
              "--handles\tHandles to get messages for.", "--help\tShow this help."}},
            {"orvex save-message -file m", {"my video.mov"}},
            {"orvex save-message -frm ann -tcpt v", {"voice.m4a"}},
            {"orvex save-message --type ", messageTypes},
            {"orvex save-message --isSensitive=t", {"--isSensitive=true\tA message that is sensitive"}},
            {"orvex delete-message -mt ", messageTypes},
            {"orvex delete-message -a --types 1 0 ", messageTypes},
            {"orvex delete-message -mt 1 -ri", {"-rids\tA list of recordUUIDs to delete."}},
            {"orvex delete-message -mt=1 ", messageTypes},
            {"orvex delete-message -mt 1 |  -handles ann", messageTypes},
            {"orvex --store a:b=c get-t", {"get-total-count\tcount the messages"}},
            {"orvex --store=a=b:c get-t", {"get-total-count\tcount the messages"}},
            {"orvex send-video-message --video-url ", {"my video.mov", "voice.m4a"}},
        };
        for (const auto& [line, described] : cases) {
            Texts expected;
            for (const std::string& each : described) {
                expected.push_back(withDescriptions ? each : each.substr(0, each.find('\t')));
            }
            const std::size_t cursor = std::min(line.find('|'), line.size());
            const std::string behind = cursor < line.size() ? line.substr(cursor + 1) : "";
            EXPECT_THAT(candidates(line.substr(0, cursor), behind),
                        testing::UnorderedElementsAreArray(expected))
                << line;
        }
    }

    /// Expects the candidates of a shell whose tab key inserts all of them.
    void expectCandidatesIn(TerminalSession& shell, const std::string& setUp) {
        shell.type("cd " + (folder / "files").native() + "; " + setUp + "\n");
        shell.type("orvex() { printf '<%s>' \"$@\"; echo .; }; echo rea''dy\n");
        ASSERT_TRUE(shell.shows("ready\r\n"));
        expectCandidates(false, [&](const std::string& before, const std::string& behind) {
            constexpr char backward = '\x02';
            shell.type(before + behind + std::string(behind.size(), backward) + "\t\n");
            EXPECT_TRUE(shell.shows("\n<"));
            Texts words = split(shell.shownUpTo(">.\r\n").value_or(""), "><");
            const std::size_t wordsBehind = split(behind, " ").size();
            words.resize(words.size() - std::min(wordsBehind, words.size()));
            // The shell completes the last word before the cursor, which may be empty.
            const auto wordsBefore = std::count(before.begin(), before.end(), ' ') - 1;
            words.erase(words.begin(), words.begin() + std::min(wordsBefore, std::ssize(words)));
            return words;
        });
    }

    /// Ignores the user's own settings.
    [[nodiscard]] std::string home() const { return "HOME=" + (folder / "").native(); }

    TemporaryFolder folder;
};

TEST_F(CompletionTest, InBash) {
    writeScript("bash", "orvex");
    TerminalSession bash(
        {"env", home(), "INPUTRC=/dev/null", "TERM=dumb", "bash", "--norc", "--noprofile", "-i"});
    expectCandidatesIn(bash, "BASH_COMPLETION_USER_DIR=..; . /usr/share/bash-completion/bash_completion; "
                             R"(bind '"\t": insert-completions')");
}

TEST_F(CompletionTest, InZsh) {
    writeScript("zsh", "_orvex");
    TerminalSession zsh({"env", home(), "TERM=dumb", "zsh", "-f", "-i"});
    zsh.type("fpath=(" + (folder / "completions").native() +
             " $fpath); autoload -U compinit; compinit -D -u\n");
    zsh.type("unsetopt list_beep; orvex update-message -mailbox \t");
    EXPECT_TRUE(zsh.shows("0  -- inbox"));
    EXPECT_TRUE(zsh.shows("2  -- trash"));
    constexpr std::string_view lineKilled = "\x15";
    zsh.type(lineKilled);
    expectCandidatesIn(zsh, "zstyle ':completion:*' completer _all_matches _complete; "
                            "zstyle ':completion:*' insert true; zstyle ':completion:*' old-matches false");
}

TEST_F(CompletionTest, InFish) {
    writeScript("fish", "orvex.fish");
    const std::string script =
        "cd " + (folder / "files").native() + "; source ../completions/orvex.fish; complete -C ";
    expectCandidates(true, [&](const std::string& before, const std::string&) {
        const ProgramRun run = runProgram({"env", home(), "fish", "-N", "-c", script + "'" + before + "'"});
        EXPECT_EQ(run.errors, "");
        return split(run.output, "\n");
    });
}

} // namespace
} // namespace Orvex::Testing
