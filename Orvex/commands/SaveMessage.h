#pragma once

#include "Orvex/arguments/ParsableArguments.h"
#include "Orvex/commands/CommonOptions.h"
#include "Orvex/model/StoredMessage.h"
#include <optional>
#include <string>

namespace Orvex {

/// Adds one message to the store.
struct SaveMessage {
    Flag noColor = noColorFlag();
    Option<std::optional<std::string>> inputRecordUUID{
        std::nullopt, {singleDash("recordUUID"), derivedLong}, "The recordUUID for the message."};
    Option<std::optional<std::string>> inputConversationID{
        std::nullopt, {singleDash("conversationID"), derivedLong}, "The conversationID for the message."};
    Option<std::string> messageFile{
        "file.mov", {singleDash("file"), derivedLong}, "A URL to a video file input.", ValueMeaning::path};
    Option<std::optional<std::string>> messageThumb{std::nullopt,
                                                    {singleDash("thumb"), derivedLong},
                                                    "A URL to a thumbnail file input.",
                                                    ValueMeaning::path};
    Option<InputMessageType> messageType{
        InputMessageType::video, {singleDash("mt"), customLong("type")}, "The message type."};
    Option<std::optional<std::string>> transcript{
        std::nullopt, {singleDash("tcpt"), derivedLong}, "A raw-text transcript string.", ValueMeaning::path};
    Option<std::string> from{
        "tester@example.com", {singleDash("frm"), derivedLong}, "The handle the message came from."};
    Option<InputProviderType> provider{
        InputProviderType::Zelvo, {singleDash("prov"), derivedLong}, "The message provider."};
    Option<double> duration{0.0, {singleDash("dur"), derivedLong}, "The message's duration."};
    /// Ignored: a new message always goes to the inbox.
    Option<InputMailboxType> mailboxType{
        InputMailboxType::inbox, {singleDash("mbt"), customLong("mailboxType")}, "The mailbox type."};
    Option<bool> isSensitive{
        false, {singleDash("x"), customLong("isSensitive")}, "A message that is sensitive"};
    Option<std::optional<std::string>> recipient{
        std::nullopt,
        {singleDash("rec"), customLong("recipient")},
        "The handle of the recipient of the message (ie. the local device's number/Nubra account)."};
    Option<bool> isRTT{
        false, {singleDash("rtt"), customLong("isRTT")}, "Whether or not the message is from an RTT call"};
    Option<std::optional<std::string>> simID{std::nullopt,
                                             {singleDash("simID"), customLong("simID")},
                                             "The unique identifier of the SIM that the message was sent to"};
    /// Has no spelling, so that every message has the default quality.
    Option<MessageQuality> quality{MessageQuality::standard, {}, "The message quality"};

    Async<void> run();

    /// The message that the options describe. Identifiers that are not given are random.
    [[nodiscard]] StoredMessage message() const;

    static const ManualText manual;

    ORVEX_CODING_KEYS(SaveMessage, noColor, inputRecordUUID, inputConversationID, messageFile, messageThumb,
                      messageType, transcript, from, provider, duration, mailboxType, isSensitive, recipient,
                      isRTT, simID, quality)
};
static_assert(AsyncParsableCommand<SaveMessage>);

} // namespace Orvex
