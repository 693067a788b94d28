#include "ZelvoMessageStore/GuardedFiles.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/QuotedText.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <optional>
#include <pwd.h>
#include <sqlite3.h>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Orvex::SQLite {

namespace {

// SQLite's own code has been compiled with offsets of 64 bits.
static_assert(sizeof(off_t) == 8);

enum class Name { store, journal, writeAheadLog, folder, other };

/// Why a file is refused. The sentence is composed when somebody asks, which may throw.
struct Refusal {
    enum class Kind {
        link,
        folder,
        notRegular,
        owner,
        secondName,
        notJournal,
        superJournal,
        log,
        strayLog,
        error
    };

    Kind kind;
    Name name;
    uid_t owner = 0;
    int error = 0;
};

std::string userName(uid_t user) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the copy is made at once
    const passwd* const entry = getpwuid(user);
    return entry != nullptr ? inQuotes(entry->pw_name) : std::to_string(user);
}

// https://www.sqlite.org/fileformat.html, sections 1.3 and 3
constexpr std::size_t pageSizeOffset = 16;
constexpr std::size_t writeVersionOffset = 18;
constexpr unsigned char writeAheadVersion = 2;
constexpr std::array<unsigned char, 8> journalMagic = {0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd7};
constexpr std::size_t recordCountOffset = 8;
constexpr std::size_t sectorSizeOffset = 20;
constexpr std::size_t journalPageSizeOffset = 24;
constexpr std::size_t journalHeaderSize = 28;
/// SQLite fills the header with zeros to the end of a sector, which has this many bytes or more.
constexpr std::size_t leastSectorSize = 512;

std::uint32_t bigEndian(const unsigned char* bytes, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8U | bytes[i];
    }
    return value;
}

/// Reads a file's first bytes, as many as there are; negative after an error.
template <std::size_t size>
ssize_t readBeginning(int file, std::array<unsigned char, size>& buffer) {
    ssize_t count = -1;
    do {
        count = pread(file, buffer.data(), buffer.size(), 0);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool isPowerOfTwo(std::uint32_t value, std::uint32_t least, std::uint32_t greatest) {
    return value >= least && value <= greatest && (value & (value - 1)) == 0;
}

/// Says that a file may begin like this and be the journal of a store with pages of so many bytes (0: not
/// known). SQLite writes the magic number last, over zeros, and may be interrupted; and one of its modes puts
/// zeros over the whole header after use. `size` is that of the least sector, or of a shorter file.
bool isJournal(const unsigned char* header, std::size_t size, std::uint32_t pageSize) {
    const unsigned char* const end = header + size;
    if (std::all_of(header, end, [](unsigned char byte) { return byte == 0; })) {
        return true;
    }
    const std::size_t magicSize = std::min(size, journalMagic.size());
    const auto firstOther = std::mismatch(header, header + magicSize, journalMagic.begin()).first;
    if (firstOther == header + magicSize) {
        return true;
    }
    // Here the number has not been written, or not all of it.
    constexpr std::uint32_t leastSector = 32;
    constexpr std::uint32_t leastPage = 512;
    constexpr std::uint32_t greatest = 65536;
    const std::uint32_t journalPageSize =
        size < journalHeaderSize ? 0 : bigEndian(header + journalPageSizeOffset, 4);
    return size >= journalHeaderSize &&
           std::all_of(firstOther, header + recordCountOffset + 4,
                       [](unsigned char byte) { return byte == 0; }) &&
           isPowerOfTwo(bigEndian(header + sectorSizeOffset, 4), leastSector, greatest) &&
           isPowerOfTwo(journalPageSize, leastPage, greatest) &&
           (pageSize == 0 || journalPageSize == pageSize);
}

} // namespace

/// The `sqlite3_vfs` that SQLite is given. Its calls go down to the default one, which opens, looks up and
/// removes files by three system calls that can be replaced. Ours take the place of them in this thread as
/// long as such a call lasts.
class GuardedFiles::Implementation {
  public:
    explicit Implementation(std::string path);
    ~Implementation() { sqlite3_vfs_unregister(&files_); }
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    [[nodiscard]] const char* name() const noexcept { return name_.c_str(); }
    [[nodiscard]] std::string takeRefusal();
    [[nodiscard]] bool isAbsent() const noexcept { return isAbsent_; }
    [[nodiscard]] int descriptor() const noexcept { return store_; }
    [[nodiscard]] bool hasJournal() const noexcept;

    /// While it lives, the system calls of SQLite in this thread are those of these files.
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

    // Called by the file system below.
    static int systemOpen(const char* path, int flags, int mode);
    static int systemStat(const char* path, struct stat* status);
    static int systemUnlink(const char* path);

    static int closeFile(sqlite3_file* file);

  private:
    static Implementation& ours(sqlite3_vfs* files) { return *static_cast<Implementation*>(files->pAppData); }

    [[nodiscard]] Name nameOf(std::string_view path) const noexcept;
    [[nodiscard]] const char* inFolder(Name name) const noexcept;

    /// Returns `false`, or the code for SQLite, with the reason noted.
    bool refuse(Refusal refusal) noexcept {
        refusal_ = refusal;
        errno = EACCES;
        return false;
    }
    int refused(Refusal refusal) noexcept {
        refuse(refusal);
        return SQLITE_IOERR_ACCESS;
    }

    int openInFolder(Name name, int flags, int mode) noexcept;
    [[nodiscard]] bool mayHaveKind(const struct stat& status, Name name) noexcept;
    [[nodiscard]] bool mayUse(int file, Name name) noexcept;
    [[nodiscard]] bool isOurJournal(int file) const noexcept;
    [[nodiscard]] bool usesWriteAheadLog() const noexcept;

    static void replaceSystemCalls(sqlite3_vfs& below);

    static thread_local Implementation* inThisThread;

    std::string path_;
    std::string journalPath_ = path_ + "-journal";
    std::string logPath_ = path_ + "-wal";
    std::size_t folderSize_ = path_.rfind('/');
    std::string folderPath_ = folderSize_ == 0 ? "/" : path_.substr(0, folderSize_);
    FileDescriptor folder_;
    int folderError_ = 0;
    std::string name_;
    sqlite3_vfs& below_;
    sqlite3_vfs files_;

    /// Of the call that lasts, or was the last: the file that was opened, or the error.
    int opened_ = -1;
    int openError_ = 0;
    bool opensStore_ = false;
    int lookUpError_ = 0;

    int store_ = -1;
    bool isAbsent_ = false;
    std::optional<Refusal> refusal_;
};

thread_local GuardedFiles::Implementation* GuardedFiles::Implementation::inThisThread = nullptr;

namespace {

using Implementation = GuardedFiles::Implementation;

/// An open file. Behind it in memory is that of the file system below.
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

/// SQLite opens a write-ahead log, which is refused, only where its index could be had.
int refuseIndexOfLog(sqlite3_file* /*file*/, int, int, int, void volatile** /*memory*/) {
    return SQLITE_IOERR_SHMMAP;
}

sqlite3_io_methods methods() {
    sqlite3_io_methods all{};
    // Not the third, which would map the file into memory.
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

/// The system calls that ours stand in front of.
std::atomic<Open> openBehind = nullptr;
std::atomic<Stat> statBehind = nullptr;
std::atomic<Unlink> unlinkBehind = nullptr;

/// Replaces a system call of SQLite's, again where it has been put back.
template <class Call>
void replace(sqlite3_vfs& below, const char* name, Call call, std::atomic<Call>& behind) {
    const auto replacement = reinterpret_cast<sqlite3_syscall_ptr>(call);
    const sqlite3_syscall_ptr current = below.xGetSystemCall(&below, name);
    // One that somebody else has put above ours calls ours already.
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
    : path_(std::move(path)),
      folder_(open(folderPath_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      below_(defaultFiles()),
      files_(below_) {
    if (folder_.get() < 0) {
        folderError_ = errno;
    }
    replaceSystemCalls(below_);
    // Another one for each connection, so that each has its own.
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

Name Implementation::nameOf(std::string_view path) const noexcept {
    return path == path_          ? Name::store
           : path == journalPath_ ? Name::journal
           : path == logPath_     ? Name::writeAheadLog
           : path == folderPath_  ? Name::folder
                                  : Name::other;
}

const char* Implementation::inFolder(Name name) const noexcept {
    const std::string& path = name == Name::store ? path_ : name == Name::journal ? journalPath_ : logPath_;
    const char* const last = path.c_str() + folderSize_ + 1;
    return *last == '\0' || name == Name::folder ? "." : last;
}

bool Implementation::hasJournal() const noexcept {
    struct stat status {};
    return fstatat(folder_.get(), inFolder(Name::journal), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           (!S_ISREG(status.st_mode) || status.st_size > 0);
}

bool Implementation::mayHaveKind(const struct stat& status, Name name) noexcept {
    using enum Refusal::Kind;
    return S_ISREG(status.st_mode)   ? true
           : S_ISLNK(status.st_mode) ? refuse({link, name})
           : S_ISDIR(status.st_mode) ? refuse({folder, name})
                                     : refuse({notRegular, name});
}

bool Implementation::isOurJournal(int file) const noexcept {
    std::array<unsigned char, leastSectorSize> header{};
    const ssize_t size = readBeginning(file, header);
    std::array<unsigned char, pageSizeOffset + 2> store{};
    std::uint32_t pageSize = 0;
    if (readBeginning(store_, store) == std::ssize(store)) {
        pageSize = bigEndian(store.data() + pageSizeOffset, 2);
        // 65536 does not fit.
        pageSize = pageSize == 1 ? 1U << 16U : pageSize;
    }
    return size >= 0 && isJournal(header.data(), static_cast<std::size_t>(size), pageSize);
}

bool Implementation::mayUse(int file, Name name) noexcept {
    using enum Refusal::Kind;
    struct stat status {};
    struct stat folderStatus {};
    if (fstat(file, &status) != 0 || fstat(folder_.get(), &folderStatus) != 0) {
        return refuse({error, name, 0, errno});
    }
    if (!mayHaveKind(status, name)) {
        return false;
    }
    const bool isOpenToAll = (folderStatus.st_mode & S_IWOTH) != 0;
    if (isOpenToAll && status.st_uid != geteuid() && status.st_uid != 0) {
        return refuse({owner, name, status.st_uid});
    }
    // Somebody may have given this name to a file of the user's.
    if ((isOpenToAll || name == Name::journal) && status.st_nlink > 1) {
        return refuse({secondName, name});
    }
    return name != Name::journal || isOurJournal(file) || refuse({notJournal, name});
}

int Implementation::openInFolder(Name name, int flags, int mode) noexcept {
    if (folder_.get() < 0) {
        errno = folderError_;
        return -1;
    }
    struct stat status {};
    // To open a device may have effects. Somebody who may make one may do anything, so a look is enough.
    if (fstatat(folder_.get(), inFolder(name), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        !mayHaveKind(status, name)) {
        return -1;
    }
    constexpr int always = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int file = openat(folder_.get(), inFolder(name), flags | always, mode);
    if (file < 0) {
        if (errno == ELOOP) {
            refuse({Refusal::Kind::link, name});
        }
        return -1;
    }
    if (!mayUse(file, name)) {
        close(file);
        errno = EACCES;
        return -1;
    }
    return file;
}

int Implementation::systemOpen(const char* path, int flags, int mode) {
    Implementation* const files = inThisThread;
    // The latter stands in for a standard stream that is closed.
    if (files == nullptr || std::string_view(path) == "/dev/null") {
        return openBehind.load()(path, flags, mode);
    }
    const Name name = files->nameOf(path);
    if (name == Name::folder) {
        return openat(files->folder_.get(), ".", flags | O_DIRECTORY | O_CLOEXEC);
    }
    if (name != Name::store && name != Name::journal) {
        errno = EACCES;
        return -1;
    }
    // SQLite tries again to read what it could not open to write, whatever the reason was.
    constexpr std::array readOnlyErrors = {0, EINTR, EACCES, EPERM, EROFS, ETXTBSY};
    if (files->refusal_ ||
        std::find(readOnlyErrors.begin(), readOnlyErrors.end(), files->openError_) == readOnlyErrors.end()) {
        errno = files->openError_;
        return -1;
    }
    constexpr int forUserAlone = S_IRUSR | S_IWUSR;
    files->opened_ = files->openInFolder(name, flags, name == Name::store ? forUserAlone : mode);
    if (files->opened_ >= 0) {
        files->openError_ = 0;
    } else if (files->openError_ == 0) {
        // Of the first attempt: the second one, which makes no file, would say that there is none.
        files->openError_ = errno;
    }
    return files->opened_;
}

int Implementation::systemStat(const char* path, struct stat* status) {
    Implementation* const files = inThisThread;
    if (files == nullptr) {
        return statBehind.load()(path, status);
    }
    const Name name = files->nameOf(path);
    if (name == Name::other || name == Name::folder) {
        errno = EACCES;
        return -1;
    }
    // SQLite looks for a descriptor of the store that it has kept, and would take one that was not looked at.
    if (files->opensStore_ && files->opened_ < 0) {
        errno = ENOENT;
        return -1;
    }
    const int result = fstatat(files->folder_.get(), files->inFolder(name), status, AT_SYMLINK_NOFOLLOW);
    files->lookUpError_ = result == 0 ? 0 : errno;
    return result;
}

int Implementation::systemUnlink(const char* path) {
    Implementation* const files = inThisThread;
    if (files == nullptr) {
        return unlinkBehind.load()(path);
    }
    if (files->nameOf(path) != Name::journal) {
        errno = EACCES;
        return -1;
    }
    return unlinkat(files->folder_.get(), files->inFolder(Name::journal), 0);
}

int Implementation::openFile(sqlite3_vfs* files, const char* path, sqlite3_file* file, int flags,
                             int* flagsUsed) {
    Implementation& self = ours(files);
    file->pMethods = nullptr;
    const Name name = path == nullptr ? Name::other : self.nameOf(path);
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
    self.refusal_.reset();
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
        // Somebody has put another file system below, or other system calls.
        below(file)->pMethods->xClose(below(file));
        result = self.refused({Refusal::Kind::error, name, 0, ENOTSUP});
    }
    if (result != SQLITE_OK) {
        if (isStore) {
            self.isAbsent_ = self.openError_ == ENOENT;
            if (self.openError_ != 0 && !self.refusal_) {
                self.refuse({Refusal::Kind::error, name, 0, self.openError_});
            }
        }
        return self.refusal_ ? SQLITE_IOERR_ACCESS : result;
    }
    static const sqlite3_io_methods ourMethods = methods();
    if (isStore) {
        self.store_ = self.opened_;
    }
    new (file) File{{&ourMethods}, &self, isStore};
    return SQLITE_OK;
}

int Implementation::closeFile(sqlite3_file* file) {
    if (opened(file).isStore) {
        opened(file).files->store_ = -1;
    }
    return callBelow<&sqlite3_io_methods::xClose>(file);
}

int Implementation::removeFile(sqlite3_vfs* files, const char* path, int syncsFolder) {
    Implementation& self = ours(files);
    const Name name = self.nameOf(path);
    if (name != Name::journal) {
        return self.refused({Refusal::Kind::superJournal, name});
    }
    self.refusal_.reset();
    const FileDescriptor journal(self.openInFolder(name, O_RDONLY, 0));
    if (journal.get() < 0 && errno != ENOENT) {
        return self.refusal_ ? SQLITE_IOERR_ACCESS : SQLITE_IOERR_DELETE;
    }
    const Active active(self);
    return self.below_.xDelete(&self.below_, path, syncsFolder);
}

bool Implementation::usesWriteAheadLog() const noexcept {
    std::array<unsigned char, writeVersionOffset + 1> header{};
    return readBeginning(store_, header) == std::ssize(header) &&
           header[writeVersionOffset] == writeAheadVersion;
}

int Implementation::lookUp(sqlite3_vfs* files, const char* path, int flags, int* result) {
    Implementation& self = ours(files);
    const Name name = self.nameOf(path);
    // SQLite throws a journal away that names a file which is not there.
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
        // SQLite would take a journal that cannot be looked up for one that is not there.
        return self.refused({Refusal::Kind::error, name, 0, self.lookUpError_});
    }
    if (error == SQLITE_OK && *result != 0 && name == Name::writeAheadLog) {
        return self.refused({self.usesWriteAheadLog() ? Refusal::Kind::log : Refusal::Kind::strayLog, name});
    }
    return error;
}

int Implementation::copyPath(sqlite3_vfs* files, const char* path, int size, char* copy) {
    const std::string& ourPath = ours(files).path_;
    if (path != ourPath || ourPath.size() >= static_cast<std::size_t>(size)) {
        errno = ENAMETOOLONG;
        return SQLITE_CANTOPEN;
    }
    *std::copy(ourPath.begin(), ourPath.end(), copy) = '\0';
    return SQLITE_OK;
}

std::string Implementation::takeRefusal() {
    const std::optional<Refusal> refusal = std::exchange(refusal_, std::nullopt);
    if (!refusal) {
        return "";
    }
    using enum Refusal::Kind;
    const bool isStore = refusal->name == Name::store;
    const bool isLog = refusal->name == Name::writeAheadLog;
    const std::string file = isStore ? "it"
                                     : inQuotes(isLog ? logPath_ : journalPath_) + ", which would be its " +
                                           (isLog ? "write-ahead log," : "journal,");
    const std::string whoPutItThere = "anybody may have put it into its folder, where everybody may write";
    const std::string help = isStore ? "; use one in a folder of your own" : "; move it away";
    switch (refusal->kind) {
    case link:
        return isStore ? "it is a symbolic link, which may lead anywhere; give the path of the file itself"
                       : file + " is a symbolic link" + help;
    case folder:
        return isStore ? "it is a folder, not a file" : file + " is a folder" + help;
    case notRegular:
        return isStore ? "it is no regular file" : file + " is something else" + help;
    case owner:
        return file + " belongs to the user " + userName(refusal->owner) + ", and " + whoPutItThere + help;
    case secondName:
        return file + " has another name as well (a hard link)" + (isStore ? ", and " + whoPutItThere : "") +
               help;
    case notJournal:
        return file + " is something else" + help;
    case superJournal:
        return file + " names another file, to be deleted" + help;
    case log:
        return "it has a write-ahead log, which is not used, as anybody who may write into its folder "
               "could put one there; turn it off: sqlite3 " +
               inQuotes(path_) + " 'PRAGMA journal_mode = DELETE'";
    case strayLog:
        return file + " does not belong to it" + help;
    case error:
        break;
    }
    return file + " cannot be opened: " + std::generic_category().message(refusal->error);
}

GuardedFiles::GuardedFiles(std::string path)
    : implementation_(std::make_unique<Implementation>(std::move(path))) {}

GuardedFiles::~GuardedFiles() = default;

const char* GuardedFiles::name() const noexcept {
    return implementation_->name();
}

std::string GuardedFiles::takeRefusal() {
    return implementation_->takeRefusal();
}

std::string GuardedFiles::takeRefusal(sqlite3* database) {
    sqlite3_vfs* files = nullptr;
    return sqlite3_file_control(database, "main", SQLITE_FCNTL_VFS_POINTER, &files) == SQLITE_OK &&
                   files != nullptr && files->xOpen == Implementation::openFile
               ? static_cast<Implementation*>(files->pAppData)->takeRefusal()
               : "";
}

bool GuardedFiles::isAbsent() const noexcept {
    return implementation_->isAbsent();
}

int GuardedFiles::descriptor() const noexcept {
    return implementation_->descriptor();
}

bool GuardedFiles::hasJournal() const noexcept {
    return implementation_->hasJournal();
}

} // namespace Orvex::SQLite
