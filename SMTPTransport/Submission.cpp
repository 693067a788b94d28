#include "SMTPTransport/Submission.h"

#include "Foundation/SystemCalls.h"
#include "SMTPTransport/Base64.h"
#include "SMTPTransport/ReplyTracker.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <curl/curl.h>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace Orvex {

namespace {

template <auto destroy>
struct Destroyer {
    template <class T>
    void operator()(T* owned) const {
        destroy(owned);
    }
};
using Handle = std::unique_ptr<CURL, Destroyer<curl_easy_cleanup>>;
using Form = std::unique_ptr<curl_mime, Destroyer<curl_mime_free>>;
using List = std::unique_ptr<curl_slist, Destroyer<curl_slist_free_all>>;

List listOf(const std::vector<std::string>& texts) {
    List list;
    for (const std::string& text : texts) {
        curl_slist* const longer = curl_slist_append(list.get(), text.c_str());
        if (longer == nullptr) {
            throw std::bad_alloc();
        }
        // Ownership moves to the longer list, which begins with the same element.
        static_cast<void>(list.release());
        list.reset(longer);
    }
    return list;
}

void check(CURLcode code) {
    if (code != CURLE_OK) {
        throw std::runtime_error(curl_easy_strerror(code));
    }
}

/// One attempt: sets libcurl up and handles its callbacks.
class Attempt {
  public:
    Attempt(const MailMessage& message, const std::function<void(const std::vector<Delivery>&)>& beforeTheEnd,
            bool logsIn)
        : message_(message), beforeTheEnd_(beforeTheEnd), tracker_(logsIn), rest_(message.videoSize) {}

    Submission run(const MailService& service, const TimeLimits& limits) {
        const Handle handle(curl_easy_init());
        if (!handle) {
            throw std::bad_alloc();
        }
        const List headers = listOf(message_.headers);
        const List recipients = listOf(message_.recipients);
        const List videoHeaders = listOf({"Content-Transfer-Encoding: base64", message_.videoHeader});
        const Form form(curl_mime_init(handle.get()));
        fill(form.get(), videoHeaders.get());
        const auto set = [&handle](CURLoption option, auto value) {
            check(curl_easy_setopt(handle.get(), option, value));
        };
        std::array<char, CURL_ERROR_SIZE> fault{};
        set(CURLOPT_ERRORBUFFER, fault.data());
        set(CURLOPT_URL, service.server.c_str());
        set(CURLOPT_PROTOCOLS_STR, "smtp,smtps");
        // Through a proxy, "localhost" would be another machine.
        set(CURLOPT_PROXY, "");
        set(CURLOPT_USE_SSL, static_cast<long>(service.isLoopback ? CURLUSESSL_TRY : CURLUSESSL_ALL));
        if (const char* const authorities = std::getenv("SSL_CERT_FILE");
            authorities != nullptr && *authorities != '\0') {
            set(CURLOPT_CAINFO, authorities);
            // Otherwise the system's folder of authorities would be accepted, too.
            set(CURLOPT_CAPATH, nullptr);
        }
        if (!service.user.empty()) {
            set(CURLOPT_USERNAME, service.user.c_str());
            set(CURLOPT_PASSWORD, service.password.c_str());
        }
        set(CURLOPT_MAIL_FROM, message_.sender.c_str());
        set(CURLOPT_MAIL_RCPT, recipients.get());
        set(CURLOPT_MAIL_RCPT_ALLLOWFAILS, 1L);
        set(CURLOPT_HTTPHEADER, headers.get());
        set(CURLOPT_MIMEPOST, form.get());
        set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(limits.connecting.count()));
        set(CURLOPT_SERVER_RESPONSE_TIMEOUT, static_cast<long>(limits.step.count()));
        set(CURLOPT_LOW_SPEED_LIMIT, 1L);
        set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits.step.count()));
        set(CURLOPT_VERBOSE, 1L);
        set(CURLOPT_DEBUGFUNCTION, &Attempt::onTrace);
        set(CURLOPT_DEBUGDATA, this);
        set(CURLOPT_HEADERFUNCTION, &Attempt::onLine);
        set(CURLOPT_HEADERDATA, this);

        const CURLcode code = curl_easy_perform(handle.get());
        // After the complete body the server may have the message, and an exception would say that it has
        // not.
        if (failure_ && !tracker_.isBodyComplete()) {
            std::rethrow_exception(failure_);
        }
        // The cleanup sends QUIT, and would wait for its reply.
        curl_socket_t connection = CURL_SOCKET_BAD;
        if (curl_easy_getinfo(handle.get(), CURLINFO_ACTIVESOCKET, &connection) == CURLE_OK &&
            connection != CURL_SOCKET_BAD) {
            shutdown(connection, SHUT_RD);
        }
        return {tracker_.deliveries(message_.recipients.size(),
                                    fault[0] != '\0' ? fault.data() : curl_easy_strerror(code)),
                tracker_.hasBegun()};
    }

  private:
    void fill(curl_mime* form, curl_slist* videoHeaders) {
        curl_mimepart* const text = curl_mime_addpart(form);
        check(curl_mime_data(text, message_.text.c_str(), CURL_ZERO_TERMINATED));
        check(curl_mime_type(text, "text/plain; charset=us-ascii"));
        check(curl_mime_encoder(text, "7bit"));
        curl_mimepart* const video = curl_mime_addpart(form);
        check(curl_mime_data_cb(video, static_cast<curl_off_t>(base64Size(message_.videoSize)),
                                &Attempt::onRead, nullptr, nullptr, this));
        check(curl_mime_type(video, message_.videoType.c_str()));
        check(curl_mime_headers(video, videoHeaders, 0));
    }

    /// Exceptions must not cross libcurl: remembers the first one and returns `stop` from then on. (libcurl
    /// ignores the result of the debug function.)
    template <class Result, class Action>
    Result guarded(Result stop, Action action) {
        try {
            return failure_ ? stop : action();
        } catch (...) {
            failure_ = std::current_exception();
            return stop;
        }
    }

    /// Encodes the next lines of the video. libcurl's own encoder would send a few lines per packet.
    void encodeMore() {
        const std::size_t most = std::min<std::uintmax_t>(block_.size(), rest_);
        std::size_t size = 0;
        while (size < most) {
            const ssize_t count =
                uninterrupted([&] { return ::read(message_.video, &block_[size], most - size); });
            if (count <= 0) {
                throw std::system_error(count < 0 ? errno : EIO, std::generic_category(),
                                        "cannot read the video");
            }
            size += static_cast<std::size_t>(count);
        }
        rest_ -= size;
        lines_ = base64Lines({block_.data(), size});
        unread_ = lines_;
    }

    std::size_t read(char* buffer, std::size_t size) {
        if (unread_.empty()) {
            encodeMore();
        }
        const std::size_t count = unread_.copy(buffer, size);
        unread_.remove_prefix(count);
        if (unread_.empty() && rest_ == 0 && !tracker_.isBodyComplete()) {
            ReplyTracker unanswered = tracker_;
            unanswered.completeBody();
            beforeTheEnd_(unanswered.deliveries(message_.recipients.size(),
                                                "the sender ended before the server answered"));
            tracker_.completeBody();
        }
        return count;
    }

    static int onTrace(CURL* /*handle*/, curl_infotype type, char* text, std::size_t size, void* attempt) {
        auto* const self = static_cast<Attempt*>(attempt);
        return self->guarded(0, [=] {
            if (type == CURLINFO_HEADER_OUT) {
                self->tracker_.sent({text, size});
            }
            return 0;
        });
    }

    static std::size_t onLine(char* text, std::size_t /*one*/, std::size_t size, void* attempt) {
        auto* const self = static_cast<Attempt*>(attempt);
        return self->guarded(std::size_t{0}, [=] {
            return self->tracker_.received({text, size}) ? size : 0;
        });
    }

    static std::size_t onRead(char* buffer, std::size_t /*one*/, std::size_t size, void* attempt) {
        auto* const self = static_cast<Attempt*>(attempt);
        return self->guarded(std::size_t{CURL_READFUNC_ABORT}, [=] { return self->read(buffer, size); });
    }

    const MailMessage& message_;
    const std::function<void(const std::vector<Delivery>&)>& beforeTheEnd_;
    ReplyTracker tracker_;
    /// Bytes of the video that are not encoded yet.
    std::uintmax_t rest_;
    std::array<char, bytesInBase64Line * 1024> block_{};
    std::string lines_;
    /// The rest of `lines_` that is not sent yet.
    std::string_view unread_;
    std::exception_ptr failure_;
};

} // namespace

Submission submit(const MailService& service, const MailMessage& message, const TimeLimits& limits,
                  const std::function<void(const std::vector<Delivery>&)>& beforeTheEnd) {
    return Attempt(message, beforeTheEnd, !service.user.empty()).run(service, limits);
}

} // namespace Orvex
