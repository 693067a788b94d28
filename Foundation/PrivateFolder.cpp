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

/// Makes new entries of a folder survive a crash. Returns an error number, or 0. It is not an error if the
/// folder must not be read, or is on a file system that cannot sync folders.
int sync(const std::filesystem::path& folder) {
    const FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.get() < 0) {
        return errno == EACCES ? 0 : errno;
    }
    return fsync(opened.get()) == 0 || errno == EINVAL || errno == EROFS ? 0 : errno;
}

} // namespace

void makePrivateFolders(const std::filesystem::path& path) {
    std::filesystem::path folder;
    for (const std::filesystem::path& component : path) {
        const std::filesystem::path above = folder;
        folder /= component;
        const bool isThere = mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST || errno == EISDIR;
        int error = isThere ? 0 : errno;
        if (error == 0 && !above.empty()) {
            // Even if the folder existed: the process that made it may have died before it synced its parent.
            error = sync(above);
        }
        if (error != 0) {
            throw std::system_error(error, std::generic_category(),
                                    "cannot make the folder " + inQuotes(folder.native()));
        }
    }
}

} // namespace Orvex
