#include "VoxArchive/PropertyListWriter.h"
#include "VoxArchive/TranscriptKeys.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

namespace Orvex {

namespace {

using Kind = PropertyListKind;

/// The values of one object, by key.
using Fields = std::vector<std::pair<std::string_view, std::size_t>>;

/// Builds the table of a property list that is a keyed archive. Members that add something to the property
/// list return its place there; those that add an entry to the archive's `$objects` return a reference to it.
class KeyedArchiver {
  public:
    KeyedArchiver() { entries_.push_back(string("$null")); }

    std::size_t string(std::string_view text) {
        return add({.kind = Kind::string, .text = std::string(text)});
    }
    std::size_t integer(std::int64_t number) { return add({.kind = Kind::integer, .integer = number}); }
    std::size_t real(double number) { return add({.kind = Kind::real, .real = number}); }
    std::size_t array(std::vector<std::size_t> elements) {
        return add({.kind = Kind::array, .elements = std::move(elements)});
    }
    std::size_t dictionary(const Fields& fields) {
        PropertyListObject dictionary{.kind = Kind::dictionary};
        for (const auto& [key, value] : fields) {
            dictionary.keys.push_back(string(key));
            dictionary.elements.push_back(value);
        }
        return add(std::move(dictionary));
    }

    std::size_t nil() { return add({.kind = Kind::uid, .integer = 0}); }
    std::size_t entry(std::size_t object) {
        entries_.push_back(object);
        return add({.kind = Kind::uid, .integer = static_cast<std::int64_t>(entries_.size() - 1)});
    }
    std::size_t object(std::string_view className, Fields fields) {
        fields.emplace_back("$class", classNamed(className));
        return entry(dictionary(fields));
    }

    std::string archive(std::size_t root, ArchiveForm form) && {
        const std::size_t archiver = string("NSKeyedArchiver");
        const std::size_t objects = array(entries_);
        const std::size_t top = dictionary({{"root", root}});
        const std::size_t version = integer(100000);
        const std::size_t whole = dictionary(
            {{"$archiver", archiver}, {"$objects", objects}, {"$top", top}, {"$version", version}});
        return form == ArchiveForm::binary ? binaryPropertyList(table_, whole)
                                           : xmlPropertyList(table_, whole);
    }

  private:
    std::size_t add(PropertyListObject object) {
        table_.push_back(std::move(object));
        return table_.size() - 1;
    }

    std::size_t classNamed(std::string_view name) {
        auto known = classes_.find(name);
        if (known == classes_.end()) {
            const std::size_t className = string(name);
            const std::size_t chain = array({className, string("NSObject")});
            known =
                classes_.emplace(name, entry(dictionary({{"$classes", chain}, {"$classname", className}})))
                    .first;
        }
        return known->second;
    }

    std::vector<PropertyListObject> table_;
    std::vector<std::size_t> entries_;
    std::map<std::string_view, std::size_t> classes_;
};

void addText(Fields& fields, KeyedArchiver& archiver, std::string_view key,
             const std::optional<std::string>& text) {
    if (text) {
        fields.emplace_back(key, archiver.entry(archiver.string(*text)));
    }
}

void addReal(Fields& fields, KeyedArchiver& archiver, std::string_view key,
             const std::optional<double>& number) {
    if (number) {
        fields.emplace_back(key, archiver.real(*number));
    }
}

void addSeconds(Fields& fields, KeyedArchiver& archiver, std::string_view key,
                const std::optional<Seconds>& seconds) {
    if (seconds) {
        fields.emplace_back(key, archiver.real(seconds->count()));
    }
}

std::size_t archived(KeyedArchiver& archiver, const VMVoicemailTranscriptSegment& segment) {
    Fields fields;
    addText(fields, archiver, TranscriptKeys::text, segment.text);
    addSeconds(fields, archiver, TranscriptKeys::timestamp, segment.timestamp);
    addSeconds(fields, archiver, TranscriptKeys::duration, segment.duration);
    addReal(fields, archiver, TranscriptKeys::confidence, segment.confidence);
    return archiver.object(TranscriptKeys::segmentClass, std::move(fields));
}

std::size_t archived(KeyedArchiver& archiver, const VMVoicemailTranscript& transcript) {
    Fields fields;
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
