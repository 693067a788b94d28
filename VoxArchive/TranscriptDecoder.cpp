#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include "Foundation/RegularFile.h"
#include "VoxArchive/KeyedUnarchiver.h"
#include "VoxArchive/TranscriptKeys.h"
#include "VoxArchive/VMVoicemailTranscript.h"

namespace Orvex {

namespace {

std::optional<Seconds> seconds(const std::optional<double>& number) {
    return number ? std::optional(Seconds(*number)) : std::nullopt;
}

std::optional<double> confidence(const KeyedObject& object) {
    const std::optional<double> value = object.real(TranscriptKeys::confidence);
    if (value && (*value < 0 || *value > 1)) {
        throw ArchiveError("a \"confidence\" is " + shortestText(*value) + ", not between 0 and 1");
    }
    return value;
}

} // namespace

std::optional<VMVoicemailTranscript> decodeTranscript(std::string_view archive) {
    KeyedUnarchiver unarchiver(archive);
    const std::optional<KeyedObject> root = unarchiver.root(TranscriptKeys::transcriptClass);
    if (!root) {
        return std::nullopt;
    }
    VMVoicemailTranscript transcript{.text = root->string(TranscriptKeys::text),
                                     .locale = root->string(TranscriptKeys::locale),
                                     .confidence = confidence(*root)};
    root->forEachObject(
        TranscriptKeys::segments, TranscriptKeys::segmentClass, [&](const KeyedObject& segment) {
            transcript.segments.push_back({.text = segment.string(TranscriptKeys::text),
                                           .timestamp = seconds(segment.real(TranscriptKeys::timestamp)),
                                           .duration = seconds(segment.real(TranscriptKeys::duration)),
                                           .confidence = confidence(segment)});
        });
    return transcript;
}

std::optional<VMVoicemailTranscript> readTranscript(const FileURL& file) {
    constexpr std::uintmax_t largest = std::uintmax_t{16} << 20U;
    std::string fault;
    try {
        return decodeTranscript(readWholeFile(file.path(), largest));
    } catch (const FileError& error) {
        fault = error.what();
    } catch (const ArchiveError& error) {
        fault = error.what();
    }
    throw VoxArchiveError("cannot read the transcript " + inQuotes(file.path()) + ": " + fault);
}

} // namespace Orvex
