#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

/// The parts of SQLite's file format (https://www.sqlite.org/fileformat.html) that are read without SQLite.
namespace Orvex::SQLite {

/// The beginning of a database, section 1.3.
class DatabaseHeader {
  public:
    using Bytes = std::array<unsigned char, 100>;

    explicit DatabaseHeader(const Bytes& bytes) noexcept : bytes_(bytes) {}
    /// Reads the beginning of an open file; no value if that fails or the file is shorter.
    [[nodiscard]] static std::optional<DatabaseHeader> read(int file) noexcept;

    [[nodiscard]] bool isSQLite() const noexcept;
    /// In bytes.
    [[nodiscard]] std::uint32_t pageSize() const noexcept;
    [[nodiscard]] bool usesRollbackJournal() const noexcept;
    [[nodiscard]] bool usesWriteAheadLog() const noexcept;
    /// Each transaction that changes something adds 1, with a rollback journal.
    [[nodiscard]] std::uint32_t changeCounter() const noexcept;
    [[nodiscard]] std::uint32_t userVersion() const noexcept;
    [[nodiscard]] std::uint32_t applicationID() const noexcept;

  private:
    Bytes bytes_;
};

/// A journal's header is padded with zeros to the end of a sector, which has this many bytes or more.
inline constexpr std::size_t leastSectorSize = 512;

/// Returns true if a rollback journal (section 3) can begin like this. `beginning` has `leastSectorSize`
/// bytes, or all of a shorter file; `pageSize` is that of the database, 0 if unknown.
[[nodiscard]] bool canBeginJournal(std::span<const unsigned char> beginning, std::uint32_t pageSize) noexcept;

} // namespace Orvex::SQLite
