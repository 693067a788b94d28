#include "ZelvoMessageStore/FileFormat.h"

#include "Foundation/SystemCalls.h"
#include <algorithm>
#include <string_view>

namespace Orvex::SQLite {

namespace {

using namespace std::string_view_literals;

constexpr auto databaseMagic = "SQLite format 3\0"sv;
constexpr std::size_t pageSizeOffset = 16;
constexpr std::size_t writeVersionOffset = 18;
constexpr std::size_t changeCounterOffset = 24;
constexpr std::size_t userVersionOffset = 60;
constexpr std::size_t applicationIDOffset = 68;

constexpr std::array<unsigned char, 8> journalMagic = {0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd7};
constexpr std::size_t recordCountEnd = 12;
constexpr std::size_t sectorSizeOffset = 20;
constexpr std::size_t journalPageSizeOffset = 24;
constexpr std::size_t journalHeaderSize = 28;

template <std::size_t size = 4>
std::uint32_t bigEndian(std::span<const unsigned char> bytes, std::size_t offset) noexcept {
    std::uint32_t value = 0;
    for (const unsigned char byte : bytes.subspan(offset, size)) {
        value = value << 8U | byte;
    }
    return value;
}

bool isPowerOfTwo(std::uint32_t value, std::uint32_t least, std::uint32_t greatest) noexcept {
    return value >= least && value <= greatest && (value & (value - 1)) == 0;
}

bool isZero(unsigned char byte) noexcept {
    return byte == 0;
}

} // namespace

std::optional<DatabaseHeader> DatabaseHeader::read(int file) noexcept {
    Bytes bytes{};
    if (readBeginning(file, bytes.data(), bytes.size()) != std::ssize(bytes)) {
        return std::nullopt;
    }
    return DatabaseHeader(bytes);
}

bool DatabaseHeader::isSQLite() const noexcept {
    return std::equal(databaseMagic.begin(), databaseMagic.end(), bytes_.begin());
}

std::uint32_t DatabaseHeader::pageSize() const noexcept {
    const std::uint32_t value = bigEndian<2>(bytes_, pageSizeOffset);
    // 65536 does not fit into two bytes.
    return value == 1 ? 1U << 16U : value;
}

bool DatabaseHeader::usesRollbackJournal() const noexcept {
    return bytes_[writeVersionOffset] == 1;
}

bool DatabaseHeader::usesWriteAheadLog() const noexcept {
    return bytes_[writeVersionOffset] == 2;
}

std::uint32_t DatabaseHeader::changeCounter() const noexcept {
    return bigEndian(bytes_, changeCounterOffset);
}

std::uint32_t DatabaseHeader::userVersion() const noexcept {
    return bigEndian(bytes_, userVersionOffset);
}

std::uint32_t DatabaseHeader::applicationID() const noexcept {
    return bigEndian(bytes_, applicationIDOffset);
}

bool canBeginJournal(std::span<const unsigned char> beginning, std::uint32_t pageSize) noexcept {
    // One of SQLite's modes writes zeros over the header after use.
    if (std::all_of(beginning.begin(), beginning.end(), isZero)) {
        return true;
    }
    const auto [firstOther, magic] =
        std::mismatch(beginning.begin(), beginning.end(), journalMagic.begin(), journalMagic.end());
    if (magic == journalMagic.end() || firstOther == beginning.end()) {
        return true;
    }
    // SQLite writes the magic number and the count of records last, over zeros. If it is interrupted, the
    // sizes behind them tell.
    constexpr std::uint32_t leastSector = 32;
    constexpr std::uint32_t leastPage = 512;
    constexpr std::uint32_t greatest = 65536;
    if (beginning.size() < journalHeaderSize ||
        !std::all_of(firstOther, beginning.begin() + recordCountEnd, isZero)) {
        return false;
    }
    const std::uint32_t journalPageSize = bigEndian(beginning, journalPageSizeOffset);
    return isPowerOfTwo(bigEndian(beginning, sectorSizeOffset), leastSector, greatest) &&
           isPowerOfTwo(journalPageSize, leastPage, greatest) &&
           (pageSize == 0 || journalPageSize == pageSize);
}

} // namespace Orvex::SQLite
