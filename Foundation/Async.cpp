#include "Foundation/Async.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <poll.h>
#include <system_error>

namespace Orvex {

namespace {

/// The timeout for poll(2), rounded up. Shorter than the time left if that is too long for an `int`.
int millisecondsUntil(EventLoop::TimePoint deadline) {
    using std::chrono::milliseconds;
    if (deadline == EventLoop::never) {
        return -1;
    }
    const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, std::numeric_limits<int>::max()));
}

class BlockingLoop final : public EventLoop {
  public:
    std::shared_ptr<void> wait(int descriptor, Event event, TimePoint deadline,
                               std::function<void(bool isReady)> resume) override {
        const short events = event == Event::readable ? POLLIN : POLLOUT;
        pollfd waited{.fd = descriptor, .events = events, .revents = 0};
        int timeout = 0;
        int count = 0;
        do {
            timeout = millisecondsUntil(deadline);
            count = poll(&waited, 1, timeout);
            if (count < 0 && errno != EINTR) {
                throw std::system_error(errno, std::generic_category(), "cannot wait");
            }
        } while (count <= 0 && timeout != 0);
        resume(count > 0);
        return nullptr;
    }
};

} // namespace

EventLoop& blockingLoop() {
    static BlockingLoop loop;
    return loop;
}

} // namespace Orvex
