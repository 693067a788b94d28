#pragma once

#include <memory>
#include <string>

struct sqlite3;

namespace Orvex::SQLite {

/// A file system for SQLite (`sqlite3_vfs`) in which there is nothing but one store, its rollback journal and
/// their folder. It stands above the default one, and looks at every file when that is open already, so that
/// nobody can exchange it after the look.
///
/// - The folder is opened once; files are opened, looked up and removed in it, wherever its path leads by
///   then. No link is followed.
/// - In a folder where everybody may write, both files have to belong to the user or to root. Elsewhere they
///   may belong to anybody.
/// - A journal is one by what is in it, and has no second name. Nothing else is removed or written over.
/// - Whatever else SQLite asks for is refused: a write-ahead log, the file that a super-journal names, a
///   temporary file.
///
/// One is used by one thread at a time, and outlives the connections that use it.
class GuardedFiles {
  public:
    /// The store need not exist, its folder neither. `path` is absolute. Throws `std::bad_alloc`.
    explicit GuardedFiles(std::string path);
    ~GuardedFiles();
    GuardedFiles(const GuardedFiles&) = delete;
    GuardedFiles& operator=(const GuardedFiles&) = delete;

    /// The name of the file system, for `sqlite3_open_v2`.
    [[nodiscard]] const char* name() const noexcept;

    /// Why a file has been refused since this was asked last, as a clause for people; empty when none has.
    [[nodiscard]] std::string takeRefusal();
    /// The same, of the files that a connection uses; empty when it uses others.
    [[nodiscard]] static std::string takeRefusal(sqlite3* database);
    /// Says that there was no store when it was opened last.
    [[nodiscard]] bool isAbsent() const noexcept;

    /// The open store; negative when there is none. It must not be closed.
    [[nodiscard]] int descriptor() const noexcept;
    /// Says that a file with something in it has the journal's name.
    [[nodiscard]] bool hasJournal() const noexcept;

    class Implementation;

  private:
    std::unique_ptr<Implementation> implementation_;
};

} // namespace Orvex::SQLite
