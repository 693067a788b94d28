#pragma once

#include <unistd.h>
#include <utility>

namespace Orvex {

/// Owns a file descriptor and closes it. Negative if there is none.
class FileDescriptor {
  public:
    FileDescriptor() noexcept = default;
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    ~FileDescriptor() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    [[nodiscard]] int get() const noexcept { return descriptor_; }
    /// Gives up ownership: the caller closes the descriptor.
    void release() noexcept { descriptor_ = -1; }

  private:
    int descriptor_ = -1;
};

} // namespace Orvex
