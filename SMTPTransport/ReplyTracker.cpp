#include "SMTPTransport/ReplyTracker.h"

#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include <algorithm>
#include <optional>

namespace Orvex {

namespace {

constexpr int hundreds = 100;
constexpr int completion = 2;
constexpr int transientFailure = 4;
constexpr int permanentFailure = 5;
constexpr int goAhead = 354;

std::uint64_t numberIn(std::string_view text) {
    return parseNumber<std::uint64_t>(text.substr(0, text.find_last_not_of("\r\n ") + 1)).value_or(0);
}

struct ReplyLine {
    int code = 0;
    bool isLast = false;
    /// Behind the code.
    std::string_view text;
    /// Without its end.
    std::string_view whole;
};

/// Splits a line of a reply. No value if it does not have the form of one.
std::optional<ReplyLine> replyLine(std::string_view line) {
    line = line.substr(0, line.find_last_not_of("\r\n") + 1);
    constexpr std::size_t digits = 3;
    const std::optional<int> code = parseNumber<int>(line.substr(0, digits));
    const char separator = line.size() > digits ? line[digits] : ' ';
    if (!code || *code < hundreds || (separator != ' ' && separator != '-')) {
        return std::nullopt;
    }
    return ReplyLine{.code = *code,
                     .isLast = separator == ' ',
                     .text = line.substr(std::min(digits + 1, line.size())),
                     .whole = line};
}

bool isFailure(int code) {
    return code / hundreds == transientFailure || code / hundreds == permanentFailure;
}

} // namespace

void ReplyTracker::sent(std::string_view command) {
    if (command.starts_with("EHLO ")) {
        largest_ = 0;
    } else if (command.starts_with("AUTH ")) {
        // If it fails, libcurl ends the attempt.
        lacksLogIn_ = false;
    } else if (command.starts_with("MAIL ")) {
        step_ = Step::sender;
        constexpr std::string_view parameter = " SIZE=";
        if (const std::size_t place = command.find(parameter); place != std::string_view::npos) {
            const std::string_view number = command.substr(place + parameter.size());
            size_ = numberIn(number.substr(0, number.find(' ')));
        }
    } else if (command.starts_with("RCPT ")) {
        step_ = Step::recipient;
        recipients_.emplace_back();
    } else if (step_ == Step::recipient && command.starts_with("DATA")) {
        // A line of a log-in may also begin like this, but it comes before the recipients.
        step_ = Step::data;
    } else if (step_ != Step::connection) {
        step_ = Step::end;
    }
    current() = {};
}

bool ReplyTracker::received(std::string_view line) {
    const std::optional<ReplyLine> read = replyLine(line);
    if (!read) {
        return true;
    }
    Reply& reply = current();
    reply.text += reply.text.empty() ? std::string(read->whole) : " " + std::string(read->text);
    constexpr std::size_t longestText = 500;
    reply.text.resize(std::min(reply.text.size(), longestText));
    // libcurl recognises the keyword in capitals only, and sends no size otherwise.
    constexpr std::string_view keyword = "SIZE ";
    if (step_ == Step::connection && read->text.starts_with(keyword)) {
        largest_ = numberIn(read->text.substr(keyword.size()));
    }
    return !read->isLast || finish(reply, read->code);
}

bool ReplyTracker::finish(Reply& reply, int code) {
    reply.code = code;
    if (step_ == Step::data && code == goAhead) {
        step_ = Step::body;
    }
    if (step_ != Step::sender) {
        return true;
    }
    if (lacksLogIn_) {
        reply = {.code = transientFailure * hundreds, .text = "the server offers no log-in"};
        return false;
    }
    if (code / hundreds == completion && largest_ != 0 && size_ > largest_) {
        reply = {.code = permanentFailure * hundreds,
                 .text = "the message has " + std::to_string(size_) + " bytes, and the server takes " +
                         std::to_string(largest_) + " at most"};
        return false;
    }
    return true;
}

std::vector<Delivery> ReplyTracker::deliveries(std::size_t recipients, const std::string& fault) const {
    std::vector<Delivery> result;
    for (std::size_t i = 0; i < recipients; ++i) {
        result.push_back(delivery(i, fault));
        result.back().answer = onOneLine(result.back().answer);
    }
    return result;
}

ReplyTracker::Reply& ReplyTracker::current() {
    switch (step_) {
    case Step::connection:
        return connection_;
    case Step::sender:
        return sender_;
    case Step::recipient:
        return recipients_.back();
    case Step::data:
        return data_;
    case Step::body:
        return body_;
    case Step::end:
        break;
    }
    return end_;
}

Delivery ReplyTracker::delivery(std::size_t recipient, const std::string& fault) const {
    using enum DeliveryState;
    const Reply none;
    const Reply& own = recipient < recipients_.size() ? recipients_[recipient] : none;
    for (const Reply* const reply : {&sender_, &own, &data_, &body_}) {
        if (isFailure(reply->code)) {
            return {reply->code / hundreds == permanentFailure ? refused : deferred, reply->text};
        }
    }
    if (own.code / hundreds != completion) {
        // A permanent failure of the connection says nothing about the message.
        return {deferred, isFailure(connection_.code) ? connection_.text : fault};
    }
    if (body_.code / hundreds == completion) {
        return {accepted, body_.text};
    }
    return {isBodyComplete_ ? unknown : deferred, fault};
}

} // namespace Orvex
