#include "Orvex/commands/SaveMessage.h"

#include "Orvex/TerminalTools.h"
#include "Orvex/store/MessageStoreClient.h"
#include <exception>
#include <utility>

namespace Orvex {

namespace {

UUID givenOrRandom(const std::optional<std::string>& text) {
    const std::optional<UUID> given = text ? UUID::parse(*text) : std::nullopt;
    return given ? *given : UUID::random();
}

std::optional<FileURL> fileURL(const std::optional<std::string>& path) {
    return path ? std::optional(FileURL::fromPath(*path)) : std::nullopt;
}

} // namespace

StoredMessage SaveMessage::message() const {
    const bool isVideo = *messageType == InputMessageType::video;
    StoredMessage message{.conversationID = givenOrRandom(*inputConversationID),
                          .messageFile = FileURL::fromPath(*messageFile),
                          .thumbnail = isVideo ? fileURL(*messageThumb) : std::nullopt,
                          .type = storeValue(*messageType),
                          .transcriptURL = isVideo ? std::nullopt : fileURL(*transcript),
                          .from = *from,
                          .provider = storeValue(*provider),
                          .duration = Seconds(*duration),
                          .sensitive = *isSensitive,
                          .recipient = *recipient,
                          .isRTT = *isRTT,
                          .simID = simID->has_value() ? **simID : UUID::random().text(),
                          .quality = *quality};
    message.recordUUID = givenOrRandom(*inputRecordUUID);
    return message;
}

Async<void> SaveMessage::run() {
    prepareToPrint(noColor);
    MessageStoreClient client;
    try {
        StoredMessage newMessage = message();
        const StoredMessage saved = co_await client.saveMessage(std::move(newMessage));
        printLine(inGreen("Successfully added the message: \n") + saved.description(), noColor);
    } catch (const std::exception& error) {
        printLine(inRed("Error: \n") + error.what(), noColor);
    }
}

const ManualText SaveMessage::manual{
    .summary = "add a message",
    .description = R"(Adds one message to the store and prints it. Every option has a default, so that the
command alone adds a complete test message. Identifiers that are missing or invalid are replaced by random
UUIDs.

The message goes to the inbox, unread, whichever mailbox is given. Paths become file URLs, relative to the current
folder, and need not exist. Only a video keeps its thumbnail, and only other types keep their transcript, the path
of a transcript file. An audio message of the telephone is a voicemail and gets the next voicemail identifier.)",
    .exitStatus = "An error of the store, such as a record UUID that exists already, is printed in red, and "
                  "the exit status is 0.",
    .examples = R"(Add a video message of twelve and a half seconds:

    {tool} save-message -file party.mov -frm ann@example.com -dur 12.5

Add a voicemail with its transcript:

    {tool} save-message -mt 1 -prov 0 -frm +15550100 \
        -file voicemail.m4a -tcpt voicemail.plist)",
};

} // namespace Orvex
