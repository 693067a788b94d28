#include "Foundation/KeyedUnarchiver.h"
#include "Support.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>

namespace Orvex::Testing {
namespace {

using testing::HasSubstr;

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

std::string dataFile(const std::string& name) {
    return readFile(std::filesystem::path(ORVEX_TEST_DATA) / name);
}

/// What is wrong with an archive; nothing when it can be decoded.
std::string faultOf(std::string_view archive) {
    try {
        static_cast<void>(decodeTranscript(archive));
    } catch (const ArchiveError& error) {
        return error.what();
    }
    return "";
}

TEST(Transcript, ReadsWhatAnotherWriterWrote) {
    for (const std::string form : {"binary", "xml"}) {
        const auto full = decodeTranscript(dataFile("full-" + form + ".plist"));
        ASSERT_TRUE(full);
        EXPECT_EQ(full->description(), fullDescription);
        const auto bare = decodeTranscript(dataFile("bare-" + form + ".plist"));
        ASSERT_TRUE(bare);
        EXPECT_EQ(bare->description(), "VMVoicemailTranscript");
        EXPECT_FALSE(decodeTranscript(dataFile("nil-" + form + ".plist")));
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
    EXPECT_EQ(faultOf(encodeTranscript(endless, ArchiveForm::binary)),
              R"(the value of "timestamp" is no finite number)");
    const VMVoicemailTranscript control{.text = "\x1b"};
    EXPECT_THROW(static_cast<void>(encodeTranscript(control, ArchiveForm::xml)), std::invalid_argument);
    EXPECT_EQ(decodeTranscript(encodeTranscript(control, ArchiveForm::binary))->text, "\x1b");
}

std::string uid(int number) {
    return "<dict><key>CF$UID</key><integer>" + std::to_string(number) + "</integer></dict>";
}

std::string classEntry(const std::string& name, const std::string& chain) {
    return "<dict><key>$classname</key><string>" + name + "</string><key>$classes</key><array>" + chain +
           "</array></dict>";
}

/// An archive whose entry 1 is the root, 2 the transcript's class, 3 the segments' and 4 the arrays'; entries
/// from 5 on follow.
std::string archiveOf(const std::string& root, const std::string& more = "") {
    const std::string object = "<string>NSObject</string>";
    return "<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string>"
           "<key>$version</key><integer>100000</integer>"
           "<key>$top</key><dict><key>root</key>" +
           uid(1) + "</dict><key>$objects</key><array><string>$null</string>" + root +
           classEntry("VMVoicemailTranscript", "<string>VMVoicemailTranscript</string>" + object) +
           classEntry("VMVoicemailTranscriptSegment",
                      "<string>VMVoicemailTranscriptSegment</string>" + object) +
           classEntry("NSArray", "<string>NSArray</string>" + object) + more + "</array></dict></plist>";
}

std::string instance(int classNumber, const std::string& fields) {
    return "<dict><key>$class</key>" + uid(classNumber) + fields + "</dict>";
}

std::string repeated(std::string_view text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
    return text.replace(text.find(from), from.size(), to);
}

/// The segments of a transcript: an array with these elements, which is entry 5.
std::string withSegments(const std::string& elements, const std::string& more = "") {
    return archiveOf(instance(2, "<key>segments</key>" + uid(5)),
                     instance(4, "<key>NS.objects</key><array>" + elements + "</array>") + more);
}

struct Hostile {
    std::string archive;
    std::string fault;
};

void expectFaults(const std::vector<Hostile>& cases) {
    for (const Hostile& each : cases) {
        EXPECT_EQ(faultOf(each.archive), each.fault) << each.archive.substr(0, 500);
    }
}

TEST(Transcript, RefusesArchivesThatLie) {
    const std::string good = archiveOf(instance(2, "<key>text</key>" + uid(5)), "<string>x</string>");
    ASSERT_EQ(faultOf(good), "");
    const auto field = [](const std::string& key, const std::string& value, const std::string& more = "") {
        return archiveOf(instance(2, "<key>" + key + "</key>" + value), more);
    };
    expectFaults({
        {replaced(good, "NSKeyedArchiver", "Other"),
         R"(it is no keyed archive: its "$archiver" is not "NSKeyedArchiver")"},
        {replaced(good, "100000", "100001"), "it is a keyed archive of another version than 100000"},
        {replaced(good, "$top", "$tip"), R"(it is no keyed archive: it has no "$top")"},
        {replaced(good, "$null", "nil"),
         R"(it is no keyed archive: entry 0 of its "$objects" is not "$null")"},
        {replaced(good, uid(1), uid(6)), "it is damaged: it refers to entry 6 of 6"},
        {replaced(good, uid(1), "<integer>1</integer>"),
         R"(the value of "root" is an integer, not a reference)"},
        {replaced(good, uid(1), uid(5)),
         R"(there is a string where an object of class "VMVoicemailTranscript" belongs)"},
        {archiveOf(instance(3, "")),
         "there is an object of class \"VMVoicemailTranscriptSegment\" where one of class "
         "\"VMVoicemailTranscript\" belongs"},
        {archiveOf(instance(0, "")), "an object's class is nil"},
        {archiveOf(instance(99, "")), "it is damaged: it refers to entry 99 of 5"},
        {archiveOf(instance(1, "")), R"(it is no keyed archive: it has no "$classname")"},
        {archiveOf("<dict></dict>"), R"(it is no keyed archive: it has no "$class")"},
        {archiveOf(instance(5, ""),
                   classEntry("VMVoicemailTranscript", "<string>Evil</string><string>NSObject</string>")),
         R"(the class "VMVoicemailTranscript" claims to inherit by way of ["Evil", "NSObject"])"},
        {archiveOf(instance(5, ""),
                   classEntry("VMVoicemailTranscript", "<string>VMVoicemailTranscript</string>")),
         R"(the class "VMVoicemailTranscript" claims to inherit by way of ["VMVoicemailTranscript"])"},
        {archiveOf(instance(5, ""), classEntry("VMVoicemailTranscript", "")),
         R"(the class "VMVoicemailTranscript" claims to inherit by way of [])"},
        {archiveOf(instance(5, ""),
                   classEntry("E\u2028", "<string>E\u2028</string><string>VMVoicemailTranscript"
                                         "</string><string>NSObject</string>")),
         R"(there is an object of class "E\u{2028}" where one of class "VMVoicemailTranscript" belongs)"},
        {archiveOf(instance(5, ""), classEntry("X", repeated("<string>X</string>", 17))),
         R"(the class "X" claims to inherit from 17 classes)"},
        {archiveOf(instance(5, ""), classEntry(std::string(1000, 'X'), "<string>Y</string>")),
         "the class \"" + std::string(64, 'X') + "\"… claims to inherit by way of [\"Y\"]"},
        {field("text", "<integer>1</integer>"), R"(the value of "text" is an integer, not a string)"},
        {field("text", uid(5), "<data></data>"), R"(the value of "text" is data, not a string)"},
        {field("text", uid(5), uid(5)), R"(the value of "text" is a reference, not a string)"},
        {field("text", uid(1)), R"(the value of "text" is a dictionary, not a string)"},
        {field("locale", "<true/>"), R"(the value of "locale" is a boolean, not a string)"},
        {field("confidence", "<string>1</string>"),
         R"(the value of "confidence" is a string, not a real number)"},
        {field("confidence", "<real>1.5</real>"), R"(a "confidence" is 1.5, not between 0 and 1)"},
        {field("confidence", "<integer>-1</integer>"), R"(a "confidence" is -1, not between 0 and 1)"},
        {field("segments", "<array></array>"),
         R"(the value of "segments" is an array, not an object of class "NSArray")"},
        {field("segments", uid(1)),
         R"(the value of "segments" is a dictionary, not an object of class "NSArray")"},
        {withSegments("<integer>1</integer>"), R"(an element of "segments" is an integer, not a reference)"},
        {withSegments(uid(0)), R"(an element of "segments" is nil)"},
        {withSegments(uid(7)), "it is damaged: it refers to entry 7 of 6"},
        {withSegments(uid(5)), "there is an object of class \"NSArray\" where one of class "
                               "\"VMVoicemailTranscriptSegment\" belongs"},
        {withSegments(uid(6) + uid(6), instance(3, "")), "entry 6 is an element of arrays twice"},
        {withSegments(uid(6), instance(3, "<key>timestamp</key>" + uid(1))),
         R"(the value of "timestamp" is a dictionary, not a real number)"},
    });
}

TEST(Transcript, RefusesWhatIsNoPropertyList) {
    const std::string no = "it is no property list: ";
    expectFaults({
        {"", "it is empty"},
        {"hello", no + "line 1: syntax error"},
        {"bplist15" + std::string(40, '\0'), "it is a binary property list of another version than 00"},
        {"bplist00", "it is cut off"},
        {"<html/>", no + R"(line 1: it begins with "html", not with "plist")"},
        {"<plist>\n</plist>", no + "its <plist> is empty"},
        {"<plist>\n<true/><true/></plist>", no + "line 2: <plist> holds more than one value"},
        {"<plist><dict><true/></dict></plist>", no + "line 1: there is a value where a key belongs"},
        {"<plist><dict><key>a</key><key>b</key></dict></plist>",
         no + "line 1: there is a key where a value belongs"},
        {"<plist><dict><key>a</key></dict></plist>", no + "line 1: there is a key without a value"},
        {"<plist><string><true/></string></plist>", no + "line 1: there is an element inside a value"},
        {"<plist><sting/></plist>", no + R"(line 1: it has an unknown element "sting")"},
        {"<plist><integer>1x</integer></plist>", no + R"(line 1: "1x" is no integer)"},
        {"<plist><real>nan</real></plist>", no + R"(line 1: "nan" is no real number)"},
        {"<plist>" + uid(-1) + "</plist>", no + "line 1: a UID is no integer of 32 bits"},
        {"<plist>" + replaced(uid(0), "0", "4294967296") + "</plist>",
         no + "line 1: a UID is no integer of 32 bits"},
        {"<plist>" + repeated("<array>", 100000), no + "line 1: its elements are nested more than 64 deep"},
        {"<!DOCTYPE plist [<!ENTITY a \"aa\">]><plist><string>&a;</string></plist>",
         no + "line 1: it declares an entity"},
        {"<plist><array>" + repeated("<true/>", 1000000) + "</array></plist>",
         no + "line 1: it has more than 1000000 objects"},
    });
}

/// A binary property list of these objects, the first of which is the root; `trailer` may change what stands
/// at the end.
std::string binary(const std::vector<std::string>& objects,
                   const std::function<void(std::string&)>& change = {}) {
    std::string bytes = "bplist00";
    std::string table;
    for (const std::string& object : objects) {
        table += static_cast<char>(bytes.size());
        bytes += object;
    }
    std::string trailer(32, '\0');
    trailer[6] = 1;
    trailer[7] = 1;
    trailer[15] = static_cast<char>(objects.size());
    trailer[31] = static_cast<char>(bytes.size());
    if (change) {
        change(trailer);
    }
    return bytes + table + trailer;
}

TEST(Transcript, RefusesBinaryPropertyListsThatPointAnywhere) {
    using namespace std::string_literals;
    const auto withTrailer = [](std::size_t offset, char byte) {
        return binary({"\x09"s}, [=](std::string& trailer) { trailer[offset] = byte; });
    };
    const std::string outside = "it is damaged: its trailer points outside of it";
    const std::string damaged = "it is damaged: object 0 ";
    expectFaults({
        {withTrailer(6, 0), outside},
        {withTrailer(6, 9), outside},
        {withTrailer(7, 0), outside},
        {withTrailer(7, 9), outside},
        {withTrailer(8, '\xFF'), outside},
        {withTrailer(15, 0), outside},
        {withTrailer(15, 2), outside},
        {withTrailer(16, '\x80'), outside},
        {withTrailer(23, 1), outside},
        {withTrailer(24, '\xFF'), outside},
        {withTrailer(31, 7), outside},
        {withTrailer(31, 11), outside},
        {"bplist00\x09\x09"s + withTrailer(0, 0).substr(10), damaged + "lies outside of the objects"},
        {"bplist00\x09\x07"s + withTrailer(0, 0).substr(10), damaged + "lies outside of the objects"},
        {binary({"\x5F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), damaged + "is cut off"},
        {binary({"\x6F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), damaged + "is cut off"},
        {binary({"\xAF\x13\x20\0\0\0\0\0\0\x01"s}), damaged + "is cut off"},
        {binary({"\xDF\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), damaged + "has no valid count"},
        {binary({"\x5F\x5F\x10\x01"s}), damaged + "has no valid count"},
        {binary({"\x5F\x14\0\0\0\0\0\0\0\x01\0\0\0\0\0\0\0\x01x"s}),
         damaged + "is an integer of more than 64 bits"},
        {binary({"\x15"s}), damaged + "is an integer of more than 16 bytes"},
        {binary({"\xA1\x01"s}), damaged + "refers to object 1 of 1"},
        {binary({"\xD1\0"s}), damaged + "is cut off"},
        {binary({"\x24"s}), damaged + "is a real number of neither 4 nor 8 bytes"},
        {binary({"\x8F"s}), damaged + "is a UID of more than 32 bits"},
        {binary({"\x70"s}), damaged + "is of no known kind"},
        {binary({"\x01"s}), damaged + "is of no known kind"},
        {binary({"\x51\x80"s}), damaged + "is an ASCII string with a byte that is none"},
        {binary({"\x61\xD8\0"s}), damaged + "is a string of invalid UTF-16"},
        {binary({"\x62\xD8\0\0x"s}), damaged + "is a string of invalid UTF-16"},
        {binary({"\x61\xDC\0"s}), damaged + "is a string of invalid UTF-16"},
        {binary({"\x62\xD8\0\xD8\0"s}), damaged + "is a string of invalid UTF-16"},
        {binary({"\x62\xD8\0\xE0\0"s}), damaged + "is a string of invalid UTF-16"},
        // Each array holds the next one twice, and the last one the first.
        {binary({"\xA2\1\1"s, "\xA2\2\2"s, "\xA2\0\0"s}), R"(it is no keyed archive: it has no "$archiver")"},
        {binary({"\xD1\1\0"s, "\x59$archiver"s}),
         R"(the value of "$archiver" is a dictionary, not a string)"},
    });
}

TEST(PropertyList, HandsOutOnlySoMuch) {
    const std::string letters(14, 'x');
    for (const std::string& archive :
         {binary({"\x5E" + letters}), binary({"\x67" + letters}), binary({"\xAE" + std::string(14, '\0')}),
          binary({"\xD7" + std::string(14, '\0')}), "<plist><string>" + letters + "</string></plist>",
          "<plist><array>" + repeated("<true/>", 14) + "</array></plist>"}) {
        const auto list = PropertyList::read(archive);
        const auto askOften = [&list] {
            for (int i = 0; i < 2000; ++i) {
                static_cast<void>(list->object(list->root()));
            }
        };
        EXPECT_THROW(askOften(), ArchiveError) << archive;
        EXPECT_FALSE(list->isString(list->root(), "y"));
    }
}

TEST(PropertyList, ReadsNumbers) {
    using namespace std::string_literals;
    const struct {
        std::string list;
        std::int64_t integer;
        double real;
    } cases[] = {
        {binary({"\x08"s}), 0, 0},
        {binary({"\x09"s}), 1, 0},
        {binary({"\x10\xFF"s}), 255, 0},
        {binary({"\x11\xFF\x01"s}), 0xFF01, 0},
        {binary({"\x13"s + std::string(8, '\xFF')}), -1, 0},
        {binary({"\x14"s + std::string(15, '\xFF') + "\xFE"}), -2, 0},
        {binary({"\x22\xBF\xC0\0\0"s}), 0, -1.5},
        {binary({"\x23\x3F\xF8\0\0\0\0\0\0"s}), 0, 1.5},
        {binary({"\x81\x01\x02"s}), 0x0102, 0},
        {"<plist><true/></plist>", 1, 0},
        {"<plist><false/></plist>", 0, 0},
        {"<plist>" + uid(5) + "</plist>", 5, 0},
        {"<plist>" + replaced(uid(5), "</dict>", "<key>a</key><true/></dict>") + "</plist>", 0, 0},
        {"<plist><real>-1e3</real></plist>", 0, -1000},
    };
    for (const auto& each : cases) {
        const PropertyListObject object = PropertyList::read(each.list)->object(0);
        EXPECT_EQ(object.integer, each.integer) << each.list;
        EXPECT_EQ(object.real, each.real) << each.list;
    }
}

TEST(PropertyList, KnowsAStringInEitherForm) {
    using namespace std::string_literals;
    for (const std::string& archive : {binary({"\x52hi"s}), binary({"\x62\0h\0i"s})}) {
        const auto list = PropertyList::read(archive);
        EXPECT_TRUE(list->isString(0, "hi"));
        EXPECT_FALSE(list->isString(0, "h"));
        EXPECT_FALSE(list->isString(0, "hi!"));
        EXPECT_EQ(list->object(0).text, "hi");
    }
}

TEST(Transcript, RefusesFilesThatAreNone) {
    const TemporaryFolder folder;
    const auto errorOf = [](const std::filesystem::path& file) -> std::string {
        try {
            static_cast<void>(readTranscript(FileURL::fromPath(file.native())));
        } catch (const VoxArchiveError& error) {
            return error.what();
        }
        return "";
    };
    const auto fault = [](const std::filesystem::path& file, const std::string& what) {
        return "cannot read the transcript \"" + file.native() + "\": " + what;
    };
    const std::filesystem::path file = folder / "transcript";
    EXPECT_EQ(errorOf(file), fault(file, "it cannot be read: No such file or directory"));
    writeFile(file, "");
    EXPECT_EQ(errorOf(file), fault(file, "it is empty"));
    std::filesystem::resize_file(file, 16 * 1024 * 1024 + 1);
    EXPECT_EQ(errorOf(file), fault(file, "it has 16777217 bytes, more than the 16777216 that are read"));
    std::filesystem::resize_file(file, 16 * 1024 * 1024);
    EXPECT_THAT(errorOf(file), HasSubstr("it is no property list: line 1"));
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    EXPECT_EQ(errorOf(file), fault(file, "it is a folder, not a file"));
    std::filesystem::remove(file);
    mkfifo(file.c_str(), 0600);
    EXPECT_EQ(errorOf(file), fault(file, "it is no regular file"));
    EXPECT_EQ(errorOf("/dev/zero"), fault("/dev/zero", "it is no regular file"));
}

} // namespace
} // namespace Orvex::Testing
