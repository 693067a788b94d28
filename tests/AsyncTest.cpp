#include "Foundation/Async.h"

#include "Foundation/FileDescriptor.h"
#include "SteppedLoop.h"
#include <array>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <unistd.h>
#include <utility>

namespace Orvex::Testing {
namespace {

using namespace std::chrono_literals;
using Event = EventLoop::Event;
using std::chrono::steady_clock;

static_assert(!std::is_copy_constructible_v<Async<int>> && std::is_nothrow_move_constructible_v<Async<int>>);

class Pipe {
  public:
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        output_ = FileDescriptor(ends[0]);
        input_ = FileDescriptor(ends[1]);
    }

    [[nodiscard]] int end() const { return output_.get(); }
    void fill() const { EXPECT_EQ(write(input_.get(), "x", 1), 1); }

  private:
    FileDescriptor output_;
    FileDescriptor input_;
};

Async<int> one() {
    co_return 1;
}

Async<int> sum(int count) {
    int total = 0;
    for (int i = 0; i < count; ++i) {
        total += co_await one();
    }
    co_return total;
}

TEST(AsyncTest, AMillionAwaitsThatCompleteAtOnceNeedNoStack) {
    EXPECT_EQ(runToCompletion(sum(1'000'000)), 1'000'000);
}

/// Waits until the descriptor is readable, at the innermost of several levels. `trace` gets a digit when a
/// level is resumed and a "d" when one is destroyed.
Async<std::unique_ptr<int>> nested(int depth, int descriptor, std::string& trace) {
    struct Trace {
        std::string& text;
        ~Trace() { text += "d"; }
    } const trail{trace};
    if (depth == 0) {
        const bool isReady = co_await waitUntilReady(descriptor, Event::readable);
        co_return std::make_unique<int>(isReady ? 1 : 0);
    }
    std::unique_ptr<int> result = co_await nested(depth - 1, descriptor, trace);
    trace += std::to_string(depth);
    *result += co_await sum(100'000);
    co_return result;
}

TEST(AsyncTest, AnsweredWaitsResumeEveryLevel) {
    const Pipe pipe;
    SteppedLoop loop;
    std::string trace;
    Async<std::unique_ptr<int>> work = nested(3, pipe.end(), trace);
    EXPECT_FALSE(loop.isWaiting()) << "it was started before it was awaited";
    work.start(loop);
    loop.step();
    EXPECT_FALSE(work.isDone());
    EXPECT_THROW(work.result(), std::logic_error);
    pipe.fill();
    loop.step();
    EXPECT_FALSE(loop.isWaiting());
    ASSERT_TRUE(work.isDone());
    EXPECT_EQ(*work.result(), 300'001);
    EXPECT_EQ(trace, "d1d2d3d");
}

TEST(AsyncTest, DestroyingWorkThatWaitsDestroysEveryLevelAndCancelsTheWait) {
    const Pipe pipe;
    SteppedLoop loop;
    std::string trace;
    {
        Async<std::unique_ptr<int>> work = nested(3, pipe.end(), trace);
        work.start(loop);
        EXPECT_TRUE(loop.isWaiting());
        Async<std::unique_ptr<int>> neverStarted = nested(3, pipe.end(), trace);
    }
    EXPECT_EQ(trace, "dddd");
    EXPECT_FALSE(loop.isWaiting());
}

Async<void> throwAtDepth(int depth) {
    if (depth == 0) {
        throw std::runtime_error("thrown");
    }
    co_await throwAtDepth(depth - 1);
}

Async<std::string> caught(int depth) {
    try {
        co_await throwAtDepth(depth);
    } catch (const std::runtime_error& error) {
        co_return error.what();
    }
    co_return "";
}

TEST(AsyncTest, ExceptionsPassThroughEveryLevel) {
    EXPECT_EQ(runToCompletion(caught(5)), "thrown");
    EXPECT_THROW(runToCompletion(throwAtDepth(5)), std::runtime_error);
}

/// Resumes the coroutine inside `wait`, or throws there.
class ImmediateLoop final : public EventLoop {
  public:
    explicit ImmediateLoop(bool fails) : fails_(fails) {}
    std::shared_ptr<void> wait(int /*descriptor*/, Event /*event*/, TimePoint /*deadline*/,
                               std::function<void(bool isReady)> resume) override {
        if (fails_) {
            throw std::runtime_error("the loop fails");
        }
        resume(true);
        return std::make_shared<std::function<void(bool isReady)>>(std::move(resume));
    }

  private:
    bool fails_;
};

TEST(AsyncTest, LoopsMayResumeOrThrowInsideWait) {
    std::string trace;
    ImmediateLoop resuming(false);
    Async<std::unique_ptr<int>> work = nested(3, 0, trace);
    work.start(resuming);
    EXPECT_EQ(*work.result(), 300'001);
    ImmediateLoop failing(true);
    Async<std::unique_ptr<int>> failed = nested(3, 0, trace);
    failed.start(failing);
    EXPECT_THROW(failed.result(), std::runtime_error);
    EXPECT_EQ(trace, "d1d2d3ddddd");
}

Async<bool> ready(int descriptor, Event event, EventLoop::TimePoint deadline) {
    co_return co_await waitUntilReady(descriptor, event, deadline);
}

TEST(AsyncTest, WaitsEndByReadinessOrByTime) {
    const Pipe empty;
    const Pipe full;
    full.fill();
    const auto soon = [] { return steady_clock::now() + 20ms; };
    EXPECT_TRUE(runToCompletion(ready(full.end(), Event::readable, EventLoop::never)));
    EXPECT_TRUE(runToCompletion(ready(full.end(), Event::readable, soon())));
    // A descriptor that fails is ready: who uses it finds out why.
    EXPECT_TRUE(runToCompletion(ready(100'000, Event::writable, EventLoop::never)));
    const auto start = steady_clock::now();
    EXPECT_FALSE(runToCompletion(ready(empty.end(), Event::readable, soon())));
    EXPECT_FALSE(runToCompletion(ready(-1, Event::readable, soon())));
    EXPECT_GE(steady_clock::now() - start, 40ms);
    // The past, and the end of time, are points in time as well.
    EXPECT_FALSE(runToCompletion(ready(-1, Event::readable, EventLoop::TimePoint())));
    SteppedLoop loop;
    Async<bool> late = ready(empty.end(), Event::readable, soon());
    late.start(loop);
    while (loop.step()) {
    }
    EXPECT_FALSE(late.result());
}

} // namespace
} // namespace Orvex::Testing
