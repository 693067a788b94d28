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
std::string shownOnTerminal(const std::vector<std::string>& command, std::string_view keys) {
    TerminalSession session(command);
    session.type(keys);
    return replaced(session.everythingShown(), "\r\n", "\n");
}

class HostileTextTest : public testing::TestWithParam<std::string> {};

TEST_P(HostileTextTest, NeverControlsATerminal) {
    const std::string& hostile = GetParam();
    const TemporaryFolder folder;
    writeFile(folder / ("file" + hostile), hostile);
    writeFile(folder / ("transcript" + hostile), transcriptOf(hostile));
    writeForeignStore(folder / "foreign.db", hostile, false);
    writeForeignStore(folder / "damaged.db", hostile, true);

    // HOSTILE and FOLDER are replaced in each word. The first four lines show paths.
    const std::string saving =
        "save-message -recordUUID HOSTILE -frm HOSTILE -rec HOSTILE -simID HOSTILE -file HOSTILE";
    const std::string sending = "send-video-message --sender-handle me --destination-handles ";
    const std::string answers = "1," + hostile + "\n" + hostile + "\ny\n";
    const std::pair<std::string, std::string> runs[] = {
        {saving + " -thumb HOSTILE", ""},
        {"get-total-count", ""},
        {"get-all-messages", ""},
        {sending + "HOSTILE --video-url FOLDER/fileHOSTILE", ""},
        {saving + " -mt 1 -prov 0 -tcpt FOLDER/transcriptHOSTILE", ""},
        {saving + " -mt 1 -prov 0 -tcpt FOLDER/HOSTILE", ""},
        {"get-all-messages -handles HOSTILE xHOSTILE", ""},
        {"get-all-messages -rids HOSTILE", ""},
        {"get-all-messages -vids 1 HOSTILE", ""},
        {"voicemail-messages -h HOSTILE", ""},
        {"update-message -from HOSTILE -recipient HOSTILE -callUUID HOSTILE", answers},
        {"delete-message", answers},
        {"transcription-enabled", ""},
        {"get-account-status", ""},
        {sending + "you --video-url FOLDER/HOSTILE", ""},
        {sending + "you --video-url file:///HOSTILE", ""},
        {"save-message -mt HOSTILE", ""},
        {"save-message -frm -HOSTILE", ""},
        {"get-total-count HOSTILE", ""},
        {"get-total-count -nc=HOSTILE", ""},
        {"--HOSTILE", ""},
        {"HOSTILE", ""},
        {"help HOSTILE", ""},
        {"help save-message HOSTILE", ""},
    };
    // Folders with the store's name.
    const std::string home = folder / ("home" + hostile);
    for (const std::string data : {"", "/.local/share"}) {
        create_directories(std::filesystem::path(home + data + "/orvex/messages.db"));
    }
    constexpr std::size_t all = std::size(runs);
    constexpr std::size_t showingPaths = 4;
    const std::pair<std::string, std::size_t> places[] = {
        {ORVEX_PROGRAM " --store FOLDER/storeHOSTILE/messages.db ", all},
        {ORVEX_PROGRAM " --store FOLDER/fileHOSTILE ", all},
        {ORVEX_PROGRAM " --store FOLDER/foreign.db ", all},
        {ORVEX_PROGRAM " --store FOLDER/damaged.db ", showingPaths},
        {"env XDG_DATA_HOME=FOLDER/homeHOSTILE " ORVEX_PROGRAM " ", showingPaths},
        {"env -u XDG_DATA_HOME HOME=FOLDER/homeHOSTILE " ORVEX_PROGRAM " ", showingPaths},
        {"env -C FOLDER/homeHOSTILE " ORVEX_PROGRAM " --store orvex ", showingPaths},
    };
    for (const auto& [place, count] : places) {
        for (const auto& [line, input] : std::span(runs).first(count)) {
            std::vector<std::string> command = split(place + line);
            for (std::string& word : command) {
                word = replaced(replaced(word, "FOLDER", (folder / ".").native()), "HOSTILE", hostile);
            }
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
