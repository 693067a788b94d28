#include "Orvex/model/MessageUpdate.h"

namespace Orvex {

std::string MessageUpdate::description() const {
    std::string text;
    Description description(text);
    description.field("recordUUID", recordUUID);
    description.field("callUUID", callUUID);
    description.field("conversationID", conversationID);
    description.field("from", from);
    description.field("provider", provider);
    description.field("read", read);
    description.field("duration", duration);
    description.field("mailbox", mailbox);
    description.field("recipient", recipient);
    description.field("transcription", transcription);
    description.field("RTT", isRTT);
    description.field("transcript", transcriptURL);
    description.field("simID", simID);
    description.field("undelete", undelete);
    return text;
}

} // namespace Orvex
