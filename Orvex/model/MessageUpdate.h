#pragma once

#include "Foundation/FileURL.h"
#include "Foundation/Time.h"
#include "Foundation/UUID.h"
#include "Orvex/model/StoreValues.h"
#include <optional>
#include <string>

namespace Orvex {

struct StoredMessage;

/// Changes to one stored message. An absent value leaves the field unchanged.
struct MessageUpdate {
    /// The message to change.
    UUID recordUUID;
    /// @{ The new value of the member of `StoredMessage` that has the same name.
    std::optional<UUID> callUUID{};
    std::optional<UUID> conversationID{};
    std::optional<std::string> from{};
    std::optional<MessageProvider> provider{};
    std::optional<bool> read{};
    std::optional<Seconds> duration{};
    std::optional<Mailbox> mailbox{};
    std::optional<std::string> recipient{};
    std::optional<TranscriptionStatus> transcription{};
    std::optional<bool> isRTT{};
    std::optional<FileURL> transcriptURL{};
    std::optional<std::string> simID{};
    /// @}
    /// Moves the message from the trash to the inbox, after `mailbox` has taken effect.
    bool undelete = false;

    /// Changes the message as a store does, except for its voicemail identifier.
    void applyTo(StoredMessage& message) const;

    /// The update as text, one field per line.
    [[nodiscard]] std::string description() const;
};

} // namespace Orvex
