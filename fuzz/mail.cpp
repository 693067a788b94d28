#include "Fuzzing.h"
#include "SMTPTransport/MailEntry.h"
#include "SMTPTransport/ReplyTracker.h"
#include <exception>
#include <optional>
#include <string>
#include <vector>

namespace Orvex::Fuzzing {

namespace {

constexpr std::size_t recipients = 2;

/// The input is the lines that a server sends. The first byte of each, modulo 4, is the number of commands
/// that libcurl sends before that line.
void tryServer(std::string_view input) {
    const std::vector<std::string> commands = {"EHLO here",     "AUTH PLAIN",    "MAIL FROM:<a@b> SIZE=1000",
                                               "RCPT TO:<c@d>", "RCPT TO:<e@f>", "DATA"};
    ReplyTracker tracker;
    std::size_t sent = 0;
    while (!input.empty()) {
        for (int count = input.front() % 4; count > 0 && sent < commands.size(); --count) {
            tracker.sent(commands[sent] + "\r\n");
            ++sent;
        }
        const std::string_view line = input.substr(1, input.find('\n', 1));
        input.remove_prefix(line.size() + 1);
        if (!tracker.received(line)) {
            expect(tracker.deliveries(1, "").front().state == DeliveryState::refused,
                   "a message that is too large is not retried");
            return;
        }
        const std::vector<Delivery> before = tracker.deliveries(recipients, "fault");
        ReplyTracker complete = tracker;
        if (sent == commands.size()) {
            complete.completeBody();
        }
        const std::vector<Delivery> after = complete.deliveries(recipients, "fault");
        expect(before.size() == recipients, "each recipient has a delivery");
        for (std::size_t i = 0; i < recipients; ++i) {
            using enum DeliveryState;
            constexpr std::size_t longest = 6000;
            expect(isHarmlessLine(before[i].answer) && before[i].answer.size() < longest,
                   "a terminal obeys no byte of an answer, and its length is limited");
            expect(before[i].state != unknown,
                   "no delivery is unknown before the server can have the whole message");
            expect(before[i].state == after[i].state ||
                       (before[i].state == deferred && after[i].state == unknown),
                   "a message that may have arrived is not retried, and an answer stays");
            expect(before[i].state != accepted || sent == commands.size(),
                   "only messages that were sent are accepted");
        }
    }
}

/// The input is a `request.json`.
void tryRequest(const std::string& input) {
    std::optional<MailRequest> message;
    try {
        message = MailRequest::parse(input);
    } catch (const std::exception&) {
        return;
    }
    expect(message->video.find('/') == std::string::npos, "the video is in the entry");
    expect(message->deliveries.size() ==
               (!message->service.empty() ? message->request.destinationHandles.size() : 0),
           "each destination has a delivery");
    const std::string text = message->text();
    expect(MailRequest::parse(text).text() == text, "an entry is written as it was read");
}

} // namespace

void tryInput(std::string_view input) {
    if (input.starts_with('{')) {
        tryRequest(std::string(input));
    } else {
        tryServer(input);
    }
}

} // namespace Orvex::Fuzzing
