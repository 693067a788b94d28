#pragma once

#include <functional>

namespace Orvex::Testing {

/// Lets system calls fail: those that our own code makes, numbered from 0 as they come. tests/CMakeLists.txt
/// lists which calls these are. Nothing is synced but in appearance: power fails only here.
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

    /// What a power failure takes off the disk, as far as it was not synced.
    enum class Loss {
        /// Also names that were made or moved in a folder.
        everything,
        /// What was written into files, whose names stay.
        contents,
        /// The second half of it.
        halfOfContents,
    };

    struct Fate {
        Effect effect{};
        int error = 0;
        /// So many calls in a row fail with it.
        int times = 1;
        Loss loss{};
        /// If it is not 0, every `copy_file_range` fails with this error, or copies nothing if it is
        /// negative; and every `write` writes half of what it is given.
        int copyError = 0;
        std::function<void()> interruption{};
    };

    static constexpr int never = -1;
    static constexpr int fromThenOn = 1000000;

    /// From now on, call `number` has this fate.
    FailingSystemCalls(int number, const Fate& fate);
    ~FailingSystemCalls();
    FailingSystemCalls(const FailingSystemCalls&) = delete;
    FailingSystemCalls& operator=(const FailingSystemCalls&) = delete;

    /// Whether the call came.
    [[nodiscard]] static bool happened();

    /// Lets power fail with what was not synced as long as there was an object of this class.
    static void losePower(Loss loss);
};

} // namespace Orvex::Testing
