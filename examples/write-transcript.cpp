// Writes a voicemail transcript that voicemail-messages can read. Each WORD becomes a segment of half a
// second.
//   write-transcript [--xml] FILE WORD...

#include "Foundation/QuotedText.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

int main(int argc, char* argv[]) {
    std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    Orvex::ArchiveForm form = Orvex::ArchiveForm::binary;
    if (!words.empty() && words.front() == "--xml") {
        form = Orvex::ArchiveForm::xml;
        words.erase(words.begin());
    }
    if (words.size() < 2) {
        std::fputs("usage: write-transcript [--xml] FILE WORD...\n", stderr);
        return 64;
    }
    const std::string file = words.front();
    words.erase(words.begin());

    Orvex::VMVoicemailTranscript transcript{.text = "", .locale = "en_US", .confidence = 0.9};
    constexpr Orvex::Seconds wordDuration(0.5);
    for (const std::string& word : words) {
        *transcript.text += (transcript.text->empty() ? "" : " ") + word;
        transcript.segments.push_back(
            {.text = word,
             .timestamp = static_cast<double>(transcript.segments.size()) * wordDuration,
             .duration = wordDuration,
             .confidence = 0.9});
    }
    try {
        const std::string archive = Orvex::encodeTranscript(transcript, form);
        std::ofstream stream(file, std::ios::binary);
        stream << archive;
        if (!stream.flush()) {
            throw std::runtime_error("cannot write " + Orvex::inQuotes(file));
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "write-transcript: %s\n", error.what());
        return 1;
    }
    return 0;
}
