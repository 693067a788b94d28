#pragma once

#include "Orvex/store/SendingService.h"
#include "SMTPTransport/MailEntry.h"
#include "SMTPTransport/ServiceURL.h"
#include "SMTPTransport/Submission.h"
#include <filesystem>
#include <optional>
#include <string>

namespace Orvex {

/// Delivers messages as e-mail, by way of a server that takes it for submission. A message is in the outbox
/// before the connection opens, and its `request.json` keeps what has become of it.
class SMTPSendingService final : public SendingService {
  public:
    /// `url` as in `ServiceURL`. Throws `SendingServiceError`.
    SMTPSendingService(const std::string& url, const std::filesystem::path& outbox, TimeLimits limits = {});

    /// First tries again what this service deferred earlier. If that was asked for in the same way, of the
    /// same video, it is not sent once more: the request continues with it, as one under a record UUID does
    /// that the outbox has already.
    Async<void> sendVideoMessage(VideoMessageRequest request) override;

  private:
    /// All but what the request continues with; returns that unless it has the request's record UUID.
    [[nodiscard]] std::optional<MailEntry> continueDeferred(const VideoMessageRequest& request) const;
    /// Whether the server could be reached.
    bool deliver(MailEntry& entry) const;

    ServiceURL service_;
    std::filesystem::path outbox_;
    TimeLimits limits_;
};

} // namespace Orvex
