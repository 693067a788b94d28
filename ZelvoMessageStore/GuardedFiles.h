#pragma once

#include <memory>
#include <string>

struct sqlite3;

namespace Orvex::SQLite {

/// A file system for SQLite (`sqlite3_vfs`) that contains one store, its rollback journal and their folder.
/// It calls the default one, and checks every file after opening it, so that nobody can exchange the file
/// after the check.
///
/// - It opens the folder once, and uses files relative to that, even if the folder has been moved. It follows
///   no link.
/// - In a folder that everybody can write, both files must belong to the user or to root.
/// - A journal must have a journal's content and a single name. Nothing else is removed or overwritten.
/// - It refuses all other requests of SQLite: a write-ahead log, the file that a super-journal names, a
///   temporary file.
///
/// For use by one thread at a time. Must outlive the connections that use it.
class GuardedFiles {
  public:
    /// `path` is absolute; neither the store nor its folder need exist. Throws `std::bad_alloc`.
    explicit GuardedFiles(std::string path);
    ~GuardedFiles();
    GuardedFiles(const GuardedFiles&) = delete;
    GuardedFiles& operator=(const GuardedFiles&) = delete;

    /// The name of the file system, for `sqlite3_open_v2`.
    [[nodiscard]] const char* name() const noexcept;

    /// Explains the last refusal of a file in a clause for people, and forgets it; empty if there was none.
    [[nodiscard]] std::string takeRefusal();
    /// The same for the files of a connection; empty if it does not use a `GuardedFiles`.
    [[nodiscard]] static std::string takeRefusal(sqlite3* database);
    /// True if the store did not exist when SQLite last opened it.
    [[nodiscard]] bool isAbsent() const noexcept;

    /// The open store's descriptor; negative if none is open. The caller must not close it.
    [[nodiscard]] int descriptor() const noexcept;
    /// True if the journal exists and is not empty.
    [[nodiscard]] bool hasJournal() const noexcept;

    class Implementation;

  private:
    std::unique_ptr<Implementation> implementation_;
};

} // namespace Orvex::SQLite
