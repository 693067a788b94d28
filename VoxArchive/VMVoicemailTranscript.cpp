#include "VoxArchive/VMVoicemailTranscript.h"

#include "Foundation/Description.h"

namespace Orvex {

std::string VMVoicemailTranscript::description() const {
    std::string lines;
    appendDescription(lines);
    return lines;
}

void VMVoicemailTranscript::appendDescription(std::string& out) const {
    Description description(out, "VMVoicemailTranscript");
    description.prose("text", text);
    description.field("locale", locale);
    description.field("confidence", confidence);
    std::size_t number = 0;
    for (const VMVoicemailTranscriptSegment& segment : segments) {
        Description fields = description.nested("segment " + std::to_string(++number) + ":");
        fields.prose("text", segment.text);
        fields.field("timestamp", segment.timestamp);
        fields.field("duration", segment.duration);
        fields.field("confidence", segment.confidence);
    }
}

} // namespace Orvex
