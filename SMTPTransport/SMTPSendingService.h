#pragma once

#include "Orvex/store/SendingService.h"
#include "SMTPTransport/ServiceURL.h"
#include "SMTPTransport/Submission.h"
#include "SendingService/OutboxEntry.h"
#include <filesystem>
#include <string>

namespace Orvex {

/// Delivers messages as e-mail, by way of a server that takes it for submission. A message is in the outbox
/// before the connection opens, and its `request.json` keeps what has become of it.
class SMTPSendingService final : public SendingService {
  public:
    /// `url` as in `ServiceURL`. Throws `SendingServiceError`.
    SMTPSendingService(const std::string& url, const std::filesystem::path& outbox, TimeLimits limits = {});

    /// First tries again what this service deferred earlier. A request under a record UUID that the outbox
    /// has already continues with that.
    Async<void> sendVideoMessage(VideoMessageRequest request) override;

  private:
    /// All but the one with this record UUID.
    void continueDeferred(const UUID& except) const;
    /// Whether the server could be reached.
    bool deliver(OutboxEntry& entry) const;

    ServiceURL service_;
    std::filesystem::path outbox_;
    TimeLimits limits_;
};

} // namespace Orvex
