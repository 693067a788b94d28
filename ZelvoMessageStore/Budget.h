#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

struct sqlite3;

namespace Orvex::SQLite {

/// Limits the work of a connection's statements by the size of its file. A forged store can make SQLite read
/// the same pages endlessly, in many steps or in few long ones.
class Budget {
  public:
    Budget() = default;
    Budget(const Budget&) = delete;
    Budget& operator=(const Budget&) = delete;

    /// Limits the total steps of all statements from now on, and this thread's processor time, for `size`
    /// bytes on the disk. SQLite interrupts the statement that exceeds a limit. Must outlive the connection.
    void start(sqlite3* database, std::int64_t size) noexcept;
    /// Sets limits that suffice for parsing and checking a store's schema.
    void startSchema(sqlite3* database) noexcept;

    /// Call it before each run of a statement: SQLite never interrupts short runs, but there may be many.
    /// Extends the time by that of a short run, or throws `Error` if the time is up.
    void beginRun();

  private:
    void limit(sqlite3* database, std::int64_t steps, std::chrono::nanoseconds time) noexcept;
    /// The first call starts the time, so that pauses between transactions do not count.
    [[nodiscard]] bool isTimeUp() noexcept;

    std::int64_t stepsLeft_ = 0;
    /// The limit of this thread's processor time, from `start_` on.
    std::chrono::nanoseconds time_{};
    std::optional<std::chrono::nanoseconds> start_;
    std::chrono::nanoseconds lastTick_{};
};

/// Limits the memory that SQLite allocates during the object's life, for a store of `size` bytes on the disk:
/// a forged text may claim to have gigabytes. The limit is for the whole process, so only one object may
/// exist at a time.
class MemoryLimit {
  public:
    explicit MemoryLimit(std::int64_t size) noexcept;
    ~MemoryLimit();
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

    /// Adds the memory that saving a value of `size` bytes takes.
    static void raiseFor(std::size_t size) noexcept;

  private:
    std::int64_t softLimitBefore_;
    std::int64_t hardLimitBefore_;
};

} // namespace Orvex::SQLite
