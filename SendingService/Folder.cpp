#include "SendingService/Folder.h"

#include "Foundation/QuotedText.h"
#include "Orvex/store/SendingService.h"
#include <dirent.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Orvex {

Folder::Folder(int outer, const std::string& name, std::string path)
    : path_(std::move(path)),
      descriptor_(checked(openat(outer, name.c_str(), openFolder), "cannot open " + inQuotes(path_))) {
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

void Folder::sync() const {
    checked(fsync(get()), "cannot sync " + inQuotes(path_));
}

void Folder::lock() const {
    checked(flock(get(), LOCK_EX), "cannot lock " + inQuotes(path_));
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
    checked(renameat(source.get(), name.c_str(), target.get(), name.c_str()),
            "cannot move the message to " + inQuotes(target.path()));
    path_ = target.path() + "/" + name;
}

std::string Folder::pathOf(const std::string& name) const {
    return inQuotes(path_ + "/" + name);
}

std::vector<std::string> namesIn(int folder) {
    std::vector<std::string> names;
    // A descriptor of its own, since the list takes it over.
    const int listed = openat(folder, ".", openFolder);
    DIR* const list = listed < 0 ? nullptr : fdopendir(listed);
    if (list == nullptr) {
        close(listed);
        return names;
    }
    while (const dirent* const entry = readdir(list)) {
        const std::string_view name = &entry->d_name[0];
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    closedir(list);
    return names;
}

void writeAll(int file, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        bytes.remove_prefix(static_cast<std::size_t>(checked(written, "cannot write " + path)));
    }
}

} // namespace Orvex
