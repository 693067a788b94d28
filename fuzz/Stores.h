#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// For the targets that try files of a store.
namespace Orvex::Fuzzing {

/// A folder in memory where there is one, gone with the process.
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

/// A store and the journal beside it, empty where there is none.
struct Files {
    std::string store;
    std::string journal;
};

/// A store with some messages, the same in every run, as it is, and as a process leaves it that ends while it
/// changes the store.
struct ValidStores {
    Files whole;
    Files interrupted;

    explicit ValidStores(const std::filesystem::path& file);
};

[[nodiscard]] std::string bytesOf(const std::filesystem::path& file);
void writeBytes(const std::filesystem::path& file, std::string_view bytes);

/// Reads a store in every way, and changes it in every way. What is wrong in the file must not make the store
/// do anything wrong.
void tryStore(const std::filesystem::path& file);

} // namespace Orvex::Fuzzing
