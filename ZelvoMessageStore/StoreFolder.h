#pragma once

#include "Foundation/FileDescriptor.h"
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>

namespace Orvex::SQLite {

/// Opens a store and its journal by names within their folder, whose descriptor it keeps. A file is checked
/// once it is open, so that nobody can exchange it after the check. Functions that fail set `errno`, like
/// system calls.
class StoreFolder {
  public:
    enum class Name { store, journal, writeAheadLog, folder, other };

    /// The reason why a file is refused. The sentence is composed on request, since that may throw.
    struct Refusal {
        enum class Kind {
            link,
            folder,
            notRegular,
            owner,
            secondName,
            notJournal,
            superJournal,
            log,
            strayLog,
            error
        };

        Kind kind;
        Name name;
        uid_t owner = 0;
        int error = 0;
    };

    /// `storePath` is absolute. Neither the store nor its folder need exist.
    explicit StoreFolder(std::string storePath);

    [[nodiscard]] const std::string& storePath() const noexcept { return storePath_; }
    [[nodiscard]] Name nameOf(std::string_view path) const noexcept;

    /// Returns a descriptor, or -1. Follows no link and opens regular files only.
    [[nodiscard]] int open(Name name, int flags, mode_t mode) noexcept;
    /// Opens the folder itself, for fsync.
    [[nodiscard]] int openItself(int flags) const noexcept;
    int status(Name name, struct stat& status) const noexcept;
    int removeJournal() const noexcept;
    /// Returns true if the journal exists and is not empty.
    [[nodiscard]] bool hasJournal() const noexcept;

    /// The open store's descriptor, which belongs to the caller of `setStore`; -1 if none is open.
    [[nodiscard]] int store() const noexcept { return store_; }
    void setStore(int descriptor) noexcept { store_ = descriptor; }

    void refuse(Refusal refusal) noexcept;
    [[nodiscard]] bool hasRefused() const noexcept { return refusal_.has_value(); }
    void forgetRefusal() noexcept { refusal_.reset(); }
    /// Explains the last refusal in a clause for people, and forgets it; empty if there was none.
    [[nodiscard]] std::string takeRefusal();

  private:
    [[nodiscard]] const char* inFolder(Name name) const noexcept;
    /// These return true, or refuse the file and return false.
    [[nodiscard]] bool checkKind(const struct stat& status, Name name) noexcept;
    [[nodiscard]] bool checkOpened(int file, Name name) noexcept;
    [[nodiscard]] bool isOurJournal(int file) const noexcept;

    std::string storePath_;
    std::string journalPath_ = storePath_ + "-journal";
    std::string logPath_ = storePath_ + "-wal";
    std::size_t folderSize_ = storePath_.rfind('/');
    std::string folderPath_ = folderSize_ == 0 ? "/" : storePath_.substr(0, folderSize_);
    FileDescriptor folder_;
    int folderError_ = 0;
    int store_ = -1;
    std::optional<Refusal> refusal_;
};

} // namespace Orvex::SQLite
