#pragma once

#include <functional>

namespace Orvex::Testing {

/// A disk below SQLite that fails as planned. It takes the place of the system's in this process, and in
/// those forked from it, while an object of this class lives. Syncing costs no time: only here does power
/// fail. SQLite's memory can run out in the same ways.
class FailingDisk {
  public:
    enum Calls : unsigned { reads = 1, changes = 2, opens = 4, others = 8, everyCall = 15, allocations = 16 };
    enum class Effect {
        /// The call fails.
        error,
        /// It fails, and so do all later ones.
        errors,
        /// Before the call, `losePower`.
        powerFailure,
        /// The same after half of a write.
        powerFailureHalfway,
        /// Before the call, another program has its turn.
        interruption,
    };
    /// Which changes that were not synced outlive a power failure. A greater number seeds a choice of those,
    /// and of halves of them.
    enum Fate : unsigned { allLost, allKept, firstChoice };

    /// Something that happens at a call, of those that count.
    struct Plan {
        /// From 0; never, when it is negative.
        int number = -1;
        Effect effect{};
        unsigned calls = everyCall;
        /// What SQLite is told.
        int error = 0;
        unsigned fate = allLost;
        std::function<void()> interruption{};
    };

    FailingDisk();
    ~FailingDisk();
    FailingDisk(const FailingDisk&) = delete;
    FailingDisk& operator=(const FailingDisk&) = delete;

    /// Lets allocations count, in a process that has no store open and does nothing else afterwards.
    static void watchMemory();

    /// From now on. What the folder holds is taken for synced.
    static void plan(const char* folder, Plan plan);
    /// Whether the call came; nothing happens from now on.
    static bool end();

    /// Counts what must outlive a power failure from now on.
    static void acknowledge();
    /// Ends the process with the number of acknowledged changes as its status, and the files as a disk
    /// without power might leave them.
    [[noreturn]] static void losePower();
};

} // namespace Orvex::Testing
