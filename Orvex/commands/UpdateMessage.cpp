#include "Orvex/commands/UpdateMessage.h"

#include "Foundation/QuotedText.h"
#include "Orvex/Prompts.h"
#include "Orvex/TerminalTools.h"
#include "Orvex/commands/MessageSelection.h"
#include <cstdint>
#include <exception>
#include <span>
#include <utility>

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
    prepareToPrint(noColor);
    MessageStoreClient client;
    MessageFilters filters{.handles = *handles, .providers = *providers, .types = *types};
    if (messageUUIDString->has_value()) {
        filters.recordUUIDs.push_back(**messageUUIDString);
    }
    const std::vector<StoredMessage> messages = co_await fetchMessages(client, noColor, std::move(filters));
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

const ManualText UpdateMessage::manual{
    .summary = "change a message",
    .description = R"(Lists the messages that a filter selects, or all of them, asks for a number if there are
several, shows the change, makes it after a confirmation, and prints the changed message. Fields that are not
given stay as they are.

Of several numbers, the first counts. Without a number, the first message is changed. A number outside the list
ends the command at once, before anything is changed. The command asks for the confirmation until the answer is
yes or no. A value that begins with "-" is joined by "=", as in --updatedDuration=-1.

At the end of input, the command asks for the confirmation again and again. A script whose answers run out, or
whose input is the null device, would never end and would fill its log. Let an endless "n" follow the answers:
then unexpected questions are answered with no.

Only the first of these filters counts: a record UUID, handles of senders, providers together with types.)",
    .exitStatus =
        "An error of the store is printed in red, and the exit status is 0. If standard input cannot "
        "be read, it is 1, and nothing is changed.",
    .examples = R"(Mark a message as read:

    {tool} update-message -rid 213E835C-F062-40F4-A54E-6C01987777D6 -read true

Take a message out of the trash:

    {tool} update-message -rid 213E835C-F062-40F4-A54E-6C01987777D6 -undelete

The same in a script:

    (echo y; yes n) | {tool} update-message -nc -rid 213E835C-F062-40F4-A54E-6C01987777D6 -undelete)",
};

} // namespace Orvex
