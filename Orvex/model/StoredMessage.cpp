#include "Orvex/model/StoredMessage.h"

namespace Orvex {

std::string StoredMessage::description() const {
    std::string text;
    appendDescription(text);
    return text;
}

void StoredMessage::appendDescription(std::string& out) const {
    Description description(out);
    description.field("recordUUID", recordUUID);
    description.field("voicemailID", voicemailID);
    description.field("conversationID", conversationID);
    description.field("callUUID", callUUID);
    description.field("type", type);
    description.field("provider", provider);
    description.field("mailbox", mailbox);
    description.field("from", from);
    description.field("recipient", recipient);
    description.field("created", created);
    description.field("duration", duration);
    description.field("read", read);
    description.field("sensitive", sensitive);
    description.field("RTT", isRTT);
    description.field("transcription", transcription);
    description.field("messageFile", messageFile);
    description.field("thumbnail", thumbnail);
    description.field("transcript", transcriptURL);
    description.field("simID", simID);
    description.field("quality", quality);
}

} // namespace Orvex
