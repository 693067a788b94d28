#pragma once

#include "Foundation/FileDescriptor.h"
#include "Orvex/store/SendingService.h"
#include "Outbox/Folder.h"
#include <boost/describe/enum.hpp>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Orvex {

/// What has become of a message on its way to a destination. Only what is deferred is ever tried again.
enum class DeliveryState { deferred, accepted, refused, unknown };
BOOST_DESCRIBE_ENUM(DeliveryState, deferred, accepted, refused, unknown)

struct Delivery {
    DeliveryState state = DeliveryState::deferred;
    /// The server's answer, or why there is none: one line of UTF-8. Empty before the first attempt.
    std::string answer;

    bool operator==(const Delivery&) const = default;
};

/// The service that delivers an entry, and the name that it gives the message.
struct Transport {
    std::string service;
    std::string messageID;
};

/// What `request.json` says.
struct OutboxMessage {
    VideoMessageRequest request;
    /// The name of the copy in the entry.
    std::string video;
    std::uintmax_t size = 0;
    /// ISO 8601 in UTC.
    std::string created;
    /// Without one, the entry waits for a gateway.
    std::optional<Transport> transport;
    /// One for each destination where there is a transport.
    std::vector<Delivery> deliveries;

    [[nodiscard]] std::string text() const;
    /// Writes it into a new file, and syncs that.
    void write(const Folder& folder, const std::string& name) const;

    /// Throws `std::exception` for a text that no entry has.
    [[nodiscard]] static OutboxMessage parse(const std::string& text);
};

/// An entry of the outbox that this process delivers: locked as long as the object lives.
class OutboxEntry {
  public:
    /// One under `new/`, or under `cur/` if it is finished.
    OutboxEntry(Folder outbox, Folder folder, OutboxMessage content, bool isFinished = false)
        : message(std::move(content)),
          outbox_(std::move(outbox)),
          folder_(std::move(folder)),
          isFinished_(isFinished) {}

    /// The entry with this record UUID, from `new/` or else from `cur/`, once nobody else delivers it any
    /// more. Absent where there is none. Throws `std::exception` for one that cannot be read.
    [[nodiscard]] static std::optional<OutboxEntry> find(const std::filesystem::path& outbox,
                                                         const UUID& recordUUID);

    /// The record UUIDs of what is under `new/` for this service, the oldest first, as far as it can be read.
    [[nodiscard]] static std::vector<UUID> waiting(const std::filesystem::path& outbox,
                                                   const std::string& service);

    /// An entry under `new/`. Absent where there is none, or where somebody else delivers it.
    [[nodiscard]] static std::optional<OutboxEntry> openIfFree(const std::filesystem::path& outbox,
                                                               const UUID& recordUUID);

    [[nodiscard]] bool has(DeliveryState state) const;

    /// Whether the request, whatever its record UUID, is the one that the entry was made of: the video has
    /// the same bytes still.
    [[nodiscard]] bool isFor(const VideoMessageRequest& request) const;

    /// The video, opened for reading. Throws when it is not the one that was put in.
    [[nodiscard]] FileDescriptor openVideo() const;

    /// Replaces `request.json`, durably: whatever fails, there is the old one or the new one.
    void save() const;

    /// Moves the entry to `cur/`, durably, unless it is there.
    void finish();

    OutboxMessage message;

  private:
    [[nodiscard]] static std::optional<OutboxEntry> open(const Folder& outbox, const std::string& place,
                                                         const UUID& recordUUID, bool waits);

    Folder outbox_;
    Folder folder_;
    bool isFinished_;
};

} // namespace Orvex
