#include "SMTPTransport/Exchange.h"

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

bool isFailure(int code) {
    return code / hundreds == transientFailure || code / hundreds == permanentFailure;
}

} // namespace

void Exchange::sent(std::string_view command) {
    // A log-in may have any words: the order tells them from commands.
    if (command.starts_with("EHLO ")) {
        largest_ = 0;
    } else if (command.starts_with("AUTH ")) {
        // Where it fails, libcurl goes no further.
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
        step_ = Step::data;
    } else if (step_ != Step::connection) {
        step_ = Step::end;
    }
    current() = {};
}

bool Exchange::heard(std::string_view line) {
    line = line.substr(0, line.find_last_not_of("\r\n") + 1);
    constexpr std::size_t digits = 3;
    const std::optional<int> code = parseNumber<int>(line.substr(0, digits));
    if (!code || *code < hundreds || (line.size() > digits && line[digits] != ' ' && line[digits] != '-')) {
        return true;
    }
    Answer& answer = current();
    constexpr std::size_t longestAnswer = 500;
    const std::string_view text = line.substr(std::min(digits + 1, line.size()));
    answer.text += answer.text.empty() ? std::string(line) : " " + std::string(text);
    answer.text.resize(std::min(answer.text.size(), longestAnswer));
    // In capitals alone, as libcurl knows it, which gives no size otherwise.
    constexpr std::string_view keyword = "SIZE ";
    if (step_ == Step::connection && text.starts_with(keyword)) {
        largest_ = numberIn(text.substr(keyword.size()));
    }
    if (line.size() > digits && line[digits] == '-') {
        return true;
    }
    answer.code = *code;
    if (step_ == Step::data && *code == goAhead) {
        step_ = Step::body;
    }
    if (step_ == Step::sender && lacksLogIn_) {
        answer = {.code = transientFailure * hundreds, .text = "the server offers no log-in"};
        return false;
    }
    if (step_ == Step::sender && *code / hundreds == completion && largest_ != 0 && size_ > largest_) {
        answer = {.code = permanentFailure * hundreds,
                  .text = "the message has " + std::to_string(size_) + " bytes, and the server takes " +
                          std::to_string(largest_) + " at most"};
        return false;
    }
    return true;
}

std::vector<Delivery> Exchange::deliveries(std::size_t recipients, const std::string& fault) const {
    std::vector<Delivery> result;
    for (std::size_t i = 0; i < recipients; ++i) {
        result.push_back(delivery(i, fault));
        result.back().answer = onOneLine(result.back().answer);
    }
    return result;
}

Exchange::Answer& Exchange::current() {
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

Delivery Exchange::delivery(std::size_t recipient, const std::string& fault) const {
    using enum DeliveryState;
    const Answer none;
    const Answer& own = recipient < recipients_.size() ? recipients_[recipient] : none;
    for (const Answer* const answer : {&sender_, &own, &data_, &body_}) {
        if (isFailure(answer->code)) {
            return {answer->code / hundreds == permanentFailure ? refused : deferred, answer->text};
        }
    }
    if (own.code / hundreds != completion) {
        // What a server has against the connection, it has not against the message.
        return {deferred, isFailure(connection_.code) ? connection_.text : fault};
    }
    if (body_.code / hundreds == completion) {
        return {accepted, body_.text};
    }
    return {isBodyComplete_ ? unknown : deferred, fault};
}

} // namespace Orvex
