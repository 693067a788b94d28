#include "Outbox/Folder.h"

#include "Foundation/QuotedText.h"
#include "Foundation/SystemCalls.h"
#include "Orvex/store/SendingService.h"
#include <algorithm>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace Orvex {

namespace {

int openInner(int outer, const std::string& name, const std::string& path) {
    const int opened = openat(outer, name.c_str(), openFolder);
    if (opened < 0) {
        const int error = errno;
        struct stat status {};
        if (fstatat(outer, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode)) {
            throw SendingServiceError(inQuotes(path) +
                                      " is a symbolic link, which may lead messages elsewhere; "
                                      "put a folder in its place");
        }
        errno = error;
    }
    return checked(opened, "cannot open " + inQuotes(path));
}

} // namespace

Folder::Folder(int outer, const std::string& name, std::string path)
    : path_(std::move(path)), descriptor_(openInner(outer, name, path_)) {
    struct stat status {};
    checked(fstat(get(), &status), "cannot look at " + inQuotes(path_));
    if (status.st_uid != geteuid()) {
        throw SendingServiceError(inQuotes(path_) + " belongs to user " + std::to_string(status.st_uid) +
                                  "; an outbox, its tmp/ and its new/ must belong to the user who sends, " +
                                  std::to_string(geteuid()));
    }
}

Folder Folder::inner(const std::string& name) const {
    if (mkdirat(get(), name.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        checked(-1, "cannot make " + pathOf(name));
    }
    return {*this, name};
}

FileDescriptor Folder::makeFile(const std::string& name) const {
    return FileDescriptor(
        checked(openat(get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR),
                "cannot make " + pathOf(name)));
}

void Folder::writeFile(const std::string& name, std::string_view content) const {
    const FileDescriptor file = makeFile(name);
    writeAll(file.get(), content, pathOf(name));
    checked(fsync(file.get()), "cannot sync " + pathOf(name));
}

void Folder::sync() const {
    checked(fsync(get()), "cannot sync " + inQuotes(path_));
}

void Folder::refuseUnlessPrivate() const {
    struct stat status {};
    checked(fstat(get(), &status), "cannot look at " + inQuotes(path_));
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw SendingServiceError(inQuotes(path_) +
                                  " is open to others, who could keep messages from being sent; close it: "
                                  "chmod go= " +
                                  inQuotes(path_));
    }
}

void Folder::lock(std::chrono::milliseconds longest) const {
    using std::chrono::steady_clock;
    constexpr std::chrono::milliseconds longestPause{64};
    const steady_clock::time_point deadline = steady_clock::now() + longest;
    for (std::chrono::milliseconds pause{1}; flock(get(), LOCK_EX | LOCK_NB) != 0;
         pause = std::min(2 * pause, longestPause)) {
        if (errno != EWOULDBLOCK) {
            checked(-1, "cannot lock " + inQuotes(path_));
        }
        if (steady_clock::now() >= deadline) {
            throw SendingServiceError("another process has kept " + inQuotes(path_) + " locked for " +
                                      std::to_string(longest.count() / 1000) +
                                      " s; lslocks shows which; try again when it has ended");
        }
        std::this_thread::sleep_for(pause);
    }
}

bool Folder::tryLock() const {
    return flock(get(), LOCK_EX | LOCK_NB) == 0;
}

void Folder::unlock() const {
    flock(get(), LOCK_UN);
}

bool Folder::has(const std::string& name, int file) const {
    struct stat there {};
    struct stat opened {};
    return fstatat(get(), name.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0 && fstat(file, &opened) == 0 &&
           there.st_dev == opened.st_dev && there.st_ino == opened.st_ino;
}

void Folder::move(const Folder& source, const Folder& target, const std::string& name) {
    std::string moved = target.path() + "/" + name;
    checked(renameat(source.get(), name.c_str(), target.get(), name.c_str()),
            "cannot move the message to " + inQuotes(target.path()));
    path_ = std::move(moved);
}

std::string Folder::pathOf(const std::string& name) const {
    return inQuotes(path_ + "/" + name);
}

void writeAll(int file, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t written = uninterrupted([&] { return write(file, bytes.data(), bytes.size()); });
        bytes.remove_prefix(static_cast<std::size_t>(checked(written, "cannot write " + path)));
    }
}

} // namespace Orvex
