#pragma once

#include <filesystem>

namespace Orvex {

/// Makes the folder at an absolute path, and those above it, where they are missing: for the user alone (mode
/// 0700, or less where the umask takes rights from the user), and durably where the folder above can be
/// synced. Throws `std::system_error`; one of another kind in the way is not noticed.
void makePrivateFolders(const std::filesystem::path& path);

} // namespace Orvex
