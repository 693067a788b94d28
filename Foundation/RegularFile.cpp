#include "Foundation/RegularFile.h"

#include "Foundation/SystemCalls.h"
#include <cerrno>
#include <fcntl.h>
#include <system_error>

namespace Orvex {

namespace {

[[noreturn]] void failToRead(int error) {
    throw FileError("it cannot be read: " + std::generic_category().message(error));
}

void refuseUnlessRegular(const struct stat& status) {
    if (S_ISDIR(status.st_mode)) {
        throw FileError("it is a folder, not a file");
    }
    if (!S_ISREG(status.st_mode)) {
        throw FileError("it is not a regular file");
    }
}

bool isSame(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

std::optional<RegularFile> RegularFile::openIfExists(const std::string& path) {
    struct stat status {};
    const bool exists = stat(path.c_str(), &status) == 0;
    if (exists) {
        refuseUnlessRegular(status);
    }
    // It may have been removed or replaced since `stat`.
    FileDescriptor file(exists ? open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1);
    if (file.get() < 0 && errno == ENOENT) {
        return std::nullopt;
    }
    if (file.get() < 0 || fstat(file.get(), &status) != 0) {
        failToRead(errno);
    }
    refuseUnlessRegular(status);
    return RegularFile(std::move(file), status);
}

RegularFile::RegularFile(const std::string& path) {
    std::optional<RegularFile> file = openIfExists(path);
    if (!file) {
        failToRead(ENOENT);
    }
    *this = *std::move(file);
}

bool RegularFile::hasChanged() const {
    struct stat now {};
    if (fstat(file_.get(), &now) != 0) {
        failToRead(errno);
    }
    return now.st_size != status_.st_size || !isSame(now.st_mtim, status_.st_mtim) ||
           !isSame(now.st_ctim, status_.st_ctim);
}

std::size_t RegularFile::read(std::span<char> buffer) const {
    const ssize_t size = readBeginning(file_.get(), buffer.data(), buffer.size());
    if (size < 0) {
        failToRead(errno);
    }
    return static_cast<std::size_t>(size);
}

std::string readWholeFile(const std::string& path, std::uintmax_t largest) {
    return readWholeFile(RegularFile(path), largest);
}

std::string readWholeFile(const RegularFile& file, std::uintmax_t largest) {
    if (file.size() > largest) {
        throw FileError("it has " + std::to_string(file.size()) + " bytes, more than the " +
                        std::to_string(largest) + " that are read");
    }
    std::string content(file.size(), '\0');
    content.resize(file.read(content));
    return content;
}

} // namespace Orvex
