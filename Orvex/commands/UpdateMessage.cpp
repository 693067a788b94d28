#include "Orvex/commands/UpdateMessage.h"

#include "Foundation/QuotedText.h"
#include "Orvex/TerminalTools.h"
#include "Orvex/commands/MessageSelection.h"
#include <cstdint>
#include <exception>
#include <span>

namespace Orvex {

namespace {

std::optional<UUID> uuid(const std::optional<std::string>& text) {
    return text ? UUID::parse(*text) : std::nullopt;
}

const StoredMessage& askWhichToUpdate(std::span<const StoredMessage> messages, bool noColor) {
    if (messages.size() == 1) {
        return messages.front();
    }
    const std::vector<std::int64_t> numbers = askForNumbers("Type the message number to update", noColor);
    return messageNumbered(messages, numbers.empty() ? 1 : numbers.front());
}

} // namespace

MessageUpdate UpdateMessage::update(const UUID& recordUUID) const {
    const std::optional<double>& seconds = *duration;
    return {.recordUUID = recordUUID,
            .callUUID = uuid(*callUUIDString),
            .conversationID = uuid(*conversationIDString),
            .from = *from,
            .provider = storeValue(*updatedProvider),
            .read = *read,
            .duration = seconds ? std::optional(Seconds(*seconds)) : std::nullopt,
            .mailbox = storeValue(*mailbox),
            .recipient = *recipient,
            .transcription = storeValue(*transcriptionStatus),
            .isRTT = *isRTT,
            .undelete = undelete};
}

Async<void> UpdateMessage::run() {
    MessageStoreClient client;
    std::vector<std::string> recordUUIDs;
    if (messageUUIDString->has_value()) {
        recordUUIDs.push_back(**messageUUIDString);
    }
    const std::vector<std::string> noVoicemailIDs;
    const std::vector<StoredMessage> messages =
        co_await fetchMessages(client, noColor, *handles, *providers, *types, recordUUIDs, noVoicemailIDs);
    if (messages.empty()) {
        printLine(inRed("No messages found for the given inputs!"), noColor);
        co_return;
    }
    listMessages(messages, noColor);
    const MessageUpdate change = update(askWhichToUpdate(messages, noColor).recordUUID);
    printLine(inGreen("MessageUpdate:\n") + change.description(), noColor);
    if (!askYesNo("Do you want to update the store (y/n)?", noColor)) {
        co_return;
    }
    try {
        const std::vector<MessageUpdate> updates(1, change);
        co_await client.updateMessage(updates);
        const std::vector<UUID> recordUUID(1, change.recordUUID);
        const std::vector<StoredMessage> updated = co_await client.messages(recordUUID);
        printLine(inGreen("Message updated successfully!"), noColor);
        printLine(inGreen("New message:\n") + bracketed(updated, &StoredMessage::description), noColor);
    } catch (const std::exception& error) {
        printLine(inRed("Error: ") + error.what(), noColor);
    }
}

} // namespace Orvex
