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
    MessageStoreClient client;
    try {
        StoredMessage newMessage = message();
        const StoredMessage saved = co_await client.saveMessage(std::move(newMessage));
        printLine(inGreen("Successfully added the message: \n") + saved.description(), noColor);
    } catch (const std::exception& error) {
        printLine(inRed("Error: \n") + error.what(), noColor);
    }
}

} // namespace Orvex
