#include "ZelvoMessageStore/StoreFolder.h"

#include "Foundation/QuotedText.h"
#include "Foundation/SystemCalls.h"
#include "ZelvoMessageStore/FileFormat.h"
#include <array>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <pwd.h>
#include <span>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Orvex::SQLite {

namespace {

// SQLite is compiled with offsets of 64 bits.
static_assert(sizeof(off_t) == 8);

std::string userName(uid_t user) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the result is copied at once
    const passwd* const entry = getpwuid(user);
    return entry != nullptr ? inQuotes(entry->pw_name) : std::to_string(user);
}

} // namespace

StoreFolder::StoreFolder(std::string storePath)
    : storePath_(std::move(storePath)),
      folder_(::open(folderPath_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (folder_.get() < 0) {
        folderError_ = errno;
    }
}

StoreFolder::Name StoreFolder::nameOf(std::string_view path) const noexcept {
    return path == storePath_     ? Name::store
           : path == journalPath_ ? Name::journal
           : path == logPath_     ? Name::writeAheadLog
           : path == folderPath_  ? Name::folder
                                  : Name::other;
}

const char* StoreFolder::inFolder(Name name) const noexcept {
    const std::string& path = name == Name::store     ? storePath_
                              : name == Name::journal ? journalPath_
                                                      : logPath_;
    const char* const last = path.c_str() + folderSize_ + 1;
    return *last == '\0' ? "." : last;
}

int StoreFolder::open(Name name, int flags, mode_t mode) noexcept {
    if (folder_.get() < 0) {
        errno = folderError_;
        return -1;
    }
    struct stat found {};
    // Opening a device may have effects, so it is checked before as well. Only root can exchange a file for a
    // device.
    if (status(name, found) == 0 && !checkKind(found, name)) {
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
    if (!checkOpened(file, name)) {
        close(file);
        errno = EACCES;
        return -1;
    }
    return file;
}

int StoreFolder::openItself(int flags) const noexcept {
    return openat(folder_.get(), ".", flags | O_DIRECTORY | O_CLOEXEC);
}

int StoreFolder::status(Name name, struct stat& status) const noexcept {
    return fstatat(folder_.get(), inFolder(name), &status, AT_SYMLINK_NOFOLLOW);
}

int StoreFolder::removeJournal() const noexcept {
    return unlinkat(folder_.get(), inFolder(Name::journal), 0);
}

bool StoreFolder::hasJournal() const noexcept {
    struct stat found {};
    return status(Name::journal, found) == 0 && (!S_ISREG(found.st_mode) || found.st_size > 0);
}

bool StoreFolder::checkKind(const struct stat& status, Name name) noexcept {
    if (S_ISREG(status.st_mode)) {
        return true;
    }
    using enum Refusal::Kind;
    refuse({S_ISLNK(status.st_mode) ? link : S_ISDIR(status.st_mode) ? folder : notRegular, name});
    return false;
}

bool StoreFolder::checkOpened(int file, Name name) noexcept {
    using enum Refusal::Kind;
    struct stat status {};
    struct stat folderStatus {};
    if (fstat(file, &status) != 0 || fstat(folder_.get(), &folderStatus) != 0) {
        refuse({error, name, 0, errno});
        return false;
    }
    if (!checkKind(status, name)) {
        return false;
    }
    const bool isOpenToAll = (folderStatus.st_mode & S_IWOTH) != 0;
    if (isOpenToAll && status.st_uid != geteuid() && status.st_uid != 0) {
        refuse({owner, name, status.st_uid});
        return false;
    }
    // Somebody may have given this name to another file of the user's.
    if ((isOpenToAll || name == Name::journal) && status.st_nlink > 1) {
        refuse({secondName, name});
        return false;
    }
    if (name == Name::journal && !isOurJournal(file)) {
        refuse({notJournal, name});
        return false;
    }
    return true;
}

bool StoreFolder::isOurJournal(int file) const noexcept {
    std::array<unsigned char, leastSectorSize> buffer{};
    const ssize_t size = readBeginning(file, buffer.data(), buffer.size());
    const std::optional<DatabaseHeader> store = DatabaseHeader::read(store_);
    return size >= 0 && canBeginJournal(std::span(buffer).first(static_cast<std::size_t>(size)),
                                        store ? store->pageSize() : 0);
}

void StoreFolder::refuse(Refusal refusal) noexcept {
    refusal_ = refusal;
    errno = EACCES;
}

std::string StoreFolder::takeRefusal() {
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
    const std::string anybody = "anybody may have put it into its folder, where everybody may write";
    const std::string help = isStore ? "; use one in a folder of your own" : "; move it away";
    switch (refusal->kind) {
    case link:
        return isStore ? "it is a symbolic link, which may lead anywhere; give the path of the file itself"
                       : file + " is a symbolic link" + help;
    case folder:
        return isStore ? "it is a folder, not a file" : file + " is a folder" + help;
    case notRegular:
        return isStore ? "it is not a regular file" : file + " is something else" + help;
    case owner:
        return file + " belongs to the user " + userName(refusal->owner) + ", and " + anybody + help;
    case secondName:
        return file + " has another name as well (a hard link)" + (isStore ? ", and " + anybody : "") + help;
    case notJournal:
        return file + " is something else" + help;
    case superJournal:
        return file + " names another file, to be deleted" + help;
    case log:
        return "it has a write-ahead log, which is not used, as anybody who may write into its folder "
               "could put one there; turn it off: sqlite3 " +
               inQuotes(storePath_) + " 'PRAGMA journal_mode = DELETE'";
    case strayLog:
        return file + " does not belong to it" + help;
    case error:
        break;
    }
    return file + " cannot be opened: " + std::generic_category().message(refusal->error);
}

} // namespace Orvex::SQLite
