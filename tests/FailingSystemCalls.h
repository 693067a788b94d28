#pragma once

#include <string>
#include <vector>

namespace Orvex::Testing {

/// Lets system calls fail that change files: those that our own code makes, numbered from 0 as they come.
/// tests/CMakeLists.txt lists which calls these are.
class FailingSystemCalls {
  public:
    enum class Effect { error, processEnds };

    /// From now on, call `number` fails with this error, or ends the process with status 0 before it is made.
    FailingSystemCalls(int number, Effect effect, int error);
    /// From now on, calls are noted.
    FailingSystemCalls();
    /// From now on, every `copy_file_range` fails with this error.
    explicit FailingSystemCalls(int copyError);
    ~FailingSystemCalls();
    FailingSystemCalls(const FailingSystemCalls&) = delete;
    FailingSystemCalls& operator=(const FailingSystemCalls&) = delete;

    /// Whether the call came.
    [[nodiscard]] static bool happened();

    /// The names of what was synced, and "rename", in the order of the calls since this object was made.
    [[nodiscard]] static const std::vector<std::string>& steps();
};

} // namespace Orvex::Testing
