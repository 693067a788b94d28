#include "ZelvoMessageStore/Budget.h"

#include "ZelvoMessageStore/SQLite.h"
#include <ctime>
#include <sqlite3.h>

namespace Orvex::SQLite {

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

// Limits for work on messages. A list takes some 30 steps for a message, which has at least 100 bytes.
// Listing 1 MB takes some 10 ms, finding a message by its identifier 10 µs.
constexpr std::int64_t leastSteps = 1 << 20;
constexpr std::int64_t stepsPerByte = 4;
constexpr nanoseconds leastTime = 300ms;
constexpr nanoseconds timePerByte = 400ns;
constexpr nanoseconds timePerRun = 1ms;

// Limits for the schema. Ours takes 100 steps and 0.1 ms, some 7 steps for each statement.
constexpr int schemaSteps = 2000;
constexpr nanoseconds schemaTime = 500ms;

// A step may read all the overflow pages of a row, which takes up to 100 ms.
constexpr int stepsBetweenChecks = 25;

// Limits of memory in bytes. SQLite's page cache takes 2 MB; a text may be in UTF-16.
constexpr std::int64_t leastMemory = 6 << 20;
constexpr std::int64_t memoryPerByte = 4;

nanoseconds timeOf(clockid_t clock) noexcept {
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

} // namespace

void Budget::start(sqlite3* database, std::int64_t size) noexcept {
    limit(database, leastSteps + stepsPerByte * size, leastTime + timePerByte * size);
}

void Budget::startSchema(sqlite3* database) noexcept {
    limit(database, schemaSteps, schemaTime);
}

void Budget::limit(sqlite3* database, std::int64_t steps, nanoseconds time) noexcept {
    stepsLeft_ = steps;
    time_ = time;
    start_.reset();
    const auto spend = [](void* context) {
        auto& budget = *static_cast<Budget*>(context);
        budget.stepsLeft_ -= stepsBetweenChecks;
        return budget.stepsLeft_ < 0 || budget.isTimeUp() ? 1 : 0;
    };
    sqlite3_progress_handler(database, stepsBetweenChecks, spend, this);
}

bool Budget::isTimeUp() noexcept {
    // This clock advances every few milliseconds, but reading it costs a fiftieth of the other one.
    const nanoseconds tick = timeOf(CLOCK_MONOTONIC_COARSE);
    if (start_ && tick == lastTick_) {
        return false;
    }
    lastTick_ = tick;
    const nanoseconds now = timeOf(CLOCK_THREAD_CPUTIME_ID);
    start_ = start_.value_or(now);
    return now - *start_ > time_;
}

void Budget::beginRun() {
    time_ += timePerRun;
    if (isTimeUp()) {
        throw Error(SQLITE_INTERRUPT, sqlite3_errstr(SQLITE_INTERRUPT));
    }
}

MemoryLimit::MemoryLimit(std::int64_t size) noexcept
    : softLimitBefore_(sqlite3_soft_heap_limit64(-1)),
      hardLimitBefore_(
          sqlite3_hard_heap_limit64(sqlite3_memory_used() + leastMemory + memoryPerByte * size)) {}

void MemoryLimit::raiseFor(std::size_t size) noexcept {
    if (const std::int64_t limit = sqlite3_hard_heap_limit64(-1); limit > 0) {
        sqlite3_hard_heap_limit64(limit + memoryPerByte * static_cast<std::int64_t>(size));
    }
}

MemoryLimit::~MemoryLimit() {
    sqlite3_hard_heap_limit64(hardLimitBefore_);
    sqlite3_soft_heap_limit64(softLimitBefore_);
}

} // namespace Orvex::SQLite
