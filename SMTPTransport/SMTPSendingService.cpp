#include "SMTPTransport/SMTPSendingService.h"

#include "Foundation/Enumeration.h"
#include "Foundation/QuotedText.h"
#include "SMTPTransport/Address.h"
#include "SMTPTransport/MailHeaders.h"
#include <algorithm>
#include <cstddef>
#include <curl/curl.h>
#include <exception>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace Orvex {

namespace {

const std::string attempt = "cannot send the video message";

struct Envelope {
    std::string sender;
    std::vector<std::string> recipients;
};

Envelope envelopeOf(const VideoMessageRequest& request, const std::string& phoneDomain) {
    Envelope envelope{.sender =
                          mailAddress(request.senderHandle, phoneDomain, attempt + ": the sender's handle"),
                      .recipients = {}};
    for (const std::string& handle : request.destinationHandles) {
        envelope.recipients.push_back(mailAddress(handle, phoneDomain, attempt + ": the destination handle"));
    }
    return envelope;
}

/// The same in every attempt, so that the message can be found in a server's log.
std::string messageID(const UUID& recordUUID, const std::string& sender) {
    return "<" + recordUUID.text() + sender.substr(sender.find('@')) + ">";
}

bool isAccepted(const MailEntry& entry) {
    return !entry.has(DeliveryState::deferred) && !entry.has(DeliveryState::refused) &&
           !entry.has(DeliveryState::unknown);
}

/// Returns true if there is something new to tell the user: a refused or unknown delivery that was deferred
/// before. If none was deferred, a process died before it reported the entry.
bool hasBadNews(const MailEntry& entry, const std::vector<Delivery>& before) {
    const auto isDeferred = [](const Delivery& delivery) {
        return delivery.state == DeliveryState::deferred;
    };
    if (std::none_of(before.begin(), before.end(), isDeferred)) {
        return !isAccepted(entry);
    }
    for (std::size_t i = 0; i < before.size(); ++i) {
        const DeliveryState state = entry.message.deliveries[i].state;
        if (isDeferred(before[i]) && (state == DeliveryState::refused || state == DeliveryState::unknown)) {
            return true;
        }
    }
    return false;
}

/// Describes the state of each destination, and what the user can do.
std::string report(const MailEntry& entry) {
    const VideoMessageRequest& request = entry.message.request;
    std::string text = "the video message " + request.recordUUID.text() +
                       (isAccepted(entry) ? " was accepted" : " was not accepted for every destination");
    std::string_view separator = ": ";
    for (std::size_t i = 0; i < request.destinationHandles.size(); ++i) {
        const Delivery& delivery = entry.message.deliveries[i];
        text.append(separator) += inQuotes(request.destinationHandles[i]);
        text.append(" ").append(caseName(delivery.state));
        text += delivery.answer.empty() ? "" : " (" + delivery.answer + ")";
        separator = ", ";
    }
    if (entry.has(DeliveryState::deferred)) {
        text += "; deferred destinations are retried when you give the same command again, or send another "
                "message through this service";
    }
    if (entry.has(DeliveryState::unknown)) {
        text += "; unknown destinations may have received it, so ask before you send it again";
    }
    return text;
}

/// Submits the message for its deferred destinations, and saves the deliveries. Returns true if the server
/// could be reached.
bool submitDeferred(MailEntry& entry, const MailService& service, const TimeLimits& limits) {
    MailRequest& message = entry.message;
    const Envelope envelope = envelopeOf(message.request, service.phoneDomain);
    const std::string name = std::filesystem::path(message.request.videoURL.path()).filename().native();
    const FileDescriptor video = entry.openVideo();
    MailMessage mail{.sender = envelope.sender,
                     .recipients = {},
                     .headers = {addressHeader("From", {envelope.sender}),
                                 addressHeader("To", envelope.recipients), "Subject: Video message",
                                 "Date: " + mailDate(message.created),
                                 "Message-ID: " + messageID(message.request.recordUUID, envelope.sender)},
                     .text = "A video message from " + envelope.sender + ".\r\n",
                     .videoType = videoType(name),
                     .videoHeader = attachmentHeader(name),
                     .video = video.get(),
                     .videoSize = message.size};
    // By address: one that is named twice gets one copy.
    std::map<std::string, std::vector<std::size_t>> tried;
    for (std::size_t i = 0; i < message.deliveries.size(); ++i) {
        if (message.deliveries[i].state == DeliveryState::deferred) {
            std::vector<std::size_t>& same = tried[envelope.recipients[i]];
            if (same.empty()) {
                mail.recipients.push_back(envelope.recipients[i]);
            }
            same.push_back(i);
        }
    }
    const auto keep = [&](const std::vector<Delivery>& deliveries) {
        for (std::size_t i = 0; i < deliveries.size(); ++i) {
            for (const std::size_t destination : tried[mail.recipients[i]]) {
                message.deliveries[destination] = deliveries[i];
            }
        }
        entry.save();
    };
    const std::vector<Delivery> before = message.deliveries;
    Submission submission;
    try {
        submission = submit(service, mail, limits, keep);
    } catch (const std::exception&) {
        // The server does not have the message, so no delivery may stay marked as unknown.
        message.deliveries = before;
        try {
            entry.save();
        } catch (const std::exception&) {
            // The first error tells the cause.
        }
        throw;
    }
    keep(submission.deliveries);
    return submission.reachedServer;
}

} // namespace

SMTPSendingService::SMTPSendingService(const std::string& url, const std::filesystem::path& outbox,
                                       TimeLimits limits)
    : service_(MailService::fromURL(url)), outbox_(std::filesystem::absolute(outbox)), limits_(limits) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
}

Async<void> SMTPSendingService::sendVideoMessage(VideoMessageRequest request) {
    const Envelope envelope = envelopeOf(request, service_.phoneDomain);
    std::optional<MailEntry> entry = continueDeferred(request);
    try {
        if (!entry) {
            entry = MailEntry::find(outbox_, request.recordUUID);
        }
    } catch (const std::exception& error) {
        throw SendingServiceError(attempt + ": " + onOneLine(error.what()));
    }
    if (!entry) {
        entry =
            MailEntry::put(outbox_, request, service_.text, messageID(request.recordUUID, envelope.sender));
    } else if (const MailRequest& known = entry->message;
               known.service != service_.text || known.request.senderHandle != request.senderHandle ||
               known.request.destinationHandles != request.destinationHandles) {
        throw SendingServiceError(attempt + ": the outbox has another one with the record UUID " +
                                  request.recordUUID.text());
    }
    deliver(*entry);
    if (!isAccepted(*entry)) {
        throw SendingServiceError(report(*entry));
    }
    co_return;
}

std::optional<MailEntry> SMTPSendingService::continueDeferred(const VideoMessageRequest& request) const {
    std::optional<MailEntry> same;
    bool reachesServer = true;
    for (const UUID& recordUUID : MailEntry::waiting(outbox_, service_.text)) {
        std::string news;
        try {
            std::optional<MailEntry> entry =
                recordUUID != request.recordUUID ? MailEntry::openIfFree(outbox_, recordUUID) : std::nullopt;
            if (entry && !same && entry->isFor(request)) {
                same = std::move(entry);
            } else if (entry && reachesServer) {
                const std::vector<Delivery> before = entry->message.deliveries;
                reachesServer = deliver(*entry);
                news = hasBadNews(*entry, before) ? report(*entry) : "";
            }
        } catch (const std::exception&) {
            // A damaged entry must not keep others from being sent.
        }
        if (!news.empty()) {
            throw SendingServiceError(attempt +
                                      " yet: an earlier one failed, so send this one again: " + news);
        }
    }
    return same;
}

bool SMTPSendingService::deliver(MailEntry& entry) const {
    bool reachedServer = true;
    try {
        if (entry.has(DeliveryState::deferred)) {
            reachedServer = submitDeferred(entry, service_, limits_);
        }
        if (!entry.has(DeliveryState::deferred)) {
            entry.finish();
        }
    } catch (const std::exception& error) {
        throw SendingServiceError(report(entry) + "; the outbox failed: " + onOneLine(error.what()));
    }
    return reachedServer;
}

} // namespace Orvex
