#pragma once

#include "Foundation/FileDescriptor.h"
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <sys/stat.h>

namespace Orvex {

/// Why a file cannot be read, as in "it is a folder, not a file"; which file, the catcher knows.
class FileError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A regular file that is open for reading. Opening anything else, a named pipe or a device for one, could
/// block or have effects, so it is refused without being opened.
class RegularFile {
  public:
    /// Throws `FileError`.
    explicit RegularFile(const std::string& path);

    /// No value where there is no file; throws `FileError` for any other reason.
    [[nodiscard]] static std::optional<RegularFile> openIfExists(const std::string& path);

    /// In bytes, at the time of opening.
    [[nodiscard]] std::uintmax_t size() const noexcept {
        return static_cast<std::uintmax_t>(status_.st_size);
    }

    /// Whether it has been written since it was opened, as far as its size and its times tell. Throws
    /// `FileError`.
    [[nodiscard]] bool hasChanged() const;

    /// Reads the file's beginning, as much of it as there is up to the buffer's size; returns how many bytes
    /// that were. Throws `FileError`.
    [[nodiscard]] std::size_t read(std::span<char> buffer) const;

    /// At the time of opening.
    [[nodiscard]] const struct stat& status() const noexcept { return status_; }

    [[nodiscard]] int descriptor() const noexcept { return file_.get(); }

  private:
    RegularFile(FileDescriptor file, const struct stat& status) : file_(std::move(file)), status_(status) {}

    FileDescriptor file_;
    struct stat status_ {};
};

/// The whole content of a regular file. Throws `FileError`, also when it has more than `largest` bytes.
[[nodiscard]] std::string readWholeFile(const RegularFile& file, std::uintmax_t largest);
[[nodiscard]] std::string readWholeFile(const std::string& path, std::uintmax_t largest);

} // namespace Orvex
