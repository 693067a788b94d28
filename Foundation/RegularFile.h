#pragma once

#include "Foundation/FileDescriptor.h"
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <sys/stat.h>

namespace Orvex {

/// Reason why a file cannot be read, as in "it is a folder, not a file". The catcher adds the file's name.
class FileError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A regular file that is open for reading. Anything else, such as a named pipe or a device, is refused
/// without being opened, because opening it could block or have side effects.
class RegularFile {
  public:
    /// Throws `FileError`.
    explicit RegularFile(const std::string& path);

    /// No value if the file does not exist. Throws `FileError` for any other reason.
    [[nodiscard]] static std::optional<RegularFile> openIfExists(const std::string& path);

    /// In bytes, at the time of opening.
    [[nodiscard]] std::uintmax_t size() const noexcept {
        return static_cast<std::uintmax_t>(status_.st_size);
    }

    /// Returns true if the file was written since it was opened, judging by its size and times. Throws
    /// `FileError`.
    [[nodiscard]] bool hasChanged() const;

    /// Reads the beginning of the file, as many bytes as fit into the buffer. Returns their number. Throws
    /// `FileError`.
    [[nodiscard]] std::size_t read(std::span<char> buffer) const;

    /// At the time of opening.
    [[nodiscard]] const struct stat& status() const noexcept { return status_; }

    [[nodiscard]] int descriptor() const noexcept { return file_.get(); }

  private:
    RegularFile(FileDescriptor file, const struct stat& status) : file_(std::move(file)), status_(status) {}

    FileDescriptor file_;
    struct stat status_ {};
};

/// Reads a whole file. Throws `FileError`, also if it has more than `largest` bytes.
[[nodiscard]] std::string readWholeFile(const RegularFile& file, std::uintmax_t largest);
[[nodiscard]] std::string readWholeFile(const std::string& path, std::uintmax_t largest);

} // namespace Orvex
