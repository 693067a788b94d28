#include "Faults.h"

#include "Foundation/FileDescriptor.h"
#include "Support.h"
#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <sqlite3.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

// With --wrap, the linker calls __wrap_name in place of a function, and the function itself is __real_name.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
int __real_open(const char* path, int flags, mode_t mode);
int __real_stat(const char* path, struct stat* status);
}

namespace Orvex::Testing {

namespace {

using std::filesystem::path;

Fault current;

/// In memory that forked processes share.
bool& callCame = *static_cast<bool*>(
    mmap(nullptr, sizeof(bool), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

/// A file or folder as it was when it was last synced.
struct Synced {
    /// Keeps the number of the inode from being used again. Opened with O_PATH, so closing it drops no locks.
    FileDescriptor handle;
    std::string content{};
    std::map<std::string, ino_t> names{};
};

path watched;
std::map<ino_t, Synced> disk;

path pathOf(int descriptor) {
    return descriptor == AT_FDCWD ? "." : "/proc/self/fd/" + std::to_string(descriptor);
}

ino_t inodeOf(const path& at) {
    struct stat status {};
    __real_stat(at.c_str(), &status);
    const auto [place, isNew] = disk.try_emplace(status.st_ino);
    if (isNew) {
        place->second.handle = FileDescriptor(__real_open(at.c_str(), O_PATH | O_CLOEXEC, 0));
    }
    return status.st_ino;
}

void sync(const path& at) {
    if (watched.empty() || !canonical(at).native().starts_with(watched.native())) {
        return;
    }
    Synced& synced = disk.at(inodeOf(at));
    if (is_directory(at)) {
        synced.names.clear();
        for (const auto& entry : std::filesystem::directory_iterator(at)) {
            const ino_t inode = inodeOf(entry.path());
            // A rename reaches the disk as a whole.
            for (auto& [number, folder] : disk) {
                std::erase_if(folder.names, [&](const auto& name) { return name.second == inode; });
            }
            synced.names[entry.path().filename()] = inode;
        }
    } else {
        synced.content = readFile(at);
    }
}

/// Writes the file or folder as it was synced.
void restore(const path& at, const Synced& synced) {
    const path handle = pathOf(synced.handle.get());
    if (is_directory(handle)) {
        create_directory(at);
        for (const auto& [name, inode] : synced.names) {
            restore(at / name, disk.at(inode));
        }
    } else {
        writeFile(at, synced.content);
    }
    permissions(at, status(handle).permissions());
}

/// Counts a call. If it is to fail, sets errno and returns true. `half` does half of a write.
template <class Half>
bool fails(unsigned kind, Half half) {
    if ((current.calls & kind) == 0 || current.number < 0 || current.number-- > 0) {
        return false;
    }
    callCame = true;
    if (--current.times > 0) {
        current.number = 0;
    }
    switch (current.effect) {
    case Effect::error:
        errno = current.error;
        return true;
    case Effect::interruption:
        // It may end the fault that holds it.
        std::exchange(current.interruption, {})();
        return false;
    case Effect::processEndsHalfway:
    case Effect::powerFailsHalfway:
        half();
        break;
    case Effect::processEnds:
    case Effect::powerFails:
        break;
    }
    if (current.effect == Effect::powerFails || current.effect == Effect::powerFailsHalfway) {
        losePower(current.loss);
    }
    _exit(statusAtFault);
}
bool fails(unsigned kind = systemCalls) {
    return fails(kind, [] {});
}

} // namespace

Faults::Faults(Fault fault) {
    current = std::move(fault);
}

Faults::~Faults() {
    current = {};
}

bool Faults::happened() {
    return callCame;
}

int atEachCall(Fault fault, const std::function<void(const Fault&)>& attempt, int stride) {
    int attempts = -1;
    fault.number = 0;
    for (callCame = true; callCame && !testing::Test::HasFailure(); fault.number += stride) {
        SCOPED_TRACE(testing::Message() << "effect " << static_cast<int>(fault.effect) << ", error "
                                        << fault.error << ", result " << fault.result << ", loss "
                                        << fault.loss << " at call " << fault.number);
        callCame = false;
        attempt(fault);
        ++attempts;
    }
    return attempts;
}

void watchDisk(const path& folder) {
    disk.clear();
    watched = canonical(folder);
    sync(folder);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        sync(entry);
    }
}

void losePower(unsigned loss) {
    std::minstd_rand random(loss);
    const auto isKept = [&] { return loss == nothing || (loss >= firstChoice && random() / 64 % 2 == 0); };
    if (loss == contents || loss == halfOfContents || isKept()) {
        sync(watched);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(watched)) {
            if (entry.is_directory()) {
                sync(entry);
            }
        }
    }
    for (auto& [inode, synced] : disk) {
        const path handle = pathOf(synced.handle.get());
        if (is_directory(handle)) {
            continue;
        }
        const std::string now = readFile(handle);
        std::string& left = synced.content;
        if (loss == halfOfContents) {
            left = now.substr(0, (left.size() + now.size()) / 2);
        }
        if (isKept()) {
            left.resize(now.size());
        }
        constexpr std::size_t sector = 512;
        const std::size_t end = std::min(left.size(), now.size());
        for (std::size_t at = 0; at < end; at += sector) {
            if (isKept()) {
                left.replace(at, std::min(sector, end - at), now, at, std::min(sector, end - at));
            }
        }
    }
    for (const auto& entry : std::filesystem::directory_iterator(watched)) {
        remove_all(entry);
    }
    restore(watched, disk.at(inodeOf(watched)));
}

namespace {

/// An open file of SQLite. Behind it in memory is that of the real file system.
struct DiskFile {
    sqlite3_file base;
    /// Null if it has no name.
    const char* path;
    /// The file system syncs the name of a new journal together with its content.
    bool mayBeNewJournal;
};

sqlite3_vfs* realDisk() {
    static sqlite3_vfs* const found = sqlite3_vfs_find(nullptr);
    return found;
}

DiskFile& ours(sqlite3_file* file) {
    return *reinterpret_cast<DiskFile*>(file);
}

sqlite3_file* real(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(&ours(file) + 1);
}

template <auto method, unsigned kind = 0, class... Arguments>
int call(sqlite3_file* file, Arguments... arguments) {
    return fails(kind) ? current.result : (real(file)->pMethods->*method)(real(file), arguments...);
}

int writeBytes(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    const auto writeFirst = [=](int part) {
        return call<&sqlite3_io_methods::xWrite>(file, bytes, part, offset);
    };
    return fails(diskChanges, [=] { writeFirst(size / 2); }) ? current.result : writeFirst(size);
}

int syncFile(sqlite3_file* file, int /*flags*/) {
    if (fails(diskChanges)) {
        return current.result;
    }
    if (ours(file).path != nullptr) {
        sync(ours(file).path);
        if (std::exchange(ours(file).mayBeNewJournal, false)) {
            sync(path(ours(file).path).parent_path());
        }
    }
    return SQLITE_OK;
}

sqlite3_io_methods methods() {
    using All = sqlite3_io_methods;
    All all{};
    all.iVersion = 1;
    all.xClose = call<&All::xClose>;
    all.xRead = call<&All::xRead, diskReads>;
    all.xWrite = writeBytes;
    all.xTruncate = call<&All::xTruncate, diskChanges>;
    all.xSync = syncFile;
    all.xFileSize = call<&All::xFileSize, otherDiskCalls>;
    all.xLock = call<&All::xLock, otherDiskCalls>;
    all.xUnlock = call<&All::xUnlock>;
    all.xCheckReservedLock = call<&All::xCheckReservedLock, otherDiskCalls>;
    all.xFileControl = call<&All::xFileControl>;
    all.xSectorSize = call<&All::xSectorSize>;
    all.xDeviceCharacteristics = call<&All::xDeviceCharacteristics>;
    return all;
}

int openFile(sqlite3_vfs* /*disk*/, const char* path, sqlite3_file* file, int flags, int* flagsUsed) {
    static const sqlite3_io_methods ourMethods = methods();
    file->pMethods = nullptr;
    if (fails(diskOpens)) {
        return current.result;
    }
    const int result = realDisk()->xOpen(realDisk(), path, real(file), flags, flagsUsed);
    if (result == SQLITE_OK) {
        constexpr int newJournal = SQLITE_OPEN_CREATE | SQLITE_OPEN_MAIN_JOURNAL;
        ours(file) = {{&ourMethods}, path, (flags & newJournal) == newJournal};
    }
    return result;
}

int removeFile(sqlite3_vfs* /*disk*/, const char* file, int syncsFolder) {
    const int result = fails(diskChanges) ? current.result : realDisk()->xDelete(realDisk(), file, 0);
    if (result == SQLITE_OK && syncsFolder != 0) {
        sync(path(file).parent_path());
    }
    return result;
}

int lookUp(sqlite3_vfs* /*disk*/, const char* path, int flags, int* result) {
    return fails(otherDiskCalls) ? current.result : realDisk()->xAccess(realDisk(), path, flags, result);
}

sqlite3_vfs failing;

} // namespace

FailingDisk::FailingDisk() {
    failing = *realDisk();
    failing.zName = "failing";
    failing.szOsFile += static_cast<int>(sizeof(DiskFile));
    failing.xOpen = openFile;
    failing.xDelete = removeFile;
    failing.xAccess = lookUp;
    sqlite3_vfs_register(&failing, 1);
}

FailingDisk::~FailingDisk() {
    sqlite3_vfs_unregister(&failing);
}

void FailingDisk::watchMemory() {
    static sqlite3_mem_methods real;
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real);
    sqlite3_mem_methods watched = real;
    watched.xMalloc = [](int size) { return fails(allocations) ? nullptr : real.xMalloc(size); };
    watched.xRealloc = [](void* old, int size) {
        return fails(allocations) ? nullptr : real.xRealloc(old, size);
    };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &watched);
    // SQLite's reserve of memory (lookaside) would hide most allocations.
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
    sqlite3_vfs_register(&failing, 1);
}

#define WRAP(type, name, parameters, arguments, failure)                                                     \
    type __real_##name parameters;                                                                           \
    type __wrap_##name parameters {                                                                          \
        return fails() ? (failure) : __real_##name arguments;                                                \
    }

extern "C" {

WRAP(int, fstat, (int file, struct stat* status), (file, status), -1)
WRAP(int, fstatat, (int folder, const char* name, struct stat* status, int flags),
     (folder, name, status, flags), -1)
WRAP(int, stat, (const char* path, struct stat* status), (path, status), -1)
WRAP(int, open, (const char* path, int flags, mode_t mode), (path, flags, mode), -1)
WRAP(int, openat, (int folder, const char* name, int flags, mode_t mode), (folder, name, flags, mode), -1)
WRAP(DIR*, fdopendir, (int folder), (folder), nullptr)
WRAP(int, flock, (int file, int operation), (file, operation), -1)
WRAP(int, mkdir, (const char* path, mode_t mode), (path, mode), -1)
WRAP(int, mkdirat, (int folder, const char* name, mode_t mode), (folder, name, mode), -1)
WRAP(int, unlinkat, (int folder, const char* name, int flags), (folder, name, flags), -1)
WRAP(int, renameat, (int fromFolder, const char* from, int toFolder, const char* to),
     (fromFolder, from, toFolder, to), -1)
WRAP(ssize_t, read, (int file, void* bytes, size_t size), (file, bytes, size), -1)

int __wrap_fsync(int file) {
    if (fails()) {
        return -1;
    }
    sync(pathOf(file));
    return 0;
}

ssize_t __real_write(int file, const void* bytes, size_t size);
ssize_t __wrap_write(int file, const void* bytes, size_t size) {
    const size_t part = current.copyError != 0 ? (size + 1) / 2 : size;
    return fails(systemCalls, [=] { __real_write(file, bytes, part / 2); }) ? -1
                                                                            : __real_write(file, bytes, part);
}

ssize_t __real_copy_file_range(int in, off_t* inOffset, int out, off_t* outOffset, size_t size,
                               unsigned flags);
ssize_t __wrap_copy_file_range(int in, off_t* inOffset, int out, off_t* outOffset, size_t size,
                               unsigned flags) {
    const auto copy = [=](size_t part) {
        return __real_copy_file_range(in, inOffset, out, outOffset, part, flags);
    };
    if (fails(systemCalls, [=] { copy(size / 2); })) {
        return -1;
    }
    if (current.copyError != 0) {
        errno = current.copyError;
        return errno < 0 ? 0 : -1;
    }
    return copy(size);
}

} // extern "C"

} // namespace Orvex::Testing
// NOLINTEND(bugprone-reserved-identifier)
