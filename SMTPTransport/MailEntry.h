#pragma once

#include "Foundation/FileDescriptor.h"
#include "Outbox/OutboxEntry.h"
#include "SMTPTransport/Delivery.h"
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Orvex {

/// The content of an entry's `request.json`, with the members that only e-mail has.
struct MailRequest : OutboxMessage {
    /// URL of the sending service. Empty if the entry waits for a gateway; it has no members of e-mail then.
    std::string service;
    std::string messageID;
    /// One for each destination, in the same order.
    std::vector<Delivery> deliveries;

    [[nodiscard]] std::string text() const;

    /// Throws `std::exception` if no entry can have this text.
    [[nodiscard]] static MailRequest parse(const std::string& text);
};

/// An entry of the outbox that this process delivers, locked as long as the object lives. Members throw
/// `std::exception`.
class MailEntry {
  public:
    /// Puts a message into the outbox, an absolute path. Throws `SendingServiceError`.
    [[nodiscard]] static MailEntry put(const std::filesystem::path& outbox,
                                       const VideoMessageRequest& request, const std::string& service,
                                       const std::string& messageID);

    /// Returns the entry with this record UUID, from `new/` or else `cur/`, as soon as no other process has
    /// locked it. No value if there is none.
    [[nodiscard]] static std::optional<MailEntry> find(const std::filesystem::path& outbox,
                                                       const UUID& recordUUID);

    /// Returns the record UUIDs of the entries under `new/` for this service, oldest first. Skips entries
    /// that cannot be read.
    [[nodiscard]] static std::vector<UUID> waiting(const std::filesystem::path& outbox,
                                                   const std::string& service);

    /// Returns an entry under `new/`. No value if there is none or another process has locked it.
    [[nodiscard]] static std::optional<MailEntry> openIfFree(const std::filesystem::path& outbox,
                                                             const UUID& recordUUID);

    [[nodiscard]] bool has(DeliveryState state) const;

    /// Returns true if the entry was made from an equal request, apart from the record UUID, and the video's
    /// bytes are still the same.
    [[nodiscard]] bool isFor(const VideoMessageRequest& request) const;

    /// Opens the video for reading. Throws if it does not have the size that was put into the outbox.
    [[nodiscard]] FileDescriptor openVideo() const;

    /// Replaces `request.json` atomically and durably.
    void save() const;

    /// Moves the entry to `cur/` durably, unless it is there.
    void finish();

    MailRequest message;

  private:
    MailEntry(MailRequest content, Folder outbox, Folder folder, bool isFinished)
        : message(std::move(content)),
          outbox_(std::move(outbox)),
          folder_(std::move(folder)),
          isFinished_(isFinished) {}
    [[nodiscard]] static std::optional<MailEntry> open(const Folder& outbox, const std::string& place,
                                                       const UUID& recordUUID, bool waits);

    Folder outbox_;
    Folder folder_;
    bool isFinished_;
};

} // namespace Orvex
