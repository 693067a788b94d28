#include "ZelvoMessageStore/GuardedFiles.h"

#include "Foundation/FileDescriptor.h"
#include "ZelvoMessageStore/FileFormat.h"
#include "ZelvoMessageStore/StoreFolder.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <sqlite3.h>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace Orvex::SQLite {

using Name = StoreFolder::Name;
using Refusal = StoreFolder::Refusal;

/// The `sqlite3_vfs` that SQLite gets. It calls the default one, which opens, looks up and removes files
/// through three system calls that can be replaced: during such a call, and in its thread only, they are
/// ours.
class GuardedFiles::Implementation {
  public:
    explicit Implementation(std::string path);
    ~Implementation() { sqlite3_vfs_unregister(&files_); }
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    [[nodiscard]] const char* name() const noexcept { return name_.c_str(); }
    [[nodiscard]] bool isAbsent() const noexcept { return isAbsent_; }
    [[nodiscard]] StoreFolder& folder() noexcept { return folder_; }

    /// While it lives, SQLite's system calls in this thread are those of these files.
    class Active {
      public:
        explicit Active(Implementation& files) noexcept : before_(std::exchange(inThisThread, &files)) {}
        ~Active() { inThisThread = before_; }
        Active(const Active&) = delete;
        Active& operator=(const Active&) = delete;

      private:
        Implementation* before_;
    };

    // Called by SQLite.
    static int openFile(sqlite3_vfs* files, const char* path, sqlite3_file* file, int flags, int* flagsUsed);
    static int removeFile(sqlite3_vfs* files, const char* path, int syncsFolder);
    static int lookUp(sqlite3_vfs* files, const char* path, int flags, int* result);
    static int copyPath(sqlite3_vfs* files, const char* path, int size, char* copy);
    static int closeFile(sqlite3_file* file);

    // Called by the default file system.
    static int systemOpen(const char* path, int flags, int mode);
    static int systemStat(const char* path, struct stat* status);
    static int systemUnlink(const char* path);

  private:
    static Implementation& ours(sqlite3_vfs* files) { return *static_cast<Implementation*>(files->pAppData); }
    static void replaceSystemCalls(sqlite3_vfs& below);

    /// Returns SQLite's code for it.
    int refused(Refusal refusal) noexcept {
        folder_.refuse(refusal);
        return SQLITE_IOERR_ACCESS;
    }

    static thread_local Implementation* inThisThread;

    StoreFolder folder_;
    std::string name_;
    sqlite3_vfs& below_;
    sqlite3_vfs files_;

    // The result of the current call, or of the last one.
    int opened_ = -1;
    int openError_ = 0;
    bool opensStore_ = false;
    int lookUpError_ = 0;

    bool isAbsent_ = false;
};

thread_local GuardedFiles::Implementation* GuardedFiles::Implementation::inThisThread = nullptr;

namespace {

using Implementation = GuardedFiles::Implementation;

/// An open file. That of the default file system follows it in memory.
struct alignas(sqlite3_int64) File {
    sqlite3_file base;
    Implementation* files;
    bool isStore;
};

File& opened(sqlite3_file* file) {
    return *reinterpret_cast<File*>(file);
}

sqlite3_file* below(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(&opened(file) + 1);
}

template <auto method, class... Arguments>
int callBelow(sqlite3_file* file, Arguments... arguments) {
    const Implementation::Active active(*opened(file).files);
    return (below(file)->pMethods->*method)(below(file), arguments...);
}

/// Without its index, SQLite does not open a write-ahead log.
int refuseIndexOfLog(sqlite3_file* /*file*/, int, int, int, void volatile** /*memory*/) {
    return SQLITE_IOERR_SHMMAP;
}

sqlite3_io_methods methods() {
    sqlite3_io_methods all{};
    // Version 3 would map the file into memory.
    all.iVersion = 2;
    all.xClose = Implementation::closeFile;
    all.xRead = callBelow<&sqlite3_io_methods::xRead>;
    all.xWrite = callBelow<&sqlite3_io_methods::xWrite>;
    all.xTruncate = callBelow<&sqlite3_io_methods::xTruncate>;
    all.xSync = callBelow<&sqlite3_io_methods::xSync>;
    all.xFileSize = callBelow<&sqlite3_io_methods::xFileSize>;
    all.xLock = callBelow<&sqlite3_io_methods::xLock>;
    all.xUnlock = callBelow<&sqlite3_io_methods::xUnlock>;
    all.xCheckReservedLock = callBelow<&sqlite3_io_methods::xCheckReservedLock>;
    all.xFileControl = callBelow<&sqlite3_io_methods::xFileControl>;
    all.xSectorSize = callBelow<&sqlite3_io_methods::xSectorSize>;
    all.xDeviceCharacteristics = callBelow<&sqlite3_io_methods::xDeviceCharacteristics>;
    all.xShmMap = refuseIndexOfLog;
    all.xShmUnmap = [](sqlite3_file* /*file*/, int /*isDeleted*/) { return SQLITE_OK; };
    return all;
}

using Open = int (*)(const char*, int, int);
using Stat = int (*)(const char*, struct stat*);
using Unlink = int (*)(const char*);

/// The system calls that ours replace.
std::atomic<Open> openBehind = nullptr;
std::atomic<Stat> statBehind = nullptr;
std::atomic<Unlink> unlinkBehind = nullptr;

/// Replaces a system call of SQLite's, again if somebody has restored it.
template <class Call>
void replace(sqlite3_vfs& below, const char* name, Call call, std::atomic<Call>& behind) {
    const auto replacement = reinterpret_cast<sqlite3_syscall_ptr>(call);
    const sqlite3_syscall_ptr current = below.xGetSystemCall(&below, name);
    // A replacement by somebody else, made after ours, calls ours already.
    if (current != nullptr && current != replacement &&
        (behind == nullptr || reinterpret_cast<Call>(current) == behind)) {
        behind = reinterpret_cast<Call>(current);
        below.xSetSystemCall(&below, name, replacement);
    }
}

sqlite3_vfs& defaultFiles() {
    sqlite3_vfs* const files = sqlite3_vfs_find(nullptr);
    if (files == nullptr) {
        throw std::bad_alloc();
    }
    return *files;
}

} // namespace

Implementation::Implementation(std::string path)
    : folder_(std::move(path)), below_(defaultFiles()), files_(below_) {
    replaceSystemCalls(below_);
    // One for each connection, with state of its own.
    name_ = "orvex-" + std::to_string(reinterpret_cast<std::uintptr_t>(this));
    files_.zName = name_.c_str();
    files_.pAppData = this;
    files_.szOsFile += static_cast<int>(sizeof(File));
    files_.xOpen = openFile;
    files_.xDelete = removeFile;
    files_.xAccess = lookUp;
    files_.xFullPathname = copyPath;
    if (sqlite3_vfs_register(&files_, 0) != SQLITE_OK) {
        throw std::bad_alloc();
    }
}

void Implementation::replaceSystemCalls(sqlite3_vfs& below) {
    static std::mutex mutex;
    const std::scoped_lock lock(mutex);
    constexpr int firstWithSystemCalls = 3;
    if (below.iVersion >= firstWithSystemCalls && below.xSetSystemCall != nullptr) {
        replace<Open>(below, "open", systemOpen, openBehind);
        replace<Stat>(below, "stat", systemStat, statBehind);
        replace<Unlink>(below, "unlink", systemUnlink, unlinkBehind);
    }
}

int Implementation::systemOpen(const char* path, int flags, int mode) {
    Implementation* const files = inThisThread;
    // SQLite opens the null device in place of a closed standard stream.
    if (files == nullptr || std::string_view(path) == "/dev/null") {
        return openBehind.load()(path, flags, mode);
    }
    StoreFolder& folder = files->folder_;
    const Name name = folder.nameOf(path);
    if (name == Name::folder) {
        return folder.openItself(flags);
    }
    if (name != Name::store && name != Name::journal) {
        errno = EACCES;
        return -1;
    }
    // If SQLite cannot open a file to write, it tries to read it, whatever the error was.
    constexpr std::array readOnlyErrors = {0, EINTR, EACCES, EPERM, EROFS, ETXTBSY};
    if (folder.hasRefused() ||
        std::find(readOnlyErrors.begin(), readOnlyErrors.end(), files->openError_) == readOnlyErrors.end()) {
        errno = files->openError_;
        return -1;
    }
    constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
    files->opened_ = folder.open(name, flags, name == Name::store ? ownerOnly : static_cast<mode_t>(mode));
    if (files->opened_ >= 0) {
        files->openError_ = 0;
    } else if (files->openError_ == 0) {
        // Keep the first error: the second attempt cannot create a file and says that there is none.
        files->openError_ = errno;
    }
    return files->opened_;
}

int Implementation::systemStat(const char* path, struct stat* status) {
    Implementation* const files = inThisThread;
    if (files == nullptr) {
        return statBehind.load()(path, status);
    }
    const Name name = files->folder_.nameOf(path);
    if (name == Name::other || name == Name::folder) {
        errno = EACCES;
        return -1;
    }
    // SQLite looks for an open descriptor of the store to use again, which would be an unchecked one.
    if (files->opensStore_ && files->opened_ < 0) {
        errno = ENOENT;
        return -1;
    }
    const int result = files->folder_.status(name, *status);
    files->lookUpError_ = result == 0 ? 0 : errno;
    return result;
}

int Implementation::systemUnlink(const char* path) {
    Implementation* const files = inThisThread;
    if (files == nullptr) {
        return unlinkBehind.load()(path);
    }
    if (files->folder_.nameOf(path) != Name::journal) {
        errno = EACCES;
        return -1;
    }
    return files->folder_.removeJournal();
}

int Implementation::openFile(sqlite3_vfs* files, const char* path, sqlite3_file* file, int flags,
                             int* flagsUsed) {
    Implementation& self = ours(files);
    file->pMethods = nullptr;
    const Name name = path == nullptr ? Name::other : self.folder_.nameOf(path);
    if (name == Name::writeAheadLog) {
        return self.refused({Refusal::Kind::log, name});
    }
    constexpr int kinds = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_TEMP_DB |
                          SQLITE_OPEN_TEMP_JOURNAL | SQLITE_OPEN_TRANSIENT_DB | SQLITE_OPEN_SUBJOURNAL |
                          SQLITE_OPEN_SUPER_JOURNAL | SQLITE_OPEN_WAL;
    const bool isStore = name == Name::store && (flags & kinds) == SQLITE_OPEN_MAIN_DB;
    const bool isJournal = name == Name::journal && (flags & kinds) == SQLITE_OPEN_MAIN_JOURNAL;
    if (!isStore && !isJournal) {
        return self.refused(
            {path == nullptr ? Refusal::Kind::error : Refusal::Kind::superJournal, name, 0, ENOTSUP});
    }
    self.folder_.forgetRefusal();
    self.opened_ = -1;
    self.openError_ = 0;
    self.opensStore_ = isStore;
    int result = SQLITE_OK;
    {
        const Active active(self);
        result = self.below_.xOpen(&self.below_, path, below(file), flags, flagsUsed);
    }
    self.opensStore_ = false;
    if (result == SQLITE_OK && self.opened_ < 0) {
        // Another default file system or other system calls have been installed.
        below(file)->pMethods->xClose(below(file));
        result = self.refused({Refusal::Kind::error, name, 0, ENOTSUP});
    }
    if (result != SQLITE_OK) {
        if (isStore) {
            self.isAbsent_ = self.openError_ == ENOENT;
            if (self.openError_ != 0 && !self.folder_.hasRefused()) {
                self.folder_.refuse({Refusal::Kind::error, name, 0, self.openError_});
            }
        }
        return self.folder_.hasRefused() ? SQLITE_IOERR_ACCESS : result;
    }
    static const sqlite3_io_methods ourMethods = methods();
    if (isStore) {
        self.folder_.setStore(self.opened_);
    }
    new (file) File{{&ourMethods}, &self, isStore};
    return SQLITE_OK;
}

int Implementation::closeFile(sqlite3_file* file) {
    if (opened(file).isStore) {
        opened(file).files->folder().setStore(-1);
    }
    return callBelow<&sqlite3_io_methods::xClose>(file);
}

int Implementation::removeFile(sqlite3_vfs* files, const char* path, int syncsFolder) {
    Implementation& self = ours(files);
    const Name name = self.folder_.nameOf(path);
    if (name != Name::journal) {
        return self.refused({Refusal::Kind::superJournal, name});
    }
    self.folder_.forgetRefusal();
    const FileDescriptor journal(self.folder_.open(name, O_RDONLY, 0));
    if (journal.get() < 0 && errno != ENOENT) {
        return self.folder_.hasRefused() ? SQLITE_IOERR_ACCESS : SQLITE_IOERR_DELETE;
    }
    const Active active(self);
    return self.below_.xDelete(&self.below_, path, syncsFolder);
}

int Implementation::lookUp(sqlite3_vfs* files, const char* path, int flags, int* result) {
    Implementation& self = ours(files);
    const Name name = self.folder_.nameOf(path);
    // Otherwise a journal names this file, and SQLite drops such a journal if the file does not exist.
    if ((name != Name::journal && name != Name::writeAheadLog) || flags != SQLITE_ACCESS_EXISTS) {
        return self.refused({Refusal::Kind::superJournal, name});
    }
    int error = SQLITE_OK;
    self.lookUpError_ = 0;
    {
        const Active active(self);
        error = self.below_.xAccess(&self.below_, path, flags, result);
    }
    if (self.lookUpError_ != 0 && self.lookUpError_ != ENOENT) {
        // SQLite would ignore a journal whose lookup fails.
        return self.refused({Refusal::Kind::error, name, 0, self.lookUpError_});
    }
    if (error == SQLITE_OK && *result != 0 && name == Name::writeAheadLog) {
        const std::optional<DatabaseHeader> store = DatabaseHeader::read(self.folder_.store());
        const bool usesLog = store && store->usesWriteAheadLog();
        return self.refused({usesLog ? Refusal::Kind::log : Refusal::Kind::strayLog, name});
    }
    return error;
}

int Implementation::copyPath(sqlite3_vfs* files, const char* path, int size, char* copy) {
    const std::string& ourPath = ours(files).folder_.storePath();
    if (path != ourPath || ourPath.size() >= static_cast<std::size_t>(size)) {
        errno = ENAMETOOLONG;
        return SQLITE_CANTOPEN;
    }
    *std::copy(ourPath.begin(), ourPath.end(), copy) = '\0';
    return SQLITE_OK;
}

GuardedFiles::GuardedFiles(std::string path)
    : implementation_(std::make_unique<Implementation>(std::move(path))) {}

GuardedFiles::~GuardedFiles() = default;

const char* GuardedFiles::name() const noexcept {
    return implementation_->name();
}

std::string GuardedFiles::takeRefusal() {
    return implementation_->folder().takeRefusal();
}

std::string GuardedFiles::takeRefusal(sqlite3* database) {
    sqlite3_vfs* files = nullptr;
    return sqlite3_file_control(database, "main", SQLITE_FCNTL_VFS_POINTER, &files) == SQLITE_OK &&
                   files != nullptr && files->xOpen == Implementation::openFile
               ? static_cast<Implementation*>(files->pAppData)->folder().takeRefusal()
               : "";
}

bool GuardedFiles::isAbsent() const noexcept {
    return implementation_->isAbsent();
}

int GuardedFiles::descriptor() const noexcept {
    return implementation_->folder().store();
}

bool GuardedFiles::hasJournal() const noexcept {
    return implementation_->folder().hasJournal();
}

} // namespace Orvex::SQLite
