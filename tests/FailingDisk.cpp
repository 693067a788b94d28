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

/// A write, a truncation when there are no bytes, or a removal.
struct Change {
    std::size_t offset = 0;
    std::string bytes{};
    bool isRemoval = false;
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
    std::map<std::string, Name> names;
};
State state;

sqlite3_vfs* realDisk() {
    static sqlite3_vfs* const disk = sqlite3_vfs_find(nullptr);
    return disk;
}

/// Behind it in memory is the real disk's own file.
struct File {
    sqlite3_file base;
    Name* name;
    /// SQLite has the name of a file that it may have made synced together with its content.
    bool mayBeNew;
};

File& ours(sqlite3_file* file) {
    return *reinterpret_cast<File*>(file);
}

template <auto method, class... Arguments>
int callReal(sqlite3_file* file, Arguments... arguments) {
    auto* const real = reinterpret_cast<sqlite3_file*>(&ours(file) + 1);
    return (real->pMethods->*method)(real, arguments...);
}

/// Does the first `size` bytes of a change.
void apply(const Change& change, std::size_t size, std::optional<std::string>& content) {
    if (change.isRemoval) {
        content.reset();
        return;
    }
    std::string& bytes = content ? *content : content.emplace();
    bytes.resize(change.bytes.empty() ? change.offset : std::max(bytes.size(), change.offset + size));
    bytes.replace(std::min(change.offset, bytes.size()), size, change.bytes, 0, size);
}

void syncNames() {
    for (auto& [path, name] : state.names) {
        const auto removal = std::find_if(name.changes.rbegin(), name.changes.rend(),
                                          [](auto& each) { return each.isRemoval; });
        if (removal != name.changes.rend()) {
            name.synced.reset();
            name.changes.erase(name.changes.begin(), removal.base());
        }
        if (!name.synced && std::filesystem::exists(path)) {
            name.synced.emplace();
        }
    }
}

/// The error that a call is to end with: one on this file, if it is on an open one, and one that makes this
/// change, if it makes one.
int errorOf(FailingDisk::Calls call, sqlite3_file* file = nullptr, Change change = {}) {
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
        errno = EIO;
        return plan.error;
    case Effect::powerFailureHalfway:
        if (file != nullptr && !change.bytes.empty()) {
            change.bytes.resize(change.bytes.size() / 2);
            ours(file).name->changes.push_back(change);
        }
        [[fallthrough]];
    case Effect::powerFailure:
        FailingDisk::losePower();
    case Effect::interruption:
        plan.interruption();
    }
    return SQLITE_OK;
}

/// Makes a change of a file by way of `call`, unless it fails.
template <class Call>
int make(sqlite3_file* file, Change change, Call call) {
    const int error = errorOf(FailingDisk::changes, file, change);
    if (error != SQLITE_OK) {
        return error;
    }
    ours(file).name->changes.push_back(std::move(change));
    return call();
}

int writeBytes(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    const std::string text(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
    return make(file, {static_cast<std::size_t>(offset), text},
                [=] { return callReal<&sqlite3_io_methods::xWrite>(file, bytes, size, offset); });
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
    return make(file, {static_cast<std::size_t>(size)},
                [=] { return callReal<&sqlite3_io_methods::xTruncate>(file, size); });
}

int syncFile(sqlite3_file* file, int /*flags*/) {
    const int error = errorOf(FailingDisk::changes, file);
    if (error == SQLITE_OK) {
        Name& name = *ours(file).name;
        for (const Change& change : std::exchange(name.changes, {})) {
            apply(change, change.bytes.size(), name.synced);
        }
        if (std::exchange(ours(file).mayBeNew, false)) {
            syncNames();
        }
    }
    return error;
}

template <auto method, FailingDisk::Calls kind = FailingDisk::others, class... Arguments>
int callUnlessItFails(sqlite3_file* file, Arguments... arguments) {
    const int error = errorOf(kind, file);
    return error != SQLITE_OK ? error : callReal<method>(file, arguments...);
}

sqlite3_io_methods methods() {
    sqlite3_io_methods all{};
    all.iVersion = 1;
    all.xClose = callReal<&sqlite3_io_methods::xClose>;
    all.xRead = callUnlessItFails<&sqlite3_io_methods::xRead, FailingDisk::reads>;
    all.xWrite = writeBytes;
    all.xTruncate = truncateFile;
    all.xSync = syncFile;
    all.xFileSize = callUnlessItFails<&sqlite3_io_methods::xFileSize>;
    all.xLock = callUnlessItFails<&sqlite3_io_methods::xLock>;
    all.xUnlock = callReal<&sqlite3_io_methods::xUnlock>;
    all.xCheckReservedLock = callUnlessItFails<&sqlite3_io_methods::xCheckReservedLock>;
    all.xFileControl = callReal<&sqlite3_io_methods::xFileControl>;
    all.xSectorSize = callReal<&sqlite3_io_methods::xSectorSize>;
    all.xDeviceCharacteristics = callReal<&sqlite3_io_methods::xDeviceCharacteristics>;
    return all;
}

int openFile(sqlite3_vfs* /*disk*/, const char* path, sqlite3_file* file, int flags, int* flagsUsed) {
    static const sqlite3_io_methods ourMethods = methods();
    file->pMethods = nullptr;
    int result = errorOf(FailingDisk::opens);
    if (result == SQLITE_OK) {
        auto* const real = reinterpret_cast<sqlite3_file*>(&ours(file) + 1);
        result = realDisk()->xOpen(realDisk(), path, real, flags, flagsUsed);
    }
    if (result == SQLITE_OK) {
        Name& name = state.names[path == nullptr ? "" : path];
        ours(file) = {{&ourMethods}, &name, (flags & SQLITE_OPEN_CREATE) != 0};
    }
    return result;
}

int removeFile(sqlite3_vfs* /*disk*/, const char* path, int syncsFolder) {
    if (const int error = errorOf(FailingDisk::changes); error != SQLITE_OK) {
        return error;
    }
    state.names[path].changes.push_back({.isRemoval = true});
    const int result = realDisk()->xDelete(realDisk(), path, 0);
    if (result == SQLITE_OK && syncsFolder != 0) {
        syncNames();
    }
    return result;
}

int lookUp(sqlite3_vfs* /*disk*/, const char* path, int flags, int* result) {
    const int error = errorOf(FailingDisk::others);
    return error != SQLITE_OK ? error : realDisk()->xAccess(realDisk(), path, flags, result);
}

sqlite3_vfs failing;

} // namespace

FailingDisk::FailingDisk() {
    failing = *realDisk();
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

void FailingDisk::watchMemory() {
    static sqlite3_mem_methods real;
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real);
    sqlite3_mem_methods watched = real;
    watched.xMalloc = [](int size) { return errorOf(allocations) == 0 ? real.xMalloc(size) : nullptr; };
    watched.xRealloc = [](void* old, int size) {
        return errorOf(allocations) == 0 ? real.xRealloc(old, size) : nullptr;
    };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &watched);
    // A reserve would hide most allocations.
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
    sqlite3_vfs_register(&failing, 1);
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
            } else if (change.isRemoval) {
                // What came later went into another file of this name.
                break;
            }
        }
        std::filesystem::remove(path);
        if (content) {
            writeFile(path, *content);
        }
    }
    _exit(state.acknowledged);
}

} // namespace Orvex::Testing
