#include "Fuzzing.h"
#include "Stores.h"
#include <algorithm>
#include <filesystem>
#include <set>

namespace Orvex::Fuzzing {

namespace {

std::set<std::string> namesIn(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path().filename());
    }
    return names;
}

} // namespace

/// The input is the size of the store in three bytes, the store, and its journal.
void tryInput(std::string_view input) {
    static const WorkingFolder folder;
    static const std::filesystem::path file = folder / "messages.db";
    static const std::filesystem::path journal = folder / "messages.db-journal";
    constexpr std::size_t sizeOfSize = 3;
    if (input.size() < sizeOfSize) {
        return;
    }
    std::size_t size = 0;
    for (const char byte : input.substr(0, sizeOfSize)) {
        size = size << 8U | static_cast<unsigned char>(byte);
    }
    input.remove_prefix(sizeOfSize);
    writeBytes(file, input.substr(0, size));
    writeBytes(journal, input.substr(std::min(size, input.size())));
    writeBytes(folder / "diary", "my diary");
    // A journal may name a file in the current folder, which must not be one of the fuzzer's.
    const std::filesystem::path before = std::filesystem::current_path();
    current_path(folder / "");
    tryStore(file);
    current_path(before);
    expect(bytesOf(folder / "diary") == "my diary", "nothing but the store and its journal is changed");
    std::filesystem::remove(journal);
    expect(namesIn(folder / "") == std::set<std::string>{"messages.db", "diary"}, "nothing else is made");
}

} // namespace Orvex::Fuzzing
