#pragma once

#include "Foundation/Async.h"
#include <chrono>
#include <functional>
#include <memory>
#include <poll.h>

namespace Orvex::Testing {

/// An event loop for one coroutine, which a test drives step by step.
class SteppedLoop final : public EventLoop {
  public:
    std::shared_ptr<void> wait(int descriptor, Event event, TimePoint deadline,
                               std::function<void(bool isReady)> resume) override {
        const short events = event == Event::readable ? POLLIN : POLLOUT;
        auto wait = std::make_shared<Wait>(Wait{{descriptor, events, 0}, deadline, std::move(resume)});
        wait_ = wait;
        return wait;
    }

    [[nodiscard]] bool isWaiting() const { return !wait_.expired(); }

    /// Gives the wait 10 ms to end, and resumes the coroutine then. Returns false if nothing waits.
    bool step() {
        const std::shared_ptr<Wait> wait = wait_.lock();
        if (!wait) {
            return false;
        }
        const bool isReady = poll(&wait->descriptor, 1, 10) > 0;
        if (isReady || std::chrono::steady_clock::now() >= wait->deadline) {
            wait->resume(isReady);
        }
        return true;
    }

  private:
    struct Wait {
        pollfd descriptor;
        TimePoint deadline;
        std::function<void(bool isReady)> resume;
    };
    std::weak_ptr<Wait> wait_;
};

} // namespace Orvex::Testing
