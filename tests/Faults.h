#pragma once

#include <cerrno>
#include <filesystem>
#include <functional>

namespace Orvex::Testing {

/// The calls that a fault counts.
enum Calls : unsigned {
    /// System calls of our own code; tests/CMakeLists.txt lists them (--wrap).
    systemCalls = 1,
    /// Calls of SQLite to the file system, while there is a `FailingDisk`.
    diskReads = 2,
    diskChanges = 4,
    diskOpens = 8,
    otherDiskCalls = 16,
    diskCalls = 30,
    /// SQLite's allocations, after `FailingDisk::watchMemory`.
    allocations = 32,
};

enum class Effect {
    error,
    /// The process ends before the call, with `statusAtFault`.
    processEnds,
    /// The same after half of a write.
    processEndsHalfway,
    /// The same as `processEnds`, and `losePower`.
    powerFails,
    /// The same after half of a write.
    powerFailsHalfway,
    /// Another program has its turn before the call.
    interruption,
};

/// The changes that a power failure takes off the disk, of those that were not synced.
enum Loss : unsigned {
    everything,
    /// Only what was written; names that were made, moved or removed stay so.
    contents,
    /// The second half of what was written.
    halfOfContents,
    nothing,
    /// This and every greater number: all names or none, and a choice of sectors, which depends on the number
    /// alone.
    firstChoice,
};

/// Something that happens at one of the calls that count.
struct Fault {
    static constexpr int never = -1;
    static constexpr int fromThenOn = 1000000;

    /// Of the call, from 0.
    int number = never;
    Effect effect{};
    unsigned calls = systemCalls;
    int error = EIO;
    /// Returned to SQLite if the call is one of its own.
    int result = 0;
    /// How many calls in a row fail.
    int times = 1;
    unsigned loss = everything;
    /// Unless it is 0, each `copy_file_range` fails with this error, or copies nothing if it is negative; and
    /// each `write` writes half of what it is given.
    int copyError = 0;
    std::function<void()> interruption{};
};

inline int statusAtFault = 0;

/// Puts a fault in the way of this process, and of those forked from it, while it lives.
class Faults {
  public:
    explicit Faults(Fault fault);
    ~Faults();
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    /// Returns true if the call came since `atEachCall` began the attempt, perhaps in a forked process.
    [[nodiscard]] static bool happened();
};

/// Makes an attempt with the fault at each call in turn, or at every `stride`th, until the call does not come
/// or an expectation fails. The attempt makes `Faults` of what it is given. Returns the number of attempts in
/// which the call came.
int atEachCall(Fault fault, const std::function<void(const Fault&)>& attempt, int stride = 1);

/// From now on, remembers what is synced below a folder. Everything there counts as synced already.
void watchDisk(const std::filesystem::path& folder);

/// Leaves the folder that is watched as a power failure might. Nothing is ever synced to the real disk.
void losePower(unsigned loss);

/// Takes the place of the file system below SQLite while it lives.
class FailingDisk {
  public:
    FailingDisk();
    ~FailingDisk();
    FailingDisk(const FailingDisk&) = delete;
    FailingDisk& operator=(const FailingDisk&) = delete;

    /// Lets allocations count. The process must not have a store open, and does nothing else afterwards.
    static void watchMemory();
};

} // namespace Orvex::Testing
