#pragma once

#include "Foundation/FileDescriptor.h"
#include <cerrno>
#include <chrono>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

namespace Orvex {

/// Returns the result of a system call, or throws its error as `std::system_error`.
template <class Result>
Result checked(Result result, const std::string& attempt) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), attempt);
    }
    return result;
}

inline constexpr int openFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// A folder of the user, held open. Everything in it is accessed through its descriptor, so replacing a path
/// by a symbolic link cannot redirect it. Members throw `std::system_error`; opening a symbolic link or
/// another user's folder throws `SendingServiceError`.
class Folder {
  public:
    explicit Folder(const std::string& path) : Folder(AT_FDCWD, path, path) {}
    Folder(const Folder& outer, const std::string& name)
        : Folder(outer.get(), name, outer.path_ + "/" + name) {}

    /// Opens the folder of this name inside, and makes it first if it is missing.
    [[nodiscard]] Folder inner(const std::string& name) const;

    /// Makes a file inside with mode 0600, open for writing. It must not exist.
    [[nodiscard]] FileDescriptor makeFile(const std::string& name) const;

    /// Makes a file inside with this content, and syncs it to the disk.
    void writeFile(const std::string& name, std::string_view content) const;

    /// Makes changes to the list of files inside survive a crash.
    void sync() const;

    /// Throws `SendingServiceError` if the group or others have any right: anyone who can open a folder can
    /// lock it.
    void refuseUnlessPrivate() const;

    /// Takes the lock (`flock`), which ends with this object or process at the latest. Throws
    /// `SendingServiceError` after waiting for `longest`.
    void lock(std::chrono::milliseconds longest = std::chrono::seconds(30)) const;
    /// Returns false if another process has the lock.
    [[nodiscard]] bool tryLock() const;
    void unlock() const;

    /// Returns true if `name` inside is this open file or folder.
    [[nodiscard]] bool has(const std::string& name, int file) const;

    /// Moves this folder from `source`, where it is called `name`, to `target`, without syncing either.
    void move(const Folder& source, const Folder& target, const std::string& name);

    /// In quotes, for errors.
    [[nodiscard]] std::string pathOf(const std::string& name) const;
    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] int get() const { return descriptor_.get(); }

  private:
    Folder(int outer, const std::string& name, std::string path);

    std::string path_;
    FileDescriptor descriptor_;
};

struct Closer {
    void operator()(DIR* list) const noexcept { closedir(list); }
};

/// Calls `visit` for each name in a folder. Ends early if the folder cannot be read.
template <class Visit>
void forEachName(int folder, Visit visit) {
    // `fdopendir` takes ownership of its descriptor.
    FileDescriptor listed(openat(folder, ".", openFolder));
    const std::unique_ptr<DIR, Closer> names(listed.get() < 0 ? nullptr : fdopendir(listed.get()));
    if (names == nullptr) {
        return;
    }
    listed.release();
    while (const dirent* const entry = readdir(names.get())) {
        visit(&entry->d_name[0]);
    }
}

/// Writes all of `bytes`. `path` is for the error, already in quotes.
void writeAll(int file, std::string_view bytes, const std::string& path);

} // namespace Orvex
