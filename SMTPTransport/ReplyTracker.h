#pragma once

#include "SMTPTransport/Delivery.h"
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// Tracks the commands and replies of one attempt to hand a message to a server (RFC 5321), and derives each
/// recipient's delivery from them. libcurl shows commands and reply lines one by one, but returns only one
/// result for all recipients.
class ReplyTracker {
  public:
    /// If `logsIn`, only a server that takes a log-in may get the message. libcurl would go on without one if
    /// the server offers none.
    explicit ReplyTracker(bool logsIn = false) : lacksLogIn_(logsIn) {}

    /// Notes a command that was sent.
    void sent(std::string_view command);

    /// Notes a line of a reply. Returns false if the attempt must end: the log-in is missing, or the message
    /// exceeds the limit that the server announced (RFC 1870).
    [[nodiscard]] bool received(std::string_view line);

    /// Notes that the server may have the whole message from now on, even if it never replies.
    void completeBody() { isBodyComplete_ = true; }
    [[nodiscard]] bool isBodyComplete() const { return isBodyComplete_; }

    /// Returns true if the server has accepted the connection and the log-in.
    [[nodiscard]] bool hasBegun() const { return step_ != Step::connection; }

    /// Returns the deliveries to the given number of recipients, in the order of their commands. `fault` is
    /// the reason why the attempt ended, used if no reply tells.
    [[nodiscard]] std::vector<Delivery> deliveries(std::size_t recipients, const std::string& fault) const;

  private:
    struct Reply {
        /// 0 until the last line has come.
        int code = 0;
        std::string text;
    };

    enum class Step { connection, sender, recipient, data, body, end };

    [[nodiscard]] Reply& current();
    /// Returns false if the attempt must end.
    [[nodiscard]] bool finish(Reply& reply, int code);
    [[nodiscard]] Delivery delivery(std::size_t recipient, const std::string& fault) const;

    Step step_ = Step::connection;
    bool lacksLogIn_;
    Reply connection_;
    Reply sender_;
    std::vector<Reply> recipients_;
    Reply data_;
    Reply body_;
    Reply end_;
    bool isBodyComplete_ = false;
    /// Of the message, as libcurl tells the server.
    std::uint64_t size_ = 0;
    /// Announced by the server; 0 if there is no limit.
    std::uint64_t largest_ = 0;
};

} // namespace Orvex
