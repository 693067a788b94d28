#include "Foundation/BinaryPropertyList.h"

#include "Foundation/UTF8.h"
#include <algorithm>
#include <bit>
#include <limits>
#include <optional>
#include <utility>

namespace Orvex {

namespace {

using Kind = PropertyListObject::Kind;

/// Reads the binary form: after the magic come the objects, then the table of their offsets, then a trailer
/// that says where the table is and how wide its entries and the references between objects are. All integers
/// are big-endian.
class BinaryPropertyList final : public PropertyList {
  public:
    explicit BinaryPropertyList(std::string_view bytes) : PropertyList(bytes.size()) {
        constexpr std::size_t trailerSize = 32;
        if (bytes.size() < binaryMagic.size() + trailerSize) {
            throw ArchiveError("it is cut off");
        }
        const std::string_view trailer = bytes.substr(bytes.size() - trailerSize);
        offsetSize_ = static_cast<std::size_t>(integer(trailer.substr(6, 1)));
        referenceSize_ = static_cast<std::size_t>(integer(trailer.substr(7, 1)));
        const std::uint64_t count = integer(trailer.substr(8, 8));
        const std::uint64_t root = integer(trailer.substr(16, 8));
        const std::uint64_t tableOffset = integer(trailer.substr(24, 8));
        const std::size_t end = bytes.size() - trailerSize;
        const auto isWidth = [](std::size_t size) { return size >= 1 && size <= 8; };
        if (!isWidth(offsetSize_) || !isWidth(referenceSize_) || tableOffset < binaryMagic.size() ||
            tableOffset > end || count > (end - tableOffset) / offsetSize_ || root >= count) {
            throw ArchiveError("it is damaged: its trailer points outside of it");
        }
        objects_ = bytes.substr(0, static_cast<std::size_t>(tableOffset));
        count_ = static_cast<std::size_t>(count);
        offsets_ = bytes.substr(objects_.size(), count_ * offsetSize_);
        root_ = static_cast<std::size_t>(root);
    }

    PropertyListObject object(std::size_t index) override {
        Cursor cursor = cursorAt(index);
        const unsigned marker = cursor.byte();
        const unsigned low = marker & 0xFU;
        switch (marker >> 4U) {
        case 0x0:
            return simple(index, low);
        case 0x1:
            return {.kind = Kind::integer, .integer = cursor.signedInteger(low)};
        case 0x2:
            return {.kind = Kind::real, .real = cursor.real(low)};
        case 0x3:
            return {.kind = Kind::date};
        case 0x4:
            return {.kind = Kind::data};
        case 0x5:
            return {.kind = Kind::string, .text = ascii(cursor, cursor.count(low))};
        case 0x6: {
            const std::string_view bytes = cursor.take(cursor.count(low), 2);
            chargeText(bytes.size());
            return {.kind = Kind::string, .text = utf16(cursor, bytes)};
        }
        case 0x8:
            return {.kind = Kind::uid, .integer = cursor.uid(low)};
        case 0xA: {
            const std::size_t count = cursor.count(low);
            return {.kind = Kind::array, .elements = references(cursor, count)};
        }
        case 0xC: {
            const std::size_t count = cursor.count(low);
            return {.kind = Kind::set, .elements = references(cursor, count)};
        }
        case 0xD: {
            const std::size_t count = cursor.count(low);
            std::vector<std::size_t> keys = references(cursor, count);
            return {.kind = Kind::dictionary, .elements = references(cursor, count), .keys = std::move(keys)};
        }
        default:
            throw ArchiveError(cursor.name() + " is of no known kind");
        }
    }

    bool isString(std::size_t index, std::string_view text) override {
        Cursor cursor = cursorAt(index);
        const unsigned marker = cursor.byte();
        switch (marker >> 4U) {
        case 0x5: {
            const std::size_t count = cursor.count(marker & 0xFU);
            return count == text.size() && cursor.take(count) == text;
        }
        case 0x6: {
            const std::size_t count = cursor.count(marker & 0xFU);
            return count <= text.size() && utf16(cursor, cursor.take(count, 2)) == text;
        }
        default:
            return false;
        }
    }

  private:
    /// `bytes` has at most 8.
    static std::uint64_t integer(std::string_view bytes) {
        std::uint64_t value = 0;
        for (const char byte : bytes) {
            value = value << 8U | static_cast<unsigned char>(byte);
        }
        return value;
    }

    /// Reads the bytes of one object and none behind them.
    class Cursor {
      public:
        Cursor(std::size_t index, std::string_view rest) : index_(index), rest_(rest) {}

        [[nodiscard]] std::string name() const { return "it is damaged: object " + std::to_string(index_); }

        std::string_view take(std::size_t size) {
            if (size > rest_.size()) {
                throw ArchiveError(name() + " is cut off");
            }
            const std::string_view taken = rest_.substr(0, size);
            rest_.remove_prefix(size);
            return taken;
        }

        /// `count` items of `size` bytes each.
        std::string_view take(std::size_t count, std::size_t size) {
            if (count > rest_.size() / size) {
                throw ArchiveError(name() + " is cut off");
            }
            return take(count * size);
        }

        unsigned byte() { return static_cast<unsigned char>(take(1).front()); }

        std::int64_t signedInteger(unsigned sizeExponent) {
            constexpr unsigned widest = 4;
            if (sizeExponent > widest) {
                throw ArchiveError(name() + " is an integer of more than 16 bytes");
            }
            const std::string_view bytes = take(std::size_t{1} << sizeExponent);
            // Only those of 8 bytes and more are signed.
            const auto value = static_cast<std::int64_t>(
                integer(bytes.substr(bytes.size() - std::min<std::size_t>(bytes.size(), 8))));
            const char extension = value < 0 ? '\xFF' : '\0';
            if (bytes.size() == 16 && bytes.substr(0, 8) != std::string(8, extension)) {
                throw ArchiveError(name() + " is an integer of more than 64 bits");
            }
            return value;
        }

        double real(unsigned sizeExponent) {
            switch (sizeExponent) {
            case 2:
                return std::bit_cast<float>(static_cast<std::uint32_t>(integer(take(4))));
            case 3:
                return std::bit_cast<double>(integer(take(8)));
            default:
                throw ArchiveError(name() + " is a real number of neither 4 nor 8 bytes");
            }
        }

        std::int64_t uid(unsigned sizeMinusOne) {
            constexpr unsigned widest = 8;
            const std::uint64_t value = sizeMinusOne < widest ? integer(take(sizeMinusOne + 1)) : UINT64_MAX;
            if (value > std::numeric_limits<std::uint32_t>::max()) {
                throw ArchiveError(name() + " is a UID of more than 32 bits");
            }
            return static_cast<std::int64_t>(value);
        }

        /// A count of four bits, or, where these are all ones, the integer that follows.
        std::size_t count(unsigned low) {
            constexpr unsigned follows = 0xF;
            if (low != follows) {
                return low;
            }
            const unsigned marker = byte();
            constexpr unsigned integerKind = 0x1;
            const std::int64_t count = marker >> 4U == integerKind ? signedInteger(marker & 0xFU) : -1;
            if (count < 0) {
                throw ArchiveError(name() + " has no valid count");
            }
            return static_cast<std::size_t>(count);
        }

      private:
        std::size_t index_;
        std::string_view rest_;
    };

    [[nodiscard]] Cursor cursorAt(std::size_t index) const {
        const std::uint64_t offset = integer(offsets_.substr(index * offsetSize_, offsetSize_));
        if (offset < binaryMagic.size() || offset >= objects_.size()) {
            throw ArchiveError("it is damaged: object " + std::to_string(index) +
                               " lies outside of the objects");
        }
        return {index, objects_.substr(static_cast<std::size_t>(offset))};
    }

    static PropertyListObject simple(std::size_t index, unsigned low) {
        switch (low) {
        case 0x0:
            return {.kind = Kind::null};
        case 0x8:
        case 0x9:
            return {.kind = Kind::boolean, .integer = low == 0x9 ? 1 : 0};
        default:
            throw ArchiveError("it is damaged: object " + std::to_string(index) + " is of no known kind");
        }
    }

    std::vector<std::size_t> references(Cursor& cursor, std::size_t count) {
        std::string_view bytes = cursor.take(count, referenceSize_);
        chargeReferences(count);
        std::vector<std::size_t> references;
        references.reserve(count);
        for (; !bytes.empty(); bytes.remove_prefix(referenceSize_)) {
            const std::uint64_t index = integer(bytes.substr(0, referenceSize_));
            if (index >= count_) {
                throw ArchiveError(cursor.name() + " refers to object " + std::to_string(index) + " of " +
                                   std::to_string(count_));
            }
            references.push_back(static_cast<std::size_t>(index));
        }
        return references;
    }

    std::string ascii(Cursor& cursor, std::size_t count) {
        const std::string_view bytes = cursor.take(count);
        chargeText(count);
        // All bytes together, which the compiler can turn into a few wide instructions.
        unsigned char bits = 0;
        for (const char c : bytes) {
            bits |= static_cast<unsigned char>(c);
        }
        if (bits > 0x7F) {
            throw ArchiveError(cursor.name() + " is an ASCII string with a byte that is none");
        }
        return std::string(bytes);
    }

    static std::string utf16(const Cursor& cursor, std::string_view bytes) {
        std::string text;
        while (!bytes.empty()) {
            const std::optional<char32_t> c = takeUTF16(bytes);
            if (!c) {
                throw ArchiveError(cursor.name() + " is a string of invalid UTF-16");
            }
            appendUTF8(text, *c);
        }
        return text;
    }

    /// Takes a character of one or two big-endian code units off the front; no value for half of a pair.
    static std::optional<char32_t> takeUTF16(std::string_view& bytes) {
        const auto unit = [&bytes](std::size_t offset) {
            return static_cast<char32_t>(integer(bytes.substr(offset, 2)));
        };
        const char32_t high = unit(0);
        const bool isHalf = high >= 0xD800 && high < 0xE000;
        const bool isPair =
            isHalf && high < 0xDC00 && bytes.size() >= 4 && unit(2) >= 0xDC00 && unit(2) < 0xE000;
        if (isHalf && !isPair) {
            return std::nullopt;
        }
        const char32_t c = isPair ? 0x10000 + ((high - 0xD800) << 10U) + (unit(2) - 0xDC00) : high;
        bytes.remove_prefix(isPair ? 4 : 2);
        return c;
    }

    std::size_t offsetSize_ = 0;
    std::size_t referenceSize_ = 0;
    std::size_t count_ = 0;
    std::string_view objects_;
    std::string_view offsets_;
};

} // namespace

std::unique_ptr<PropertyList> readBinaryPropertyList(std::string_view bytes) {
    return std::make_unique<BinaryPropertyList>(bytes);
}

} // namespace Orvex
