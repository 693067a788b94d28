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

/// Passes the result of a system call on, or throws what went wrong.
template <class Result>
Result checked(Result result, const std::string& attempt) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), attempt);
    }
    return result;
}

inline constexpr int openFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// A folder of the user's own, held open: what is done in it goes by its descriptor, so that nothing that is
/// put in its place meanwhile leads elsewhere. Throws `std::system_error`, and `SendingServiceError` where
/// the folder belongs to somebody else.
class Folder {
  public:
    explicit Folder(const std::string& path) : Folder(AT_FDCWD, path, path) {}
    Folder(const Folder& outer, const std::string& name)
        : Folder(outer.get(), name, outer.path_ + "/" + name) {}

    /// The folder inside of this name, made where it is missing.
    [[nodiscard]] Folder inner(const std::string& name) const;

    /// Makes a file inside, for the user alone, to be written.
    [[nodiscard]] FileDescriptor makeFile(const std::string& name) const;

    /// Makes what was made, moved or removed inside survive a crash.
    void sync() const;

    /// Throws `SendingServiceError` where the group or others have any right: anyone who can open a folder
    /// can lock it.
    void refuseUnlessPrivate() const;

    // A lock goes with this object or its process, or before.
    /// Throws `SendingServiceError` when somebody else has it for `longest`.
    void lock(std::chrono::milliseconds longest = std::chrono::seconds(30)) const;
    /// Whether nobody else had it.
    [[nodiscard]] bool tryLock() const;
    void unlock() const;

    /// Whether what has this name inside is this open file or folder.
    [[nodiscard]] bool has(const std::string& name, int file) const;

    /// Moves this folder, named `name` in `source`, to `target`, where it is not durable yet.
    void move(const Folder& source, const Folder& target, const std::string& name);

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

/// Calls `visit` for each name in a folder, as far as they can be read.
template <class Visit>
void forEachName(int folder, Visit visit) {
    // A descriptor of its own, since the list takes it over.
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

/// Writes all of `bytes`; `path`, in quotes, is for the error.
void writeAll(int file, std::string_view bytes, const std::string& path);

} // namespace Orvex
