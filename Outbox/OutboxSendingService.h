#pragma once

#include "Orvex/store/SendingService.h"
#include <filesystem>

namespace Orvex {

/// Keeps messages in an outbox, a folder from which a gateway takes them to deliver them. Sending succeeds
/// when the message is on the disk, whole, under `new/`. The folder is made when it is missing, for the
/// user's eyes only.
class OutboxSendingService final : public SendingService {
  public:
    /// A relative path is taken from the current folder.
    explicit OutboxSendingService(const std::filesystem::path& outbox);

    Async<void> sendVideoMessage(VideoMessageRequest request) override;

  private:
    std::filesystem::path outbox_;
};

} // namespace Orvex
