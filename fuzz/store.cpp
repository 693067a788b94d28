#include "Fuzzing.h"
#include "Stores.h"
#include <algorithm>

namespace Orvex::Fuzzing {

namespace {

/// Applies patches of four bytes. The lowest bit of the first byte selects the store or its journal; the next
/// two are the offset, and the last is the new byte. An offset behind the end truncates the file instead. If
/// any patch selects the journal, both files are those of an interrupted change.
Files patched(const ValidStores& valid, std::string_view patches) {
    bool hasJournal = false;
    for (std::size_t i = 0; i + 4 <= patches.size(); i += 4) {
        hasJournal = hasJournal || (patches[i] & 1) != 0;
    }
    const Files& original = hasJournal ? valid.interrupted : valid.whole;
    Files files = original;
    for (; patches.size() >= 4; patches.remove_prefix(4)) {
        const auto member = (patches[0] & 1) != 0 ? &Files::journal : &Files::store;
        std::string& bytes = files.*member;
        const std::size_t size = (original.*member).size();
        const std::size_t where = std::size_t{static_cast<unsigned char>(patches[1])} << 8U |
                                  static_cast<unsigned char>(patches[2]);
        if (where < bytes.size()) {
            bytes[where] = patches[3];
        } else if (where >= size) {
            bytes.resize(std::min(bytes.size(), (where - size) * 16 + 1));
        }
    }
    return files;
}

} // namespace

/// The input is a list of patches for a valid store.
void tryInput(std::string_view input) {
    static const WorkingFolder folder;
    static const ValidStores valid(folder / "valid.db");
    static const std::filesystem::path file = folder / "messages.db";
    static const std::filesystem::path journal = folder / "messages.db-journal";
    const Files files = patched(valid, input);
    writeBytes(file, files.store);
    writeBytes(journal, files.journal);
    tryStore(file);
    std::filesystem::remove(journal);
}

} // namespace Orvex::Fuzzing
