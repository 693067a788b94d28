#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"
#include "Orvex/model/MessageUpdate.h"
#include <optional>
#include <string>
#include <vector>

namespace Orvex {

/// Lists the messages that a filter selects, and changes fields of the one that the user chooses.
struct UpdateMessage {
    Flag noColor = noColorFlag();
    Option<std::vector<InputMessageType>> types = typesOption();
    Option<std::vector<InputProviderType>> providers = providersOption();
    Option<std::vector<std::string>> handles = handlesOption();
    Option<std::optional<std::string>> messageUUIDString{
        std::nullopt, {singleDash("rid"), customLong("recordUUID")}, "A recordUUID to upate."};
    Option<std::optional<std::string>> callUUIDString{std::nullopt,
                                                      {singleDash("callUUID"), customLong("updatedCallUUID")},
                                                      "The updated callUUID of the message."};
    Option<std::optional<std::string>> conversationIDString{
        std::nullopt,
        {singleDash("conversationID"), customLong("updatedConversationID")},
        "The updated conversationID of the message."};
    Option<std::optional<std::string>> from{
        std::nullopt, {singleDash("from"), customLong("updatedFrom")}, "The updated sender of the message."};
    Option<std::optional<double>> duration{std::nullopt,
                                           {singleDash("duration"), customLong("updatedDuration")},
                                           "The updated duration of the message."};
    Option<std::optional<InputProviderType>> updatedProvider{
        std::nullopt,
        {singleDash("newProvider"), customLong("updatedProvider")},
        "The updated provider for the messsage."};
    Option<std::optional<bool>> read{std::nullopt,
                                     {singleDash("read"), customLong("updatedRead")},
                                     "The updated read state of the messsage."};
    Option<std::optional<InputMailboxType>> mailbox{std::nullopt,
                                                    {singleDash("mailbox"), customLong("updatedMailbox")},
                                                    "The updated mailbox of the messsage."};
    Option<std::optional<std::string>> recipient{std::nullopt,
                                                 {singleDash("recipient"), customLong("updatedRecipient")},
                                                 "The updated recipient of the messsage."};
    Option<std::optional<InputTranscriptionStatus>> transcriptionStatus{
        std::nullopt,
        {singleDash("transcription"), customLong("updatedTranscription")},
        "The updated transcription status of the message."};
    Option<std::optional<bool>> isRTT{std::nullopt,
                                      {singleDash("rtt"), customLong("updatedRTT")},
                                      "The updated RTT boolean of the message."};
    Flag undelete{{singleDash("undelete")}, "Whether or not to remove the message from the trash."};

    Async<void> run();

    /// The change that the options describe, for the message with this record UUID.
    [[nodiscard]] MessageUpdate update(const UUID& recordUUID) const;

    static const ManualText manual;

    ORVEX_CODING_KEYS(UpdateMessage, noColor, types, providers, handles, messageUUIDString, callUUIDString,
                      conversationIDString, from, duration, updatedProvider, read, mailbox, recipient,
                      transcriptionStatus, isRTT, undelete)
};
static_assert(AsyncParsableCommand<UpdateMessage>);

} // namespace Orvex
