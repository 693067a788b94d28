#pragma once

#include <cerrno>
#include <cstddef>
#include <sys/types.h>
#include <unistd.h>

namespace Orvex {

/// Repeats a system call as long as a signal interrupts it (EINTR). Returns its result, which is negative
/// after any other error; `errno` has the reason.
template <class SystemCall>
auto uninterrupted(SystemCall call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// Reads the first `size` bytes of a file, or all if it has fewer, without moving its offset. Returns their
/// number, or a negative number after an error; `errno` has the reason.
[[nodiscard]] inline ssize_t readBeginning(int file, void* buffer, std::size_t size) {
    std::size_t filled = 0;
    ssize_t count = 1;
    while (count > 0 && filled < size) {
        count = uninterrupted([&] {
            return pread(file, static_cast<char*>(buffer) + filled, size - filled,
                         static_cast<off_t>(filled));
        });
        filled += static_cast<std::size_t>(count > 0 ? count : 0);
    }
    return count < 0 ? count : static_cast<ssize_t>(filled);
}

} // namespace Orvex
