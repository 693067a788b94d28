#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

struct sqlite3;

namespace Orvex::SQLite {

/// Limits the work of a connection's statements by how much there is to read. A forged store can have the
/// same pages read without end, in many steps of SQLite's or in few that take long.
class Budget {
  public:
    Budget() = default;
    Budget(const Budget&) = delete;
    Budget& operator=(const Budget&) = delete;

    /// Limits statements from now on as befits so many bytes on the disk: their steps altogether, and the
    /// processor time of this thread. SQLite interrupts the statement that exceeds it. Must outlive the
    /// connection.
    void start(sqlite3* database, std::int64_t size) noexcept;
    /// Limits them to what it takes to parse a store's schema and to look at it.
    void startSchema(sqlite3* database) noexcept;

    /// To be called before each run of a statement. A short run never comes to where SQLite would interrupt
    /// it, but there may be many. Throws `Error` when the time is up; lets it last a little longer otherwise.
    void beginRun();

  private:
    void limit(sqlite3* database, std::int64_t steps, std::chrono::nanoseconds time) noexcept;
    /// Begins with the first look, so that no time counts between two transactions.
    [[nodiscard]] bool isTimeUp() noexcept;

    std::int64_t stepsLeft_ = 0;
    /// Of this thread's processor time.
    std::chrono::nanoseconds time_{};
    std::optional<std::chrono::nanoseconds> start_;
    std::chrono::nanoseconds lastTick_{};
};

/// Limits the memory that SQLite takes while an object lives, of which there is one at a time: a text in a
/// store of so many bytes on the disk may claim to have gigabytes. The limit is the process's.
class MemoryLimit {
  public:
    explicit MemoryLimit(std::int64_t size) noexcept;
    ~MemoryLimit();
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

    /// Permits what it takes to save a value of so many bytes, too.
    static void raiseFor(std::size_t size) noexcept;

  private:
    std::int64_t softLimitBefore_;
    std::int64_t hardLimitBefore_;
};

} // namespace Orvex::SQLite
