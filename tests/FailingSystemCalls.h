#pragma once

#include <functional>

namespace Orvex::Testing {

/// Lets system calls fail that change files: those that our own code makes, numbered from 0 as they come.
/// tests/CMakeLists.txt lists which calls these are.
class FailingSystemCalls {
  public:
    enum class Effect {
        error,
        /// The process ends with status 0 before the call.
        processEnds,
        /// The same after half of a write.
        processEndsHalfway,
        /// The same as `processEnds`, and `losePower`.
        powerFails,
        /// Before the call, another one has its turn.
        interruption,
    };

    /// From now on, call `number` fails in this way, with this error, or after `interruption`.
    FailingSystemCalls(int number, Effect effect, int error = 0, std::function<void()> interruption = {});
    /// From now on, every `copy_file_range` fails with this error, or copies nothing if it is negative; and
    /// every `write` writes half of what it is given.
    explicit FailingSystemCalls(int copyError);
    ~FailingSystemCalls();
    FailingSystemCalls(const FailingSystemCalls&) = delete;
    FailingSystemCalls& operator=(const FailingSystemCalls&) = delete;

    /// Whether the call came.
    [[nodiscard]] static bool happened();

    /// Takes what was not synced off the disk: names that were made in a folder, and half of what was written
    /// into a file.
    static void losePower();
};

} // namespace Orvex::Testing
