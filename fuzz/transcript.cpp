#include "Foundation/CharacterSets.h"
#include "Foundation/UTF8.h"
#include "Fuzzing.h"
#include "VoxArchive/PropertyList.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <optional>
#include <stdexcept>

namespace Orvex::Fuzzing {

namespace {

void expectRoundTrip(const std::optional<VMVoicemailTranscript>& transcript, ArchiveForm form) {
    const std::string archive = encodeTranscript(transcript, form);
    const std::optional<VMVoicemailTranscript> decoded = decodeTranscript(archive);
    expect(decoded.has_value() == transcript.has_value(), "a transcript is read as it was written");
    expect(!decoded || decoded->description() == transcript->description(),
           "a transcript keeps its description");
    expect(encodeTranscript(decoded, form) == archive, "an archive is written as it was read");
}

/// Removes the invisible characters that a transcript may have.
std::string withoutShaping(std::string_view text) {
    std::string rest;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const char32_t c = nextCharacter(text, position).value_or(0);
        if (c != 0x200C && c != 0x200D && !isVariationSelector(c)) {
            rest += text.substr(start, position - start);
        }
    }
    return rest;
}

} // namespace

/// The input is a transcript's file.
void tryInput(std::string_view input) {
    std::optional<VMVoicemailTranscript> transcript;
    try {
        transcript = decodeTranscript(input);
    } catch (const ArchiveError& error) {
        expect(isHarmlessLine(error.what()), "a terminal obeys no byte of an archive");
        return;
    }
    expect(!transcript || isHarmlessRecord(withoutShaping(transcript->description())),
           "a terminal obeys no text of a transcript, and none ends its line");
    expectRoundTrip(transcript, ArchiveForm::binary);
    try {
        expectRoundTrip(transcript, ArchiveForm::xml);
    } catch (const std::invalid_argument&) {
        // XML cannot hold control characters.
    }
}

} // namespace Orvex::Fuzzing
