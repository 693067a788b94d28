#pragma once

#include "Orvex/store/SendingService.h"
#include "SMTPTransport/MailEntry.h"
#include "SMTPTransport/MailService.h"
#include "SMTPTransport/Submission.h"
#include <filesystem>
#include <optional>
#include <string>

namespace Orvex {

/// Sends messages as e-mail through a submission server. A message is put into the outbox before the
/// connection is opened, and its `request.json` records the deliveries.
class SMTPSendingService final : public SendingService {
  public:
    /// `url` is that of `MailService::fromURL`. Throws `SendingServiceError`.
    SMTPSendingService(const std::string& url, const std::filesystem::path& outbox, TimeLimits limits = {});

    /// Retries the messages that this service deferred earlier first. If one of them was made from an equal
    /// request with the same video, the request continues that message instead of sending another. So does a
    /// request whose record UUID the outbox already has.
    Async<void> sendVideoMessage(VideoMessageRequest request) override;

  private:
    /// Retries all deferred entries except the one matching `request`, and returns that one. Ignores the
    /// entry with the request's record UUID.
    [[nodiscard]] std::optional<MailEntry> continueDeferred(const VideoMessageRequest& request) const;
    /// Returns true if the server could be reached.
    bool deliver(MailEntry& entry) const;

    MailService service_;
    std::filesystem::path outbox_;
    TimeLimits limits_;
};

} // namespace Orvex
