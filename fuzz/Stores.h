#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// Shared by the targets that try files of a store.
namespace Orvex::Fuzzing {

/// A folder that is removed together with the object; in memory if /dev/shm exists.
class WorkingFolder {
  public:
    WorkingFolder();
    ~WorkingFolder();
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

    [[nodiscard]] std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

/// A store and the journal beside it, which is empty if there is none.
struct Files {
    std::string store;
    std::string journal;
};

/// Files that are the same in every run: of a whole store, and of one whose process died during a change.
struct ValidStores {
    Files whole;
    Files interrupted;

    explicit ValidStores(const std::filesystem::path& file);
};

[[nodiscard]] std::string bytesOf(const std::filesystem::path& file);
void writeBytes(const std::filesystem::path& file, std::string_view bytes);

/// Reads and changes a store in every way. Expects that no result is wrong, whatever its file holds.
void tryStore(const std::filesystem::path& file);

} // namespace Orvex::Fuzzing
