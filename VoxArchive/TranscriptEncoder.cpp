#include "VoxArchive/KeyedArchiver.h"
#include "VoxArchive/TranscriptKeys.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <cstddef>
#include <utility>

namespace Orvex {

namespace {

std::size_t archived(KeyedArchiver& archiver, const std::string& text) {
    return archiver.entry(archiver.string(text));
}
std::size_t archived(KeyedArchiver& archiver, double number) {
    return archiver.real(number);
}
std::size_t archived(KeyedArchiver& archiver, Seconds duration) {
    return archiver.real(duration.count());
}

template <class T>
void add(KeyedArchiver::Fields& fields, KeyedArchiver& archiver, std::string_view key,
         const std::optional<T>& value) {
    if (value) {
        fields.emplace_back(key, archived(archiver, *value));
    }
}

std::size_t archived(KeyedArchiver& archiver, const VMVoicemailTranscriptSegment& segment) {
    KeyedArchiver::Fields fields;
    add(fields, archiver, TranscriptKeys::text, segment.text);
    add(fields, archiver, TranscriptKeys::timestamp, segment.timestamp);
    add(fields, archiver, TranscriptKeys::duration, segment.duration);
    add(fields, archiver, TranscriptKeys::confidence, segment.confidence);
    return archiver.object(TranscriptKeys::segmentClass, std::move(fields));
}

std::size_t archived(KeyedArchiver& archiver, const VMVoicemailTranscript& transcript) {
    KeyedArchiver::Fields fields;
    add(fields, archiver, TranscriptKeys::text, transcript.text);
    add(fields, archiver, TranscriptKeys::locale, transcript.locale);
    add(fields, archiver, TranscriptKeys::confidence, transcript.confidence);
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
