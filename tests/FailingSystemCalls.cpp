#include "FailingSystemCalls.h"

#include "Foundation/FileDescriptor.h"
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

// The linker's names for the wrapper of a function and the function itself (option --wrap).
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
int __real_fstat(int file, struct stat* status);
int __real_open(const char* path, int flags, mode_t mode);
int __real_renameat(int fromFolder, const char* from, int toFolder, const char* to);
}

namespace Orvex::Testing {

namespace {

using Effect = FailingSystemCalls::Effect;
using Loss = FailingSystemCalls::Loss;

struct Plan {
    int callsUntilThen = FailingSystemCalls::never;
    FailingSystemCalls::Fate fate{};
    bool watchesDisk = false;
    bool happened = false;
};
Plan plan;

/// A name that was made in a folder; moved there if it has another one.
struct UnsyncedName {
    FileDescriptor folder;
    std::string name;
    FileDescriptor oldFolder{};
    std::string oldName{};
    /// What the file had in it that was replaced.
    std::optional<std::string> replaced{};
};
std::vector<UnsyncedName> unsyncedNames;
std::map<ino_t, FileDescriptor> unsyncedContents;

/// The same file or folder, opened once more: a copy of the descriptor would keep its locks.
FileDescriptor reopened(int file, int flags = O_RDONLY) {
    return FileDescriptor(__real_open(("/proc/self/fd/" + std::to_string(file)).c_str(), flags, 0));
}

std::filesystem::path pathOf(int folder, const std::string& name) {
    return "/proc/self/fd/" + std::to_string(folder) + "/" + name;
}

ino_t inode(int file) {
    struct stat status {};
    __real_fstat(file, &status);
    return status.st_ino;
}

/// Passes the result of a call on that makes a name in a folder.
int noteName(int result, int folder, const char* name) {
    if (result >= 0 && plan.watchesDisk) {
        unsyncedNames.push_back({reopened(folder), name});
    }
    return result;
}

/// Passes the result of a call on that writes into a file.
ssize_t noteContent(ssize_t result, int file) {
    if (result > 0 && plan.watchesDisk) {
        unsyncedContents.try_emplace(inode(file), reopened(file, O_WRONLY));
    }
    return result;
}

/// Counts a call, and says whether it is one to fail. `half` does half of it.
template <class Half>
bool fails(Half half) {
    if (plan.callsUntilThen != 0) {
        plan.callsUntilThen -= plan.callsUntilThen > 0 ? 1 : 0;
        return false;
    }
    plan.happened = true;
    if (--plan.fate.times == 0) {
        plan.callsUntilThen = FailingSystemCalls::never;
    }
    switch (plan.fate.effect) {
    case Effect::error:
        errno = plan.fate.error;
        return true;
    case Effect::interruption:
        plan.fate.interruption();
        return false;
    case Effect::powerFails:
        FailingSystemCalls::losePower(plan.fate.loss);
        break;
    case Effect::processEndsHalfway:
        half();
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

FailingSystemCalls::FailingSystemCalls(int number, const Fate& fate) {
    plan = {.callsUntilThen = number, .fate = fate, .watchesDisk = fate.effect != Effect::interruption};
}

FailingSystemCalls::~FailingSystemCalls() {
    plan = {};
}

bool FailingSystemCalls::happened() {
    return plan.happened;
}

void FailingSystemCalls::losePower(Loss loss) {
    for (const auto& [number, file] : unsyncedContents) {
        const off_t size = loss == Loss::halfOfContents ? lseek(file.get(), 0, SEEK_END) / 2 : 0;
        if (ftruncate(file.get(), size) != 0) {
            _exit(errno);
        }
    }
    if (loss != Loss::everything) {
        return;
    }
    for (; !unsyncedNames.empty(); unsyncedNames.pop_back()) {
        const UnsyncedName& lost = unsyncedNames.back();
        if (lost.oldFolder.get() >= 0) {
            __real_renameat(lost.folder.get(), lost.name.c_str(), lost.oldFolder.get(), lost.oldName.c_str());
            if (lost.replaced) {
                std::ofstream(pathOf(lost.folder.get(), lost.name)) << *lost.replaced;
            }
        } else {
            std::filesystem::remove_all(pathOf(lost.folder.get(), lost.name));
        }
    }
}

} // namespace Orvex::Testing

using namespace Orvex::Testing;
using Orvex::FileDescriptor;

extern "C" {

int __wrap_fsync(int file) {
    if (fails()) {
        return -1;
    }
    std::erase_if(unsyncedNames, [&](const auto& each) { return inode(each.folder.get()) == inode(file); });
    unsyncedContents.erase(inode(file));
    return 0;
}

int __real_mkdir(const char* path, mode_t mode);
int __wrap_mkdir(const char* path, mode_t mode) {
    if (fails()) {
        return -1;
    }
    const std::filesystem::path made(path);
    const int result = __real_mkdir(path, mode);
    const int error = errno;
    const FileDescriptor above(__real_open(made.parent_path().c_str(), O_RDONLY | O_DIRECTORY, 0));
    errno = error;
    return noteName(result, above.get(), made.filename().c_str());
}

int __real_mkdirat(int folder, const char* name, mode_t mode);
int __wrap_mkdirat(int folder, const char* name, mode_t mode) {
    return fails() ? -1 : noteName(__real_mkdirat(folder, name, mode), folder, name);
}

int __wrap_open(const char* path, int flags, mode_t mode) {
    return fails() ? -1 : __real_open(path, flags, mode);
}

int __real_openat(int folder, const char* name, int flags, mode_t mode);
int __wrap_openat(int folder, const char* name, int flags, mode_t mode) {
    if (fails()) {
        return -1;
    }
    const int file = __real_openat(folder, name, flags, mode);
    return (flags & O_CREAT) != 0 ? noteName(file, folder, name) : file;
}

DIR* __real_fdopendir(int folder);
DIR* __wrap_fdopendir(int folder) {
    return fails() ? nullptr : __real_fdopendir(folder);
}

int __real_flock(int file, int operation);
int __wrap_flock(int file, int operation) {
    return fails() ? -1 : __real_flock(file, operation);
}

int __wrap_fstat(int file, struct stat* status) {
    return fails() ? -1 : __real_fstat(file, status);
}

int __real_fstatat(int folder, const char* name, struct stat* status, int flags);
int __wrap_fstatat(int folder, const char* name, struct stat* status, int flags) {
    return fails() ? -1 : __real_fstatat(folder, name, status, flags);
}

int __real_stat(const char* path, struct stat* status);
int __wrap_stat(const char* path, struct stat* status) {
    return fails() ? -1 : __real_stat(path, status);
}

ssize_t __real_read(int file, void* bytes, size_t size);
ssize_t __wrap_read(int file, void* bytes, size_t size) {
    return fails() ? -1 : __real_read(file, bytes, size);
}

ssize_t __real_write(int file, const void* bytes, size_t size);
ssize_t __wrap_write(int file, const void* bytes, size_t size) {
    const size_t part = Orvex::Testing::plan.fate.copyError != 0 ? (size + 1) / 2 : size;
    return fails([=] { __real_write(file, bytes, part / 2); })
               ? -1
               : noteContent(__real_write(file, bytes, part), file);
}

ssize_t __real_copy_file_range(int in, off_t* inOffset, int out, off_t* outOffset, size_t size,
                               unsigned flags);
ssize_t __wrap_copy_file_range(int in, off_t* inOffset, int out, off_t* outOffset, size_t size,
                               unsigned flags) {
    const auto copy = [=](size_t part) {
        return __real_copy_file_range(in, inOffset, out, outOffset, part, flags);
    };
    if (fails([=] { copy(size / 2); })) {
        return -1;
    }
    if (Orvex::Testing::plan.fate.copyError != 0) {
        errno = Orvex::Testing::plan.fate.copyError;
        return errno < 0 ? 0 : -1;
    }
    return noteContent(copy(size), out);
}

int __real_unlinkat(int folder, const char* name, int flags);
int __wrap_unlinkat(int folder, const char* name, int flags) {
    return fails() ? -1 : __real_unlinkat(folder, name, flags);
}

int __wrap_renameat(int fromFolder, const char* from, int toFolder, const char* to) {
    if (fails()) {
        return -1;
    }
    std::optional<std::string> replaced;
    if (plan.watchesDisk && is_regular_file(pathOf(toFolder, to))) {
        std::ifstream file(pathOf(toFolder, to));
        replaced.emplace(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    const int result = __real_renameat(fromFolder, from, toFolder, to);
    if (result == 0 && plan.watchesDisk) {
        unsyncedNames.push_back({reopened(toFolder), to, reopened(fromFolder), from, std::move(replaced)});
    }
    return result;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
