#include "ZelvoMessageStore/Budget.h"

#include "ZelvoMessageStore/SQLite.h"
#include <ctime>
#include <sqlite3.h>

namespace Orvex::SQLite {

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

// Of a list and what else is done with messages. A list takes some thirty steps for each, which has a hundred
// bytes or more; 1 MB is listed in some 10 ms, and a message is found by its identifier in 10 µs.
constexpr std::int64_t anySteps = 1 << 20;
constexpr std::int64_t stepsPerByte = 4;
constexpr int stepsBetweenLooks = 4096;
constexpr nanoseconds anyTime = 500ms;
constexpr nanoseconds timePerByte = 1us;
constexpr nanoseconds timePerRun = 1ms;

// Ours takes 100 steps and 0.1 ms, some seven steps for a statement in it.
constexpr int schemaSteps = 2000;
constexpr int schemaStepsBetweenLooks = 25;
constexpr nanoseconds schemaTime = 500ms;

// In bytes. The longest value has 16 MB; a store with one may have it in UTF-16.
constexpr std::int64_t anyMemory = 24 << 20;
constexpr std::int64_t memoryPerByte = 4;

nanoseconds processorTime() noexcept {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

} // namespace

void Budget::start(sqlite3* database, std::int64_t size) noexcept {
    limit(database, anySteps + stepsPerByte * size, stepsBetweenLooks, anyTime + timePerByte * size);
}

void Budget::startSchema(sqlite3* database) noexcept {
    limit(database, schemaSteps, schemaStepsBetweenLooks, schemaTime);
}

void Budget::limit(sqlite3* database, std::int64_t steps, int betweenLooks, nanoseconds time) noexcept {
    stepsLeft_ = steps;
    stepsBetweenLooks_ = betweenLooks;
    time_ = time;
    start_.reset();
    const auto spend = [](void* context) {
        auto& budget = *static_cast<Budget*>(context);
        budget.stepsLeft_ -= budget.stepsBetweenLooks_;
        return budget.stepsLeft_ < 0 || budget.isTimeUp() ? 1 : 0;
    };
    sqlite3_progress_handler(database, stepsBetweenLooks_, spend, this);
}

bool Budget::isTimeUp() noexcept {
    const nanoseconds now = processorTime();
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
      hardLimitBefore_(sqlite3_hard_heap_limit64(sqlite3_memory_used() + anyMemory + memoryPerByte * size)) {}

MemoryLimit::~MemoryLimit() {
    sqlite3_hard_heap_limit64(hardLimitBefore_);
    sqlite3_soft_heap_limit64(softLimitBefore_);
}

} // namespace Orvex::SQLite
