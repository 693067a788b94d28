#include "Support.h"
#include "VoxArchive/KeyedUnarchiver.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <sys/stat.h>

namespace Orvex::Testing {
namespace {

constexpr const char* fullDescription = R"(VMVoicemailTranscript
  text: "Grüße, 😀 \"ok\""
  locale: "de_DE"
  confidence: 0.75
  segment 1:
    text: "Grüße"
    timestamp: 0 s
    duration: 1.25 s
    confidence: 1
  segment 2:
    text: "Grüße"
    timestamp: 1.5 s
  segment 3:)";

/// The description of a decoded transcript, "nil", or the fault of the archive.
std::string resultOf(std::string_view archive) {
    std::string description;
    const std::string fault = errorOf<ArchiveError>([&] {
        const auto transcript = decodeTranscript(archive);
        description = transcript ? transcript->description() : "nil";
    });
    return fault + description;
}

TEST(Transcript, ReadsWhatAnotherWriterWrote) {
    const std::pair<std::string, std::string> cases[] = {
        {"full", fullDescription}, {"bare", "VMVoicemailTranscript"}, {"nil", "nil"}};
    for (const auto& [name, expected] : cases) {
        for (const std::string form : {"-binary", "-xml"}) {
            EXPECT_EQ(resultOf(readFile(ORVEX_TEST_DATA "/" + name + form + ".plist")), expected);
        }
    }
}

TEST(Transcript, ReadsWhatItWrites) {
    std::vector<VMVoicemailTranscript> transcripts = {
        {},
        {.text = "", .locale = "e\"n\n😀", .confidence = 0},
        {.text = "<a> & ]]> 😀 \u2028",
         .confidence = 1,
         .segments = {{}, {.text = "x", .duration = Seconds(-0.1)}}},
    };
    // More than fit into one-byte references, and a count that does not fit into a marker.
    for (int i = 0; i < 300; ++i) {
        transcripts[0].segments.push_back(
            {.text = std::string(20, 'x'), .timestamp = Seconds(i), .confidence = 0.5});
    }
    for (const ArchiveForm form : {ArchiveForm::binary, ArchiveForm::xml}) {
        for (const VMVoicemailTranscript& transcript : transcripts) {
            const auto decoded = decodeTranscript(encodeTranscript(transcript, form));
            ASSERT_TRUE(decoded);
            EXPECT_EQ(decoded->description(), transcript.description());
        }
        EXPECT_FALSE(decodeTranscript(encodeTranscript(std::nullopt, form)));
        const VMVoicemailTranscript noUTF8{.text = "\xff"};
        EXPECT_THROW(static_cast<void>(encodeTranscript(noUTF8, form)), std::invalid_argument);
    }
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const VMVoicemailTranscript endless{.segments = {{.timestamp = Seconds(-infinity)}}};
    EXPECT_EQ(resultOf(encodeTranscript(endless, ArchiveForm::binary)),
              R"(the value of "timestamp" is not a finite number)");
    const VMVoicemailTranscript control{.text = "\x1b"};
    EXPECT_THROW(static_cast<void>(encodeTranscript(control, ArchiveForm::xml)), std::invalid_argument);
    EXPECT_EQ(decodeTranscript(encodeTranscript(control, ArchiveForm::binary))->text, "\x1b");
}

/// Reads each archive that archives.py writes for a group of tests.
void readArchives(const std::string& group,
                  const std::function<void(const std::string& archive, const std::string& expected)>& check) {
    const TemporaryFolder folder;
    ASSERT_EQ(runProgram({ORVEX_TEST_SOURCES "/archives.py", folder / ""}), ProgramRun());
    for (auto archive = std::filesystem::directory_iterator(folder / group); archive != end(archive);
         ++archive) {
        if (archive->path().extension() != ".expected") {
            SCOPED_TRACE(archive->path());
            check(readFile(*archive), readFile(archive->path().native() + ".expected"));
        }
    }
}

TEST(Transcript, ReadsSubclassesAndRefusesHostileArchives) {
    readArchives("transcripts", [](const std::string& archive, const std::string& expected) {
        EXPECT_EQ(resultOf(archive), expected);
    });
}

TEST(PropertyList, HandsOutOnlySoMuch) {
    readArchives("limits", [](const std::string& archive, const std::string& /*expected*/) {
        PropertyList list(archive);
        const auto askOften = [&list] {
            for (int i = 0; i < 2000; ++i) {
                static_cast<void>(list.object(list.root()));
            }
        };
        EXPECT_NE(errorOf<ArchiveError>(askOften), "") << archive;
        EXPECT_FALSE(list.isString(list.root(), "y"));
    });
}

TEST(PropertyList, ReadsNumbersAndStrings) {
    readArchives("objects", [](const std::string& archive, const std::string& expected) {
        PropertyList list(archive);
        const auto object = list.object(list.root());
        std::ostringstream read;
        read << object.integer << ' ' << object.real << ' ' << object.text;
        EXPECT_EQ(read.str(), expected);
        EXPECT_EQ(list.isString(list.root(), "hi"), object.text == "hi");
        EXPECT_FALSE(list.isString(list.root(), "h"));
        EXPECT_FALSE(list.isString(list.root(), "hi!"));
    });
}

TEST(Transcript, RefusesFilesThatAreNone) {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder / "transcript";
    const auto expectFault = [](const std::filesystem::path& at, const std::string& fault) {
        EXPECT_EQ(errorOf<VoxArchiveError>(
                      [&] { static_cast<void>(readTranscript(FileURL::fromPath(at.native()))); }),
                  "cannot read the transcript \"" + at.native() + "\": " + fault);
    };
    expectFault(file, "it cannot be read: No such file or directory");
    writeFile(file, "");
    expectFault(file, "it is empty");
    std::filesystem::resize_file(file, 16 * 1024 * 1024 + 1);
    expectFault(file, "it has 16777217 bytes, more than the 16777216 that are read");
    std::filesystem::resize_file(file, 16 * 1024 * 1024);
    expectFault(file, "it is not a property list: line 1: not well-formed (invalid token)");
    expectFault(folder / "", "it is a folder, not a file");
    mkfifo((folder / "fifo").c_str(), 0600);
    expectFault(folder / "fifo", "it is not a regular file");
    expectFault("/dev/zero", "it is not a regular file");
}

} // namespace
} // namespace Orvex::Testing
