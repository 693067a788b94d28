#pragma once

#include "SMTPTransport/Delivery.h"
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// What was said in one attempt to hand a message to a server (RFC 5321): libcurl reports the commands and
/// the lines of the answers one by one, but not which answer belongs to which recipient.
class Exchange {
  public:
    /// `logsIn` is whether the message may go to a server alone that has taken a log-in: libcurl does without
    /// one where the server offers none.
    explicit Exchange(bool logsIn = false) : lacksLogIn_(logsIn) {}

    /// A command that was sent.
    void sent(std::string_view command);

    /// A line of an answer. False when the exchange should go no further: the log-in is missing, or the
    /// server announced a limit that the message exceeds (RFC 1870).
    [[nodiscard]] bool heard(std::string_view line);

    /// From now on, the server may have the whole message, whether it says so or not.
    void completeBody() { isBodyComplete_ = true; }
    [[nodiscard]] bool isBodyComplete() const { return isBodyComplete_; }

    /// Whether the connection and the log-in were taken.
    [[nodiscard]] bool hasBegun() const { return step_ != Step::connection; }

    /// What has become of the message on its way to each of so many recipients. `fault` is why the exchange
    /// ended, where there is no answer that says so.
    [[nodiscard]] std::vector<Delivery> deliveries(std::size_t recipients, const std::string& fault) const;

  private:
    struct Answer {
        /// 0 as long as its last line is missing.
        int code = 0;
        std::string text;
    };

    enum class Step { connection, sender, recipient, data, body, end };

    [[nodiscard]] Answer& current();
    [[nodiscard]] Delivery delivery(std::size_t recipient, const std::string& fault) const;

    Step step_ = Step::connection;
    bool lacksLogIn_;
    Answer connection_;
    Answer sender_;
    std::vector<Answer> recipients_;
    Answer data_;
    Answer body_;
    Answer end_;
    bool isBodyComplete_ = false;
    std::uint64_t size_ = 0;
    /// 0 without one.
    std::uint64_t largest_ = 0;
};

} // namespace Orvex
