#include "Foundation/PrivateFolder.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/QuotedText.h"
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Orvex {

void makePrivateFolders(const std::filesystem::path& path) {
    std::filesystem::path folder;
    for (const std::filesystem::path& component : path) {
        const std::filesystem::path parent = folder;
        folder /= component;
        if (mkdir(folder.c_str(), S_IRWXU) == 0) {
            // A folder above that cannot be read cannot be synced either; that is no reason to give up.
            const FileDescriptor above(open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            if (chmod(folder.c_str(), S_IRWXU) == 0 && (above.get() < 0 || fsync(above.get()) == 0)) {
                continue;
            }
            const int error = errno;
            rmdir(folder.c_str());
            errno = error;
        } else if (errno == EEXIST || errno == EISDIR) {
            continue;
        }
        throw std::system_error(errno, std::generic_category(),
                                "cannot make the folder " + inQuotes(folder.native()));
    }
}

} // namespace Orvex
