#pragma once

#include "Orvex/store/SendingService.h"
#include <filesystem>

namespace Orvex {

/// Puts messages into an outbox, a folder from which a gateway takes and delivers them. Sending succeeds as
/// soon as the whole message is durable under `new/`. A missing folder is made with mode 0700.
class OutboxSendingService final : public SendingService {
  public:
    /// A relative path is taken from the current folder.
    explicit OutboxSendingService(const std::filesystem::path& outbox);

    Async<void> sendVideoMessage(VideoMessageRequest request) override;

  private:
    std::filesystem::path outbox_;
};

} // namespace Orvex
