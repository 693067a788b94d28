#include "FailingDisk.h"

#include "Support.h"
#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>
#include <random>
#include <sqlite3.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Orvex::Testing {

namespace {

struct Change {
    enum class Kind { write, truncation, removal } kind;
    std::size_t offset;
    std::string bytes;
};

/// What is on the disk under a name, and what is on its way there.
struct Name {
    std::optional<std::string> synced;
    std::vector<Change> changes;
};

struct State {
    FailingDisk::Plan plan;
    bool happened = false;
    int acknowledged = 0;
    int locks = 0;
    std::map<std::string, Name> names;
};
State state;

sqlite3_vfs* system() {
    static sqlite3_vfs* const first = sqlite3_vfs_find(nullptr);
    return first;
}

/// Behind it is the system's own file.
struct File {
    sqlite3_file base;
    std::string path;
    bool isLocked;
    /// SQLite has a new file's name synced together with its content.
    bool hasNewName;
};

File& ours(sqlite3_file* file) {
    return *reinterpret_cast<File*>(file);
}

sqlite3_file* systems(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(&ours(file) + 1);
}

/// Does the first `size` bytes of a change.
void apply(const Change& change, std::size_t size, std::optional<std::string>& content) {
    if (change.kind == Change::Kind::removal) {
        content.reset();
        return;
    }
    std::string& bytes = content ? *content : content.emplace();
    if (change.kind == Change::Kind::truncation) {
        bytes.resize(change.offset);
    } else {
        bytes.resize(std::max(bytes.size(), change.offset + size));
        bytes.replace(change.offset, size, change.bytes, 0, size);
    }
}

void syncContent(Name& name) {
    for (const Change& change : std::exchange(name.changes, {})) {
        apply(change, change.bytes.size(), name.synced);
    }
}

void syncNames() {
    for (auto& [path, name] : state.names) {
        const auto removal =
            std::find_if(name.changes.rbegin(), name.changes.rend(),
                         [](const Change& change) { return change.kind == Change::Kind::removal; });
        if (removal != name.changes.rend()) {
            name.synced.reset();
            name.changes.erase(name.changes.begin(), removal.base());
        }
        if (!name.synced && std::filesystem::exists(path)) {
            name.synced.emplace();
        }
    }
}

/// The error that a call is to end with. When power fails halfway, `half` is what the call does.
int errorOf(FailingDisk::Calls call, const std::optional<Change>& half = {}, const std::string& path = "") {
    using Effect = FailingDisk::Effect;
    FailingDisk::Plan& plan = state.plan;
    if ((plan.calls & call) == 0 || plan.number < 0 || plan.number-- > 0) {
        return SQLITE_OK;
    }
    state.happened = true;
    switch (plan.effect) {
    case Effect::errors:
        plan.number = 0;
        [[fallthrough]];
    case Effect::error:
        return plan.error;
    case Effect::powerFailureHalfway:
        if (half) {
            state.names[path].changes.push_back(*half);
        }
        [[fallthrough]];
    case Effect::powerFailure:
        FailingDisk::losePower();
    case Effect::interruption:
        if (state.locks == 0) {
            plan.interruption();
        }
    }
    return SQLITE_OK;
}

/// In place of the system call, while a read is to be short.
ssize_t readHalf(int file, void* bytes, std::size_t size, off_t offset) {
    return pread(file, bytes, (size + 1) / 2, offset);
}

int readBytes(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
    const int error = errorOf(FailingDisk::reads);
    if (error != SQLITE_OK && error != SQLITE_IOERR_SHORT_READ) {
        return error;
    }
    const auto call = error == SQLITE_OK ? nullptr : reinterpret_cast<sqlite3_syscall_ptr>(readHalf);
    system()->xSetSystemCall(system(), "pread64", call);
    return systems(file)->pMethods->xRead(systems(file), bytes, size, offset);
}

template <auto method, FailingDisk::Calls call, class... Arguments>
int passOn(sqlite3_file* file, Arguments... arguments) {
    const int error = errorOf(call);
    return error != SQLITE_OK ? error : (systems(file)->pMethods->*method)(systems(file), arguments...);
}

void noteLock(File& file, bool isLocked) {
    state.locks += int{isLocked} - int{std::exchange(file.isLocked, isLocked)};
}

int closeFile(sqlite3_file* file) {
    noteLock(ours(file), false);
    const int result = systems(file)->pMethods->xClose(systems(file));
    std::destroy_at(&ours(file));
    return result;
}

int writeBytes(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    const auto length = static_cast<std::size_t>(size);
    Change change{Change::Kind::write, static_cast<std::size_t>(offset),
                  std::string(static_cast<const char*>(bytes), length)};
    const Change half{change.kind, change.offset, change.bytes.substr(0, length / 2)};
    const std::string& path = ours(file).path;
    if (const int error = errorOf(FailingDisk::changes, half, path); error != SQLITE_OK) {
        return error;
    }
    state.names[path].changes.push_back(std::move(change));
    return systems(file)->pMethods->xWrite(systems(file), bytes, size, offset);
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
    if (const int error = errorOf(FailingDisk::changes); error != SQLITE_OK) {
        return error;
    }
    state.names[ours(file).path].changes.push_back(
        {Change::Kind::truncation, static_cast<std::size_t>(size), ""});
    return systems(file)->pMethods->xTruncate(systems(file), size);
}

int sync(sqlite3_file* file, int /*flags*/) {
    if (const int error = errorOf(FailingDisk::changes); error != SQLITE_OK) {
        return error;
    }
    syncContent(state.names[ours(file).path]);
    if (std::exchange(ours(file).hasNewName, false)) {
        syncNames();
    }
    return SQLITE_OK;
}

int lock(sqlite3_file* file, int level) {
    const int result = passOn<&sqlite3_io_methods::xLock, FailingDisk::others>(file, level);
    if (result == SQLITE_OK) {
        noteLock(ours(file), true);
    }
    return result;
}

int unlock(sqlite3_file* file, int level) {
    noteLock(ours(file), level != SQLITE_LOCK_NONE);
    return systems(file)->pMethods->xUnlock(systems(file), level);
}

int control(sqlite3_file* file, int operation, void* argument) {
    if (operation == SQLITE_FCNTL_LAST_ERRNO && state.happened) {
        *static_cast<int*>(argument) = EIO;
        return SQLITE_OK;
    }
    return systems(file)->pMethods->xFileControl(systems(file), operation, argument);
}

int sectorSize(sqlite3_file* file) {
    return systems(file)->pMethods->xSectorSize(systems(file));
}

int characteristics(sqlite3_file* file) {
    return systems(file)->pMethods->xDeviceCharacteristics(systems(file));
}

int openFile(sqlite3_vfs* /*ours*/, const char* path, sqlite3_file* file, int flags, int* flagsUsed) {
    static const sqlite3_io_methods methods{
        .iVersion = 1,
        .xClose = closeFile,
        .xRead = readBytes,
        .xWrite = writeBytes,
        .xTruncate = truncate,
        .xSync = sync,
        .xFileSize = passOn<&sqlite3_io_methods::xFileSize, FailingDisk::others>,
        .xLock = lock,
        .xUnlock = unlock,
        .xCheckReservedLock = passOn<&sqlite3_io_methods::xCheckReservedLock, FailingDisk::others>,
        .xFileControl = control,
        .xSectorSize = sectorSize,
        .xDeviceCharacteristics = characteristics,
        .xShmMap = nullptr,
        .xShmLock = nullptr,
        .xShmBarrier = nullptr,
        .xShmUnmap = nullptr,
        .xFetch = nullptr,
        .xUnfetch = nullptr};
    file->pMethods = nullptr;
    if (const int error = errorOf(FailingDisk::others); error != SQLITE_OK) {
        return error;
    }
    const bool isNew = (flags & SQLITE_OPEN_CREATE) != 0;
    std::construct_at(&ours(file), File{{&methods}, path == nullptr ? "" : path, false, isNew});
    const int result = system()->xOpen(system(), path, systems(file), flags, flagsUsed);
    if (result != SQLITE_OK) {
        std::destroy_at(&ours(file));
        file->pMethods = nullptr;
    }
    return result;
}

int removeFile(sqlite3_vfs* /*ours*/, const char* path, int syncsFolder) {
    if (const int error = errorOf(FailingDisk::changes); error != SQLITE_OK) {
        return error;
    }
    state.names[path].changes.push_back({Change::Kind::removal, 0, ""});
    const int result = system()->xDelete(system(), path, 0);
    if (syncsFolder != 0) {
        syncNames();
    }
    return result;
}

int lookUp(sqlite3_vfs* /*ours*/, const char* path, int flags, int* result) {
    const int error = errorOf(FailingDisk::others);
    return error != SQLITE_OK ? error : system()->xAccess(system(), path, flags, result);
}

sqlite3_vfs failing;

} // namespace

FailingDisk::FailingDisk() {
    failing = *system();
    failing.zName = "failing";
    failing.szOsFile += static_cast<int>(sizeof(File));
    failing.xOpen = openFile;
    failing.xDelete = removeFile;
    failing.xAccess = lookUp;
    sqlite3_vfs_register(&failing, 1);
}

FailingDisk::~FailingDisk() {
    sqlite3_vfs_unregister(&failing);
    state = {};
}

void FailingDisk::plan(const char* folder, Plan plan) {
    state = {};
    state.plan = std::move(plan);
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        state.names[file.path()].synced = readFile(file);
    }
}

bool FailingDisk::end() {
    state.plan = {};
    return std::exchange(state.happened, false);
}

void FailingDisk::acknowledge() {
    ++state.acknowledged;
}

void FailingDisk::losePower() {
    std::minstd_rand choice(state.plan.fate);
    for (const auto& [path, name] : state.names) {
        std::optional<std::string> content = name.synced;
        for (const Change& change : name.changes) {
            const std::size_t halves =
                state.plan.fate < firstChoice ? 2 * state.plan.fate : choice() / 64 % 3;
            if (halves > 0) {
                apply(change, change.bytes.size() * halves / 2, content);
            } else if (change.kind == Change::Kind::removal) {
                // What came later went into another file of this name.
                break;
            }
        }
        if (content) {
            writeFile(path, *content);
        } else {
            std::filesystem::remove(path);
        }
    }
    _exit(state.acknowledged);
}

} // namespace Orvex::Testing
