#include "FailingSystemCalls.h"

#include "Foundation/FileDescriptor.h"
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Orvex::Testing {

namespace {

struct Plan {
    int callsUntilThen = -1;
    FailingSystemCalls::Effect effect{};
    int error = 0;
    std::function<void()> interruption{};
    int copyError = 0;
    bool happened = false;
};
Plan plan;

/// What a file or folder would lose if power failed.
struct Unsynced {
    FileDescriptor file;
    bool hasContent = false;
    std::set<std::string> names{};
};
std::map<ino_t, Unsynced> unsynced;

ino_t inode(int file) {
    struct stat status {};
    fstat(file, &status);
    return status.st_ino;
}

Unsynced& unsyncedIn(int file) {
    Unsynced& found = unsynced[inode(file)];
    if (found.file.get() < 0) {
        found.file = FileDescriptor(dup(file));
    }
    return found;
}

/// Passes the result of a call on that makes a name in a folder.
int noteName(int result, int folder, const char* name) {
    if (result >= 0 && plan.effect == FailingSystemCalls::Effect::powerFails) {
        unsyncedIn(folder).names.insert(name);
    }
    return result;
}

/// Passes the result of a call on that writes into a file.
ssize_t noteContent(ssize_t result, int file) {
    if (result > 0 && plan.effect == FailingSystemCalls::Effect::powerFails) {
        unsyncedIn(file).hasContent = true;
    }
    return result;
}

/// Counts a call, and says whether it is the one to fail. `half` does half of it.
template <class Half>
bool fails(Half half) {
    if (plan.callsUntilThen < 0 || plan.callsUntilThen-- > 0) {
        return false;
    }
    plan.happened = true;
    using Effect = FailingSystemCalls::Effect;
    switch (plan.effect) {
    case Effect::error:
        errno = plan.error;
        return true;
    case Effect::interruption:
        plan.interruption();
        return false;
    case Effect::processEndsHalfway:
        half();
        break;
    case Effect::powerFails:
        FailingSystemCalls::losePower();
        break;
    case Effect::processEnds:
        break;
    }
    _exit(0);
}
bool fails() {
    return fails([] {});
}

} // namespace

FailingSystemCalls::FailingSystemCalls(int number, Effect effect, int error,
                                       std::function<void()> interruption) {
    plan = {
        .callsUntilThen = number, .effect = effect, .error = error, .interruption = std::move(interruption)};
}

FailingSystemCalls::FailingSystemCalls(int copyError) {
    plan = {.copyError = copyError};
}

FailingSystemCalls::~FailingSystemCalls() {
    plan = {};
}

bool FailingSystemCalls::happened() {
    return plan.happened;
}

void FailingSystemCalls::losePower() {
    for (const auto& [number, lost] : unsynced) {
        const auto path = std::filesystem::path("/proc/self/fd") / std::to_string(lost.file.get());
        if (lost.hasContent) {
            std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
        }
        for (const std::string& name : lost.names) {
            std::filesystem::remove_all(path / name);
        }
    }
}

} // namespace Orvex::Testing

// The linker's names for the wrapper of a function and the function itself (option --wrap).
// NOLINTBEGIN(bugprone-reserved-identifier)
using namespace Orvex::Testing;
using Orvex::FileDescriptor;

extern "C" {

int __real_fsync(int file);
int __wrap_fsync(int file) {
    if (fails()) {
        return -1;
    }
    unsynced.erase(inode(file));
    return __real_fsync(file);
}

int __real_mkdir(const char* path, mode_t mode);
int __wrap_mkdir(const char* path, mode_t mode) {
    if (fails()) {
        return -1;
    }
    const std::filesystem::path made(path);
    const FileDescriptor above(open(made.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return noteName(__real_mkdir(path, mode), above.get(), made.filename().c_str());
}

int __real_mkdirat(int folder, const char* name, mode_t mode);
int __wrap_mkdirat(int folder, const char* name, mode_t mode) {
    return fails() ? -1 : noteName(__real_mkdirat(folder, name, mode), folder, name);
}

int __real_openat(int folder, const char* name, int flags, mode_t mode);
int __wrap_openat(int folder, const char* name, int flags, mode_t mode) {
    if (fails()) {
        return -1;
    }
    const int file = __real_openat(folder, name, flags, mode);
    return (flags & O_CREAT) != 0 ? noteName(file, folder, name) : file;
}

int __real_fchmod(int file, mode_t mode);
int __wrap_fchmod(int file, mode_t mode) {
    return fails() ? -1 : __real_fchmod(file, mode);
}

int __real_fchmodat(int folder, const char* name, mode_t mode, int flags);
int __wrap_fchmodat(int folder, const char* name, mode_t mode, int flags) {
    return fails() ? -1 : __real_fchmodat(folder, name, mode, flags);
}

ssize_t __real_write(int file, const void* bytes, size_t size);
ssize_t __wrap_write(int file, const void* bytes, size_t size) {
    if (Orvex::Testing::plan.copyError != 0) {
        return __real_write(file, bytes, (size + 1) / 2);
    }
    return fails([=] { __real_write(file, bytes, size / 2); })
               ? -1
               : noteContent(__real_write(file, bytes, size), file);
}

ssize_t __real_copy_file_range(int in, off_t* inOffset, int out, off_t* outOffset, size_t size,
                               unsigned flags);
ssize_t __wrap_copy_file_range(int in, off_t* inOffset, int out, off_t* outOffset, size_t size,
                               unsigned flags) {
    if (Orvex::Testing::plan.copyError != 0) {
        errno = Orvex::Testing::plan.copyError;
        return errno < 0 ? 0 : -1;
    }
    const auto copy = [=](size_t part) {
        return __real_copy_file_range(in, inOffset, out, outOffset, part, flags);
    };
    return fails([=] { copy(size / 2); }) ? -1 : noteContent(copy(size), out);
}

int __real_renameat(int fromFolder, const char* from, int toFolder, const char* to);
int __wrap_renameat(int fromFolder, const char* from, int toFolder, const char* to) {
    return fails() ? -1 : noteName(__real_renameat(fromFolder, from, toFolder, to), toFolder, to);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
