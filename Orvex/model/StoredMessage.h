#pragma once

#include "Foundation/FileURL.h"
#include "Foundation/SharedText.h"
#include "Foundation/Time.h"
#include "Foundation/UUID.h"
#include "Orvex/model/StoreValues.h"
#include <cstdint>
#include <optional>
#include <string>

namespace Orvex {

/// One message as a store keeps it. The creator of a message provides the members from `conversationID` to
/// `quality`, then `recordUUID`; the store sets the others when it saves the message.
struct StoredMessage {
    UUID conversationID;
    FileURL messageFile;
    std::optional<FileURL> thumbnail{};
    MessageType type = MessageType::video;
    /// The archive that holds the voicemail's transcript.
    std::optional<FileURL> transcriptURL{};
    SharedText from;
    MessageProvider provider = MessageProvider::Zelvo;
    Seconds duration{0};
    bool sensitive = false;
    std::optional<SharedText> recipient{};
    bool isRTT = false;
    SharedText simID;
    MessageQuality quality = MessageQuality::standard;

    UUID recordUUID{};

    /// Set for voicemails only. A store counts from 1 and never assigns an identifier twice.
    std::optional<std::int32_t> voicemailID{};
    std::optional<UUID> callUUID{};
    Mailbox mailbox = Mailbox::inbox;
    bool read = false;
    TranscriptionStatus transcription = TranscriptionStatus::notAvailable;
    std::optional<Timestamp> created{};

    /// The record as text, one field per line.
    [[nodiscard]] std::string description() const;
    void appendDescription(std::string& out) const;
};

} // namespace Orvex
