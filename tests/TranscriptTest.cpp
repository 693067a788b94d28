#include "Orvex/arguments/Wording.h"
#include "Support.h"
#include "VoxArchive/KeyedUnarchiver.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
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
              R"(the value of "timestamp" is not a finite number)");
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

std::string replaced(std::string text, std::string_view from, std::string_view to) {
    return text.replace(text.find(from), from.size(), to);
}

/// The segments of a transcript: an array with these elements, which is entry 5.
std::string withSegments(const std::string& elements, const std::string& more = "") {
    return archiveOf(instance(2, "<key>segments</key>" + uid(5)),
                     instance(4, "<key>NS.objects</key><array>" + elements + "</array>") + more);
}

/// A transcript with a field, in front of data and a reference, which are entries 5 and 6.
std::string withField(const std::string& key, const std::string& value) {
    return archiveOf(instance(2, "<key>" + key + "</key>" + value), "<data></data>" + uid(5));
}

/// An object of a class that claims to inherit in this way.
std::string ofClass(const std::string& name, const std::vector<std::string>& chain) {
    std::string names;
    for (const std::string& each : chain) {
        names += "<string>" + each + "</string>";
    }
    return archiveOf(instance(5, ""), classEntry(name, names));
}

TEST(Transcript, ReadsTextsThatAreObjectsAndSubclasses) {
    const auto own = [](const std::string& chain) {
        return classEntry(split(chain)[0],
                          "<string>" + replacing(chain, " ", "</string><string>") + "</string>");
    };
    const auto text = [](int number) { return "<key>text</key>" + uid(number); };
    const std::string transcript = archiveOf(
        instance(5, text(6) + "<key>segments</key>" + uid(8)),
        own("Own VMVoicemailTranscript NSObject") + instance(7, "<key>NS.string</key><string>a</string>") +
            own("NSMutableString NSString NSObject") +
            instance(9, "<key>NS.objects</key><array>" + uid(10) + "</array>") +
            own("OwnArray NSMutableArray NSArray NSObject") + instance(11, text(12)) +
            own("OwnSegment Other VMVoicemailTranscriptSegment NSObject") +
            instance(13, "<key>NS.string</key><string>b</string>") + own("NSString NSObject"));
    const auto decoded = decodeTranscript(transcript);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->description(), "VMVoicemailTranscript\n  text: \"a\"\n  segment 1:\n    text: \"b\"");
    EXPECT_EQ(faultOf(replaced(transcript, "NS.string", "string")),
              R"(it is not a keyed archive: it has no "NS.string")");
    EXPECT_EQ(faultOf(replaced(transcript, "<string>a</string>", uid(6))),
              R"(the value of "NS.string" is a reference, not a string)");
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
    // The first of equal keys counts.
    EXPECT_EQ(faultOf(withField("text", "<string>x</string><key>text</key><true/>")), "");
    const std::string noArchive = "it is not a keyed archive: ";
    const std::string belongs = R"( where one of class "VMVoicemailTranscript" belongs)";
    expectFaults({
        {replaced(good, "NSKeyedArchiver", "X"), noArchive + R"(its "$archiver" is not "NSKeyedArchiver")"},
        {replaced(good, "100000", "100001"), "it is a keyed archive of another version than 100000"},
        {replaced(good, "$top", "$tip"), noArchive + R"(it has no "$top")"},
        {replaced(good, "$null", "nil"), noArchive + R"(entry 0 of its "$objects" is not "$null")"},
        {replaced(good, uid(1), uid(6)), "it is damaged: it refers to entry 6 of 6"},
        {replaced(good, uid(1), "<true/>"), R"(the value of "root" is a boolean, not a reference)"},
        {replaced(good, uid(1), uid(5)),
         R"(there is a string where an object of class "VMVoicemailTranscript" belongs)"},
        {archiveOf(instance(3, "")),
         R"(there is an object of class "VMVoicemailTranscriptSegment")" + belongs},
        {archiveOf(instance(0, "")), "an object's class is nil"},
        {archiveOf(instance(99, "")), "it is damaged: it refers to entry 99 of 5"},
        {archiveOf(instance(1, "")), noArchive + R"(it has no "$classname")"},
        {archiveOf("<dict></dict>"), noArchive + R"(it has no "$class")"},
        {archiveOf("<dict>" + repeated("<key>x</key><true/>", 257) + "</dict>"),
         "one of its dictionaries has 257 keys, more than the 256 that are looked through"},
        {ofClass("E\u2028", {"E\u2028", "NSObject"}), R"(there is an object of class "E\u{2028}")" + belongs},
        {ofClass("X", {"Evil", "NSObject"}),
         R"(the class "X" claims to inherit by way of ["Evil", "NSObject"])"},
        {ofClass("X", {"X"}), R"(the class "X" claims to inherit by way of ["X"])"},
        {ofClass("X", {}), R"(the class "X" claims to inherit by way of [])"},
        {ofClass("X", std::vector<std::string>(17, "X")),
         R"(the class "X" claims to inherit from 17 classes)"},
        {ofClass(std::string(1000, 'X'), {"Y"}),
         "the class \"" + std::string(64, 'X') + "\"… claims to inherit by way of [\"Y\"]"},
        {withField("confidence", "<real>1.5</real>"), R"(a "confidence" is 1.5, not between 0 and 1)"},
        {withField("confidence", "<integer>-1</integer>"), R"(a "confidence" is -1, not between 0 and 1)"},
        {withSegments("<integer>1</integer>"), R"(an element of "segments" is an integer, not a reference)"},
        {withSegments(uid(0)), R"(an element of "segments" is nil)"},
        {withSegments(uid(7)), "it is damaged: it refers to entry 7 of 6"},
        {withSegments(uid(5)), R"(there is an object of class "NSArray" where one of class )"
                               R"("VMVoicemailTranscriptSegment" belongs)"},
        {withSegments(uid(6) + uid(6), instance(3, "")), "entry 6 is an element of arrays twice"},
        {withSegments(uid(6), instance(3, "<key>timestamp</key>" + uid(1))),
         R"(the value of "timestamp" is a dictionary, not a real number)"},
    });
    const struct {
        std::string key, value, kinds;
    } fields[] = {
        {"text", "<integer>1</integer>", "an integer, not a string"},
        {"text", "<date></date>", "a date, not a string"},
        {"text", uid(5), "data, not a string"},
        {"text", uid(6), "a reference, not a string"},
        {"text", uid(1), "a dictionary, not a string"},
        {"locale", "<true/>", "a boolean, not a string"},
        {"confidence", "<string>1</string>", "a string, not a real number"},
        {"segments", "<array></array>", R"(an array, not an object of class "NSArray")"},
        {"segments", uid(1), R"(a dictionary, not an object of class "NSArray")"},
    };
    for (const auto& [key, value, kinds] : fields) {
        EXPECT_EQ(faultOf(withField(key, value)), "the value of \"" + key + "\" is " + kinds);
    }
}

TEST(Transcript, RefusesWhatIsNoPropertyList) {
    const std::string no = "it is not a property list: ";
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
        {"<plist><integer>1x</integer></plist>", no + R"(line 1: "1x" is not an integer)"},
        {"<plist><real>nan</real></plist>", no + R"(line 1: "nan" is not a real number)"},
        {"<plist>" + uid(-1) + "</plist>", no + "line 1: a UID is not an integer of 32 bits"},
        {"<plist>" + replaced(uid(0), "0", "4294967296") + "</plist>",
         no + "line 1: a UID is not an integer of 32 bits"},
        {"<plist>" + repeated("<array>", 100000), no + "line 1: its elements are nested more than 64 deep"},
        {"<!DOCTYPE plist [<!ATTLIST true a CDATA \"\">]><plist><true/></plist>",
         no + "line 1: its <!DOCTYPE> has declarations of its own"},
        {"<!DOCTYPE plist SYSTEM 'x'><plist><string>&a;</string></plist>",
         no + R"(line 1: it refers to an unknown entity "a")"},
        {"<plist a=''><true a=''/></plist>", no + R"(line 1: its element "true" has an attribute)"},
        {"<plist " + repeated("\n", 140000) + "/>",
         no + "line 1: a tag, a comment or the like has more than 65536 bytes"},
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
    const std::pair<std::size_t, char> trailers[] = {
        {6, 0},  {6, 9},       {7, 0},  {7, 9},       {8, '\xFF'}, {15, 0},
        {15, 2}, {16, '\x80'}, {23, 1}, {24, '\xFF'}, {31, 7},     {31, 11},
    };
    for (const auto& [offset, byte] : trailers) {
        EXPECT_EQ(faultOf(withTrailer(offset, byte)), "it is damaged: its trailer points outside of it")
            << offset;
    }
    const std::pair<std::string, std::vector<std::string>> objects[] = {
        {"is cut off",
         {"\x5F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "\x6F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s,
          "\xAF\x13\x20\0\0\0\0\0\0\x01"s, "\xD1\0"s}},
        {"has no valid count", {"\xDF\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "\x5F\x5F\x10\x01"s}},
        {"is an integer of more than 64 bits",
         {"\x5F\x14\0\0\0\0\0\0\0\x01\0\0\0\0\0\0\0\x01x"s,
          "\x14"s + std::string(8, '\0') + std::string(8, '\xFF'),
          "\x14"s + std::string(8, '\xFF') + std::string(8, '\0')}},
        {"is an integer of more than 16 bytes", {"\x15"s}},
        {"refers to object 1 of 1", {"\xA1\x01"s}},
        {"is a real number of neither 4 nor 8 bytes", {"\x24"s}},
        {"is a UID of more than 32 bits", {"\x8F"s}},
        {"is of no known kind", {"\x70"s, "\x01"s}},
        {"is an ASCII string with a byte that is not ASCII", {"\x51\x80"s}},
        {"is a string of invalid UTF-16",
         {"\x61\xD8\0"s, "\x62\xD8\0\0x"s, "\x61\xDC\0"s, "\x62\xD8\0\xD8\0"s, "\x62\xD8\0\xE0\0"s}},
    };
    for (const auto& [fault, all] : objects) {
        for (const std::string& object : all) {
            EXPECT_EQ(faultOf(binary({object})), "it is damaged: object 0 " + fault);
        }
    }
    expectFaults({
        {"bplist00\x09\x09"s + withTrailer(0, 0).substr(10),
         "it is damaged: object 0 lies outside of the objects"},
        {"bplist00\x09\x07"s + withTrailer(0, 0).substr(10),
         "it is damaged: object 0 lies outside of the objects"},
        // So many references that the number of their bytes overflows.
        {binary({"\xAF\x13\x20\0\0\0\0\0\0\x01"s + std::string(8, '\0')},
                [](std::string& trailer) { trailer[7] = 8; }),
         "it is damaged: object 0 is cut off"},
        // Each array holds the next one twice, and the last one the first.
        {binary({"\xA2\1\1"s, "\xA2\2\2"s, "\xA2\0\0"s}), R"(it is not a keyed archive: it has no "$archiver")"},
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
        PropertyList list(archive);
        const auto askOften = [&list] {
            for (int i = 0; i < 2000; ++i) {
                static_cast<void>(list.object(list.root()));
            }
        };
        EXPECT_THROW(askOften(), ArchiveError) << archive;
        EXPECT_FALSE(list.isString(list.root(), "y"));
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
        PropertyList list(each.list);
        const auto object = list.object(list.root());
        EXPECT_EQ(object.integer, each.integer) << each.list;
        EXPECT_EQ(object.real, each.real) << each.list;
    }
}

TEST(PropertyList, KnowsAStringInEitherForm) {
    using namespace std::string_literals;
    for (const std::string& archive : {binary({"\x52hi"s}), binary({"\x62\0h\0i"s})}) {
        PropertyList list(archive);
        EXPECT_TRUE(list.isString(0, "hi"));
        EXPECT_FALSE(list.isString(0, "h"));
        EXPECT_FALSE(list.isString(0, "hi!"));
        EXPECT_EQ(list.object(0).text, "hi");
    }
}

TEST(Transcript, RefusesFilesThatAreNone) {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder / "transcript";
    const auto expectFault = [](const std::filesystem::path& at, const std::string& fault) {
        try {
            static_cast<void>(readTranscript(FileURL::fromPath(at.native())));
            ADD_FAILURE() << fault;
        } catch (const VoxArchiveError& error) {
            EXPECT_EQ(error.what(), "cannot read the transcript \"" + at.native() + "\": " + fault);
        }
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
