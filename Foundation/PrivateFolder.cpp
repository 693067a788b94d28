#include "Foundation/PrivateFolder.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/QuotedText.h"
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Orvex {

namespace {

/// Makes what was made in a folder survive a crash. One that may not be read cannot be synced either, nor can
/// one of a file system that does not know how: that is no reason to give up.
bool sync(const std::filesystem::path& folder) {
    const FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.get() < 0) {
        return errno == EACCES;
    }
    return fsync(opened.get()) == 0 || errno == EINVAL || errno == EROFS;
}

} // namespace

void makePrivateFolders(const std::filesystem::path& path) {
    std::filesystem::path folder;
    for (const std::filesystem::path& component : path) {
        const std::filesystem::path above = folder;
        folder /= component;
        const bool isThere = mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST || errno == EISDIR;
        // Also above one that was there: who made it may have died before it was synced.
        if (!isThere || (!above.empty() && !sync(above))) {
            throw std::system_error(errno, std::generic_category(),
                                    "cannot make the folder " + inQuotes(folder.native()));
        }
    }
}

} // namespace Orvex
