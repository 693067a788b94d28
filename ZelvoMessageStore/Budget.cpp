#include "ZelvoMessageStore/Budget.h"

#include "ZelvoMessageStore/SQLite.h"
#include <ctime>
#include <sqlite3.h>

namespace Orvex::SQLite {

namespace {

/// Steps of SQLite's between one look at the clock and the next.
constexpr int period = 4096;

/// A list takes some thirty steps for each message, which has a hundred bytes or more.
constexpr std::int64_t anySteps = 1 << 20;
constexpr std::int64_t stepsPerByte = 4;

// In nanoseconds. A store of 1 MB is listed in some 10 ms, and a message is found by its identifier in 10 µs.
constexpr std::int64_t anyTime = 500'000'000;
constexpr std::int64_t timePerByte = 1000;
constexpr std::int64_t timePerRun = 1'000'000;

// In bytes. The longest value has 16 MB; a store with one may have it in UTF-16.
constexpr std::int64_t anyMemory = 24 << 20;
constexpr std::int64_t memoryPerByte = 4;

std::int64_t processorTime() noexcept {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

} // namespace

void Budget::start(sqlite3* database, std::int64_t size) noexcept {
    stepsLeft_ = anySteps + stepsPerByte * size;
    deadline_ = processorTime() + anyTime + timePerByte * size;
    sqlite3_progress_handler(database, period, spend, this);
}

int Budget::spend(void* budget) {
    auto& self = *static_cast<Budget*>(budget);
    self.stepsLeft_ -= period;
    return self.stepsLeft_ < 0 || processorTime() > self.deadline_ ? 1 : 0;
}

void Budget::beginRun() {
    if (deadline_ != 0) {
        deadline_ += timePerRun;
        if (processorTime() > deadline_) {
            throw Error(SQLITE_INTERRUPT, sqlite3_errstr(SQLITE_INTERRUPT));
        }
    }
}

MemoryLimit::MemoryLimit(std::int64_t size) noexcept
    : softLimitBefore_(sqlite3_soft_heap_limit64(-1)),
      hardLimitBefore_(sqlite3_hard_heap_limit64(sqlite3_memory_used() + anyMemory + memoryPerByte * size)) {}

MemoryLimit::~MemoryLimit() {
    sqlite3_hard_heap_limit64(hardLimitBefore_);
    sqlite3_soft_heap_limit64(softLimitBefore_);
}

} // namespace Orvex::SQLite
