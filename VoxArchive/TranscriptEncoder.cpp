#include "VoxArchive/KeyedArchiver.h"
#include "VoxArchive/TranscriptKeys.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <cstddef>
#include <utility>

namespace Orvex {

namespace {

void addText(KeyedArchiver::Fields& fields, KeyedArchiver& archiver, std::string_view key,
             const std::optional<std::string>& text) {
    if (text) {
        fields.emplace_back(key, archiver.entry(archiver.string(*text)));
    }
}

void addReal(KeyedArchiver::Fields& fields, KeyedArchiver& archiver, std::string_view key,
             const std::optional<double>& number) {
    if (number) {
        fields.emplace_back(key, archiver.real(*number));
    }
}

void addSeconds(KeyedArchiver::Fields& fields, KeyedArchiver& archiver, std::string_view key,
                const std::optional<Seconds>& seconds) {
    if (seconds) {
        fields.emplace_back(key, archiver.real(seconds->count()));
    }
}

std::size_t archived(KeyedArchiver& archiver, const VMVoicemailTranscriptSegment& segment) {
    KeyedArchiver::Fields fields;
    addText(fields, archiver, TranscriptKeys::text, segment.text);
    addSeconds(fields, archiver, TranscriptKeys::timestamp, segment.timestamp);
    addSeconds(fields, archiver, TranscriptKeys::duration, segment.duration);
    addReal(fields, archiver, TranscriptKeys::confidence, segment.confidence);
    return archiver.object(TranscriptKeys::segmentClass, std::move(fields));
}

std::size_t archived(KeyedArchiver& archiver, const VMVoicemailTranscript& transcript) {
    KeyedArchiver::Fields fields;
    addText(fields, archiver, TranscriptKeys::text, transcript.text);
    addText(fields, archiver, TranscriptKeys::locale, transcript.locale);
    addReal(fields, archiver, TranscriptKeys::confidence, transcript.confidence);
    if (!transcript.segments.empty()) {
        std::vector<std::size_t> segments;
        for (const VMVoicemailTranscriptSegment& segment : transcript.segments) {
            segments.push_back(archived(archiver, segment));
        }
        const std::size_t elements = archiver.array(std::move(segments));
        fields.emplace_back(TranscriptKeys::segments, archiver.object("NSArray", {{"NS.objects", elements}}));
    }
    return archiver.object(TranscriptKeys::transcriptClass, std::move(fields));
}

} // namespace

std::string encodeTranscript(const std::optional<VMVoicemailTranscript>& transcript, ArchiveForm form) {
    KeyedArchiver archiver;
    const std::size_t root = transcript ? archived(archiver, *transcript) : archiver.nil();
    return std::move(archiver).archive(root, form);
}

} // namespace Orvex
