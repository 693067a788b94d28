#pragma once

#include <filesystem>

namespace Orvex {

/// Makes the folder at an absolute path, and all missing folders above it, with mode 0700 (less if the umask
/// takes rights from the user). Syncs the parent of each, unless that is impossible. Throws
/// `std::system_error`. Does not notice if something else than a folder is in the way.
void makePrivateFolders(const std::filesystem::path& path);

} // namespace Orvex
