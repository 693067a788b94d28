#pragma once

#include "Foundation/JSON.h"
#include "Orvex/store/SendingService.h"
#include "Outbox/Folder.h"
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Orvex {

/// The content of an entry's `request.json`; docs/outbox.md describes the members.
struct OutboxMessage {
    VideoMessageRequest request;
    /// Name of the copy in the entry.
    std::string video;
    /// Of the video, in bytes.
    std::uintmax_t size = 0;
    /// ISO 8601 in UTC.
    std::string created;

    [[nodiscard]] std::vector<JSONMember> members() const;
};

/// An entry that was just written. Its folder is under `new/`, and locked as long as it is open.
struct OutboxEntry {
    OutboxMessage message;
    Folder outbox;
    Folder folder;
};

/// Puts a message into the outbox in `folder`, an absolute path. The entry is complete and durable, or there
/// is none. `transportMembers` are added to `request.json`. Removes unfinished entries of processes that
/// died. Throws `SendingServiceError`.
OutboxEntry putIntoOutbox(const std::filesystem::path& folder, const VideoMessageRequest& request,
                          const std::vector<JSONMember>& transportMembers = {});

} // namespace Orvex
