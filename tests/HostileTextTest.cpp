#include "Foundation/UTF8.h"
#include "Support.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include "ZelvoMessageStore/SQLite.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <span>
#include <stdexcept>

namespace Orvex::Testing {
namespace {

using Words = std::vector<std::string>;

std::string characters(char32_t first, char32_t last) {
    std::string text;
    for (char32_t c = first; c <= last; ++c) {
        appendUTF8(text, c);
    }
    return text;
}

std::string replaced(std::string text, std::string_view old, std::string_view replacement) {
    for (std::size_t at = 0; (at = text.find(old, at)) != std::string::npos; at += replacement.size()) {
        text.replace(at, old.size(), replacement);
    }
    return text;
}

bool isObeyed(char32_t c) {
    static const std::u32string others = U"\u00ad\u061c\u200b\u200e\u200f\u2028\u2029\u3164\ufeff";
    return (c < 0x20 && c != '\n') || (c >= 0x7F && c < 0xA0) || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2060 && c <= 0x206F) || (c >= 0xE0000 && c <= 0xE007F) ||
           others.find(c) != std::u32string::npos;
}

/// Expects UTF-8 in which a terminal obeys nothing but the program's own colours and no message has a number
/// beyond `lastNumber`.
void expectHarmless(const std::string& printed, int lastNumber) {
    std::string plain = printed;
    for (const std::string_view colour : {"\x1b[0;0m", "\x1b[0;31m", "\x1b[0;32m", "\x1b[0;33m"}) {
        plain = replaced(plain, colour, "");
    }
    for (const std::string& line : split(plain, "\n")) {
        int number = 0;
        EXPECT_FALSE(std::sscanf(line.c_str(), "Message #%d", &number) == 1 && number > lastNumber) << plain;
    }
    // The conversion throws if the text is not UTF-8.
    std::u32string characters;
    EXPECT_NO_THROW(characters = std::filesystem::path(plain).u32string()) << plain;
    EXPECT_TRUE(std::ranges::none_of(characters, isObeyed)) << plain;
}

/// A transcript with this text; a file that is not a transcript if the text cannot be in one.
std::string transcriptOf(const std::string& text) {
    try {
        const VMVoicemailTranscript transcript{.text = text, .locale = text, .segments = {{.text = text}}};
        return encodeTranscript(transcript, ArchiveForm::binary);
    } catch (const std::invalid_argument&) {
        return text;
    }
}

/// Writes a store in which another program has put `text` into the fields for texts or for a URL.
void writeForeignStore(const std::string& file, const std::string& text, bool asURL) {
    StoredMessage message = newMessage(MessageType::audio, MessageProvider::Telephony);
    message.transcriptURL = FileURL::fromPath("/none/" + text);
    wait(SQLiteMessageStore(file).saveMessage(message));
    SQLite::Database database(file);
    database.trustSchema();
    SQLite::Statement change =
        database.prepare(asURL ? "UPDATE messages SET message_file = ?"
                               : "UPDATE messages SET sender = ?1, recipient = ?1, sim_id = ?1");
    const std::string withNUL = text + '\0' + text;
    change.bind(1, withNUL);
    change.run();
    EXPECT_EQ(database.changedRows(), 1);
}

/// Runs a command in a terminal and returns what the terminal shows, echoed keys included.
std::string shownOnTerminal(const Words& command, std::string_view keys) {
    TerminalSession session(command);
    session.type(keys);
    return replaced(session.everythingShown(), "\r\n", "\n");
}

class HostileTextTest : public testing::TestWithParam<std::string> {};

TEST_P(HostileTextTest, IsObeyedByNoTerminal) {
    const std::string& hostile = GetParam();
    const TemporaryFolder folder;
    const std::string noFile = folder / hostile;
    const std::string noStore = folder / ("file" + hostile);
    writeFile(noStore, hostile);
    const std::string transcript = folder / ("transcript" + hostile);
    writeFile(transcript, transcriptOf(hostile));
    const std::string foreign = folder / "foreign.db";
    writeForeignStore(foreign, hostile, false);
    const std::string damaged = folder / "damaged.db";
    writeForeignStore(damaged, hostile, true);

    const auto saving = [&](const Words& more) {
        Words words = {"save-message", "-recordUUID", hostile, "-frm",  hostile, "-rec",
                       hostile,        "-simID",      hostile, "-file", hostile};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    };
    const auto sending = [&](const std::string& handle, const std::string& video) {
        Words words = split("send-video-message --sender-handle me --destination-handles");
        words.insert(words.end(), {handle, "--video-url", video});
        return words;
    };
    const std::string answers = "1," + hostile + "\n" + hostile + "\ny\n";
    // The first four show paths.
    const std::pair<Words, std::string> runs[] = {
        {saving({"-thumb", hostile}), ""},
        {{"get-total-count"}, ""},
        {{"get-all-messages"}, ""},
        {sending(hostile, noStore), ""},
        {saving({"-mt", "1", "-prov", "0", "-tcpt", transcript}), ""},
        {saving({"-mt", "1", "-prov", "0", "-tcpt", noFile}), ""},
        {{"get-all-messages", "-handles", hostile, "x" + hostile}, ""},
        {{"get-all-messages", "-rids", hostile}, ""},
        {{"get-all-messages", "-vids", "1", hostile}, ""},
        {{"voicemail-messages", "-h", hostile}, ""},
        {{"update-message", "-from", hostile, "-recipient", hostile, "-callUUID", hostile}, answers},
        {{"delete-message"}, answers},
        {{"transcription-enabled"}, ""},
        {{"get-account-status"}, ""},
        {sending("you", noFile), ""},
        {sending("you", "file:///" + hostile), ""},
        {{"save-message", "-mt", hostile}, ""},
        {{"save-message", "-frm", "-" + hostile}, ""},
        {{"get-total-count", hostile}, ""},
        {{"get-total-count", "-nc=" + hostile}, ""},
        {{"--" + hostile}, ""},
        {{hostile}, ""},
        {{"help", hostile}, ""},
        {{"help", "save-message", hostile}, ""},
    };
    // A folder with the name of the store.
    const std::string home = folder / ("home" + hostile);
    for (const std::string data : {"", "/.local/share"}) {
        create_directories(std::filesystem::path(home + data + "/orvex/messages.db"));
    }
    constexpr std::size_t all = std::size(runs);
    constexpr std::size_t showingPaths = 4;
    const std::pair<Words, std::size_t> places[] = {
        {{ORVEX_PROGRAM, "--store", folder / ("store" + hostile + "/messages.db")}, all},
        {{ORVEX_PROGRAM, "--store", noStore}, all},
        {{ORVEX_PROGRAM, "--store", foreign}, all},
        {{ORVEX_PROGRAM, "--store", damaged}, showingPaths},
        {{"env", "XDG_DATA_HOME=" + home, ORVEX_PROGRAM}, showingPaths},
        {{"env", "-u", "XDG_DATA_HOME", "HOME=" + home, ORVEX_PROGRAM}, showingPaths},
        {{"env", "-C", home, ORVEX_PROGRAM, "--store", "orvex"}, showingPaths},
    };
    for (const auto& [place, count] : places) {
        for (const auto& [words, input] : std::span(runs).first(count)) {
            Words command = place;
            command.insert(command.end(), words.begin(), words.end());
            SCOPED_TRACE(testing::PrintToString(command));
            constexpr int mostMessages = 8;
            expectHarmless(shownOnTerminal(command, input.empty() ? "" : "1\ny\n"), mostMessages);
            command.emplace_back("-nc");
            const ProgramRun run = runProgram(command, input);
            expectHarmless(run.output, mostMessages);
            expectHarmless(run.errors, 0);
            EXPECT_EQ(run.output.find('\x1b'), std::string::npos);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, HostileTextTest,
    testing::Values(characters(0x01, 0x1F), characters(0x7F, 0x9F),
                    "\u061c\u200e\u200f\u2028\u2029\u202a\u202b\u202c\u202d\u202e\u2066\u2067\u2068\u2069"
                    "\u00ad\u200b\u2060\u206f\u3164\ufeff\U000e0041",
                    // C1 as single bytes, overlong forms, a surrogate, a character beyond the last one, and
                    // one that is cut off.
                    "\x85\x9b\x32J \xc0\x9b \xe0\x82\x9b \xf0\x80\x82\x9b \xc0\x8a \xed\xa0\x80 "
                    "\xf4\x90\x80\x80 \xe2\x80",
                    "\n\x1b[0;32m\nMessage #9:\n\x1b[0;0m  from: \"boss\"\r\nMessage #9:",
                    "\x1b]0;title\x07\x1bP$q\x1b\\\x1b[2J\x1b[0;32mMessage #9:"));

} // namespace
} // namespace Orvex::Testing
