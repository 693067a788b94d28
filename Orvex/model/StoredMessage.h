#pragma once

#include "Foundation/Description.h"
#include "Foundation/FileURL.h"
#include "Foundation/SharedText.h"
#include "Foundation/UUID.h"
#include "Orvex/model/StoreValues.h"
#include <cstdint>
#include <optional>
#include <string>

namespace Orvex {

/// One message as a store keeps it. Whoever makes a new one gives the values from `conversationID` to
/// `quality`, then assigns `recordUUID`; the rest is the store's to fill in when it saves the message.
struct StoredMessage {
    UUID conversationID;
    FileURL messageFile;
    std::optional<FileURL> thumbnail{};
    MessageType type = MessageType::video;
    /// Where the archive with the voicemail's transcript is.
    std::optional<FileURL> transcriptURL{};
    std::string from;
    MessageProvider provider = MessageProvider::Zelvo;
    Seconds duration{0};
    bool sensitive = false;
    std::optional<std::string> recipient{};
    bool isRTT = false;
    /// The same in most messages of a device.
    SharedText simID;
    MessageQuality quality = MessageQuality::standard;

    UUID recordUUID{};

    /// Voicemails alone have one: counted from 1, never given twice.
    std::optional<std::int32_t> voicemailID{};
    std::optional<UUID> callUUID{};
    Mailbox mailbox = Mailbox::inbox;
    bool read = false;
    TranscriptionStatus transcription = TranscriptionStatus::notAvailable;
    std::optional<Timestamp> created{};

    /// The whole record as text, one field a line.
    [[nodiscard]] std::string description() const;
    void appendDescription(std::string& out) const;
};

} // namespace Orvex
