#pragma once

#include <filesystem>

namespace Orvex::Bench {

/// Does the least work of the printer without colours, with ICU alone. For each text of a coloured list,
/// which was printed to this file: compiles the pattern of the escapes, strips them and counts the
/// characters.
void stripTexts(const std::filesystem::path& list);

/// Reads the files 1.plist, 2.plist and so on of a folder.
void readFiles(const std::filesystem::path& folder);

} // namespace Orvex::Bench
