#pragma once

#include <filesystem>

namespace Orvex::Bench {

/// What the printer without colours has to do at least, with ICU alone: for each text of a coloured list, as
/// printed to this file, compiles the pattern of the escapes, strips them and counts the characters.
void stripTexts(const std::filesystem::path& list);

/// Reads each file of a folder, 1.plist, 2.plist and so on, and nothing else.
void readFiles(const std::filesystem::path& folder);

} // namespace Orvex::Bench
