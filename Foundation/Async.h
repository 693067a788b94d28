#pragma once

#include <chrono>
#include <concepts>
#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Orvex {

/// Waits for descriptors and points in time on behalf of coroutines. A program that has a loop already
/// derives a class that uses it, and starts coroutines on that: see examples/own-loop.cpp.
class EventLoop {
  public:
    /// The state of a descriptor that a wait is for.
    enum class Event { readable, writable };
    /// A point in time that changes of the system's clock do not move.
    using TimePoint = std::chrono::steady_clock::time_point;
    /// The deadline of a wait without a limit.
    static constexpr TimePoint never = TimePoint::max();

    virtual ~EventLoop() = default;

    /// Calls `resume` once, on the thread of the caller: with true when reading or writing would not block,
    /// even if it would fail; with false when `deadline` has passed. A negative descriptor is never ready.
    /// `resume` may be called before this function returns.
    ///
    /// Destroying the returned object cancels the wait; calling `resume` destroys that object. The descriptor
    /// belongs to the caller and stays open until then.
    [[nodiscard]] virtual std::shared_ptr<void> wait(int descriptor, Event event, TimePoint deadline,
                                                     std::function<void(bool isReady)> resume) = 0;
};

namespace Coroutines {

/// The part of a promise that does not depend on the type of the result.
struct Promise {
    struct ResumeParent {
        std::coroutine_handle<> parent;
        [[nodiscard]] bool await_ready() const noexcept { return false; }
        void await_suspend(std::coroutine_handle<> /*self*/) const noexcept {
            // The parent may destroy this frame.
            if (parent) {
                parent.resume();
            }
        }
        void await_resume() const noexcept {}
    };

    [[nodiscard]] std::suspend_always initial_suspend() const noexcept { return {}; }
    [[nodiscard]] ResumeParent final_suspend() const noexcept { return {parent}; }
    void unhandled_exception() noexcept { failure = std::current_exception(); }

    EventLoop* loop = nullptr;
    /// Resumed at the end. Null if this coroutine has not waited yet, or if none awaits it.
    std::coroutine_handle<> parent;
    std::exception_ptr failure;
};

template <class T>
struct PromiseOf : Promise {
    template <class Value = T>
    void return_value(Value&& value) {
        result.emplace(std::forward<Value>(value));
    }
    T takeResult() { return *std::move(result); }

    std::optional<T> result;
};

template <>
struct PromiseOf<void> : Promise {
    void return_void() const noexcept {}
    void takeResult() const noexcept {}
};

/// The awaiter behind `waitUntilReady`.
class Wait {
  public:
    Wait(int descriptor, EventLoop::Event event, EventLoop::TimePoint deadline)
        : descriptor_(descriptor), event_(event), deadline_(deadline) {}
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;
    ~Wait() = default;

    [[nodiscard]] bool await_ready() const noexcept { return false; }
    template <std::derived_from<Promise> P>
    bool await_suspend(std::coroutine_handle<P> self) {
        wait_ = self.promise().loop->wait(descriptor_, event_, deadline_, [this, self](bool isReady) {
            isReady_ = isReady;
            if (isSuspended_) {
                // Destroys this awaiter, and maybe the function that runs.
                self.resume();
            }
        });
        isSuspended_ = !isReady_.has_value();
        return isSuspended_;
    }
    [[nodiscard]] bool await_resume() noexcept {
        wait_.reset();
        return *isReady_;
    }

  private:
    int descriptor_;
    EventLoop::Event event_;
    EventLoop::TimePoint deadline_;
    std::optional<bool> isReady_;
    bool isSuspended_ = false;
    std::shared_ptr<void> wait_;
};

} // namespace Coroutines

/// A coroutine that runs when it is awaited, and then yields a `T` or throws. It owns its frame: destroying
/// one that waits cancels it and everything that it awaits. A coroutine must not destroy itself. It is
/// started or awaited once, and not after it was moved from.
///
/// References and views that are parameters must stay valid until the end of the coroutine. Inside a
/// `co_await` expression, name temporaries that own memory first: g++ 12 destroys some of them twice.
template <class T>
class [[nodiscard]] Async {
  public:
    struct promise_type : Coroutines::PromiseOf<T> {
        Async get_return_object() noexcept {
            return Async(std::coroutine_handle<promise_type>::from_promise(*this));
        }
    };

    Async(Async&& other) noexcept : coroutine_(std::exchange(other.coroutine_, nullptr)) {}
    Async& operator=(Async&& other) noexcept {
        std::swap(coroutine_, other.coroutine_);
        return *this;
    }
    ~Async() {
        if (coroutine_) {
            coroutine_.destroy();
        }
    }

    /// Starts work that no coroutine awaits. Returns when it has ended or waits for something. Its exception
    /// is kept for `result`.
    void start(EventLoop& loop) {
        coroutine_.promise().loop = &loop;
        coroutine_.resume();
    }
    /// True if the work has ended, with a result or an exception.
    [[nodiscard]] bool isDone() const noexcept { return coroutine_.done(); }
    /// Moves the result out of work that is done, or throws its exception.
    T result() {
        if (!isDone()) {
            throw std::logic_error("the work waits for something that its event loop does not know");
        }
        if (coroutine_.promise().failure) {
            std::rethrow_exception(coroutine_.promise().failure);
        }
        return coroutine_.promise().takeResult();
    }

    /// Runs the work on the event loop of the coroutine that awaits it.
    auto operator co_await() && noexcept { return Awaiter{*this}; }

  private:
    struct Awaiter {
        Async& child;
        [[nodiscard]] bool await_ready() const noexcept { return false; }
        /// Resumes the child by a call. Symmetric transfer is not a tail call in builds without optimisation:
        /// awaits that complete at once would fill the stack.
        template <std::derived_from<Coroutines::Promise> Parent>
        bool await_suspend(std::coroutine_handle<Parent> parent) const {
            child.start(*parent.promise().loop);
            child.coroutine_.promise().parent = parent;
            return !child.isDone();
        }
        T await_resume() const { return child.result(); }
    };

    explicit Async(std::coroutine_handle<promise_type> coroutine) noexcept : coroutine_(coroutine) {}

    std::coroutine_handle<promise_type> coroutine_;
};

/// Awaited in an `Async`, waits on its event loop. Yields true if the descriptor is ready, and false if the
/// deadline has passed: see `EventLoop::wait`.
[[nodiscard]] inline Coroutines::Wait waitUntilReady(int descriptor, EventLoop::Event event,
                                                     EventLoop::TimePoint deadline = EventLoop::never) {
    return {descriptor, event, deadline};
}

/// A loop without state that blocks the thread during each wait.
[[nodiscard]] EventLoop& blockingLoop();

/// Runs `work` on the blocking loop. Returns its result, or throws its exception.
template <class T>
T runToCompletion(Async<T> work) {
    work.start(blockingLoop());
    return work.result();
}

} // namespace Orvex
