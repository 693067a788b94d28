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
    /// The conversation that the message belongs to.
    UUID conversationID;
    /// The recording. The file need not exist.
    FileURL messageFile;
    /// A picture of a video.
    std::optional<FileURL> thumbnail{};
    /// Video or audio.
    MessageType type = MessageType::video;
    /// The archive that holds the voicemail's transcript.
    std::optional<FileURL> transcriptURL{};
    /// The sender's handle: a telephone number or an e-mail address, any bytes.
    SharedText from;
    /// The service that delivered the message.
    MessageProvider provider = MessageProvider::Zelvo;
    /// Length of the recording.
    Seconds duration{0};
    /// True if the recording may show something that not everyone wants to see.
    bool sensitive = false;
    /// The handle that received the message.
    std::optional<SharedText> recipient{};
    /// True if the call used real-time text.
    bool isRTT = false;
    /// Identifier of the SIM card that received the message.
    SharedText simID;
    /// Quality of the recording.
    MessageQuality quality = MessageQuality::standard;

    /// Identifies the message in its store.
    UUID recordUUID{};

    /// Set for voicemails only. A store counts from 1 and never assigns an identifier twice.
    std::optional<std::int32_t> voicemailID{};
    /// The call that the message belongs to.
    std::optional<UUID> callUUID{};
    /// The place where people find the message.
    Mailbox mailbox = Mailbox::inbox;
    /// True if somebody has watched or heard the message.
    bool read = false;
    /// Progress of the transcription.
    TranscriptionStatus transcription = TranscriptionStatus::notAvailable;
    /// The time when the store saved the message.
    std::optional<Timestamp> created{};

    /// The record as text, one field per line.
    [[nodiscard]] std::string description() const;
    /// Appends the same to `out`.
    void appendDescription(std::string& out) const;
};

} // namespace Orvex
