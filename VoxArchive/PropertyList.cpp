#include "VoxArchive/PropertyList.h"

#include "Foundation/UTF8.h"
#include "VoxArchive/BinaryFromXML.h"
#include "VoxArchive/PropertyListWriter.h"
#include <algorithm>
#include <array>
#include <bit>
#include <limits>

namespace Orvex {

using Kind = PropertyListKind;

std::string_view kindName(Kind kind) {
    constexpr std::array<std::string_view, 11> names = {
        "null",     "a boolean",   "an integer", "a real number", "a date",      "data",
        "a string", "a reference", "an array",   "a set",         "a dictionary"};
    return names.at(static_cast<std::size_t>(kind));
}

namespace {

[[noreturn]] void fail(std::size_t index, const std::string& fault) {
    throw ArchiveError("it is damaged: object " + std::to_string(index) + " " + fault);
}

} // namespace

/// Reads the bytes of one object, from its offset on.
class PropertyList::Cursor {
  public:
    Cursor(const PropertyList& list, std::size_t index) : index_(index) {
        const std::size_t offset = list.offsets_[index];
        if (offset < binaryMagic.size() || offset >= list.objects_.size()) {
            fail(index_, "lies outside of the objects");
        }
        rest_ = {list.objects_.data() + offset, list.objects_.size() - offset};
    }

    std::string_view take(std::size_t size) {
        if (size > rest_.size()) {
            fail(index_, "is cut off");
        }
        const std::string_view taken = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return taken;
    }

    Integers integers(std::size_t count, std::size_t width) {
        // Prevents an overflow of the product below.
        if (count > rest_.size()) {
            fail(index_, "is cut off");
        }
        return {take(count * width).data(), count, width};
    }

    /// Of 1 to 8 bytes.
    std::uint64_t integer(std::size_t width) { return integers(1, width)[0]; }

    unsigned byte() { return static_cast<unsigned char>(take(1).front()); }

    std::int64_t signedInteger(unsigned sizeExponent) {
        constexpr unsigned widest = 4;
        if (sizeExponent > widest) {
            fail(index_, "is an integer of more than 16 bytes");
        }
        const std::uint64_t upper = sizeExponent == widest ? integer(8) : 0;
        // Integers of 8 and 16 bytes are signed, shorter ones are not.
        const auto value = static_cast<std::int64_t>(integer(std::size_t{1} << std::min(sizeExponent, 3U)));
        if (sizeExponent == widest && upper != (value < 0 ? UINT64_MAX : 0)) {
            fail(index_, "is an integer of more than 64 bits");
        }
        return value;
    }

    double real(unsigned sizeExponent) {
        switch (sizeExponent) {
        case 2:
            return std::bit_cast<float>(static_cast<std::uint32_t>(integer(4)));
        case 3:
            return std::bit_cast<double>(integer(8));
        default:
            fail(index_, "is a real number of neither 4 nor 8 bytes");
        }
    }

    std::int64_t uid(unsigned sizeMinusOne) {
        constexpr unsigned widest = 8;
        const std::uint64_t value = sizeMinusOne < widest ? integer(sizeMinusOne + 1) : UINT64_MAX;
        if (value > std::numeric_limits<std::uint32_t>::max()) {
            fail(index_, "is a UID of more than 32 bits");
        }
        return static_cast<std::int64_t>(value);
    }

    /// Returns the count in a marker's low four bits, or in the integer that follows if these are all ones.
    std::size_t count(unsigned low) {
        constexpr unsigned follows = 0xF;
        if (low != follows) {
            return low;
        }
        const unsigned marker = byte();
        constexpr unsigned integerKind = 0x1;
        const std::int64_t count = marker >> 4U == integerKind ? signedInteger(marker & 0xFU) : -1;
        if (count < 0) {
            fail(index_, "has no valid count");
        }
        return static_cast<std::size_t>(count);
    }

    std::string_view ascii(std::size_t count) {
        const std::string_view bytes = take(count);
        // Without a branch per byte, so that the compiler can vectorise the loop.
        unsigned char bits = 0;
        for (const char c : bytes) {
            bits |= static_cast<unsigned char>(c);
        }
        if (bits > 0x7F) {
            fail(index_, "is an ASCII string with a byte that is not ASCII");
        }
        return bytes;
    }

  private:
    std::size_t index_;
    std::string_view rest_;
};

// Layout of the binary form: magic, objects, table of their offsets, trailer. The trailer has the offset of
// the table and the widths of offsets and references. All integers are big-endian.
PropertyList::PropertyList(std::string_view bytes)
    : limit_(std::clamp<std::size_t>(2 * bytes.size(), 8192, std::size_t{16} << 20U)) {
    constexpr std::string_view magicOfAnyVersion = "bplist";
    if (bytes.empty()) {
        throw ArchiveError("it is empty");
    }
    if (!bytes.starts_with(magicOfAnyVersion)) {
        converted_ = binaryFromXML(bytes);
        bytes = converted_;
    }
    if (!bytes.starts_with(binaryMagic)) {
        throw ArchiveError("it is a binary property list of another version than 00");
    }
    constexpr std::size_t trailerSize = 32;
    if (bytes.size() < binaryMagic.size() + trailerSize) {
        throw ArchiveError("it is cut off");
    }
    const std::size_t end = bytes.size() - trailerSize;
    const Integers widths(bytes.data() + end + 6, 2, 1);
    const Integers places(bytes.data() + end + 8, 3, 8);
    const std::size_t offsetSize = widths[0];
    referenceSize_ = widths[1];
    const std::size_t count = places[0];
    root_ = places[1];
    const std::size_t tableOffset = places[2];
    const auto isWidth = [](std::size_t size) { return size >= 1 && size <= 8; };
    if (!isWidth(offsetSize) || !isWidth(referenceSize_) || tableOffset < binaryMagic.size() ||
        tableOffset > end || count > (end - tableOffset) / offsetSize || root_ >= count) {
        throw ArchiveError("it is damaged: its trailer points outside of it");
    }
    objects_ = bytes.substr(0, tableOffset);
    offsets_ = {bytes.data() + tableOffset, count, offsetSize};
}

PropertyList::Object PropertyList::object(std::size_t index) {
    Cursor cursor(*this, index);
    const unsigned marker = cursor.byte();
    const unsigned low = marker & 0xFU;
    switch (marker >> 4U) {
    case 0x0:
        switch (low) {
        case 0x0:
            return {.kind = Kind::null};
        case 0x8:
        case 0x9:
            return {.kind = Kind::boolean, .integer = low == 0x9 ? 1 : 0};
        default:
            fail(index, "is of no known kind");
        }
    case 0x1:
        return {.kind = Kind::integer, .integer = cursor.signedInteger(low)};
    case 0x2:
        return {.kind = Kind::real, .real = cursor.real(low)};
    case 0x3:
        return {.kind = Kind::date};
    case 0x4:
        return {.kind = Kind::data};
    case 0x5: {
        const std::string_view text = cursor.ascii(cursor.count(low));
        charge(text.size());
        return {.kind = Kind::string, .text = text};
    }
    case 0x6: {
        const std::string& text = texts_.emplace_front(utf16(index, cursor.integers(cursor.count(low), 2)));
        charge(text.size());
        return {.kind = Kind::string, .text = text};
    }
    case 0x8:
        return {.kind = Kind::uid, .integer = cursor.uid(low)};
    case 0xA:
        return {.kind = Kind::array,
                .elements = references(index, cursor.integers(cursor.count(low), referenceSize_))};
    case 0xC:
        return {.kind = Kind::set,
                .elements = references(index, cursor.integers(cursor.count(low), referenceSize_))};
    case 0xD: {
        const std::size_t count = cursor.count(low);
        const Integers keys = references(index, cursor.integers(count, referenceSize_));
        return {.kind = Kind::dictionary,
                .elements = references(index, cursor.integers(count, referenceSize_)),
                .keys = keys};
    }
    default:
        fail(index, "is of no known kind");
    }
}

bool PropertyList::isString(std::size_t index, std::string_view text) const {
    Cursor cursor(*this, index);
    const unsigned marker = cursor.byte();
    const bool isASCII = marker >> 4U == 0x5;
    if (!isASCII && marker >> 4U != 0x6) {
        return false;
    }
    if (cursor.count(marker & 0xFU) != text.size()) {
        return false;
    }
    if (isASCII) {
        return cursor.take(text.size()) == text;
    }
    // Compared in place, because a third of decoding is comparing keys (docs/performance.md, "Transcripts").
    const Integers units = cursor.integers(text.size(), 2);
    std::size_t same = 0;
    while (same < text.size() && units[same] == static_cast<unsigned char>(text[same])) {
        ++same;
    }
    return same == text.size();
}

std::optional<std::size_t> PropertyList::find(const Object& dictionary, std::string_view key) const {
    // An archive could make us search millions of keys again and again, which takes seconds.
    if (dictionary.keys.size() > mostKeys) {
        throw ArchiveError("one of its dictionaries has " + std::to_string(dictionary.keys.size()) +
                           " keys, more than the " + std::to_string(mostKeys) + " that are looked through");
    }
    for (std::size_t i = 0; i < dictionary.keys.size(); ++i) {
        if (isString(dictionary.keys[i], key)) {
            return dictionary.elements[i];
        }
    }
    return std::nullopt;
}

PropertyList::Integers PropertyList::references(std::size_t index, Integers references) {
    charge(references.size());
    for (std::size_t i = 0; i < references.size(); ++i) {
        if (references[i] >= offsets_.size()) {
            fail(index, "refers to object " + std::to_string(references[i]) + " of " +
                            std::to_string(offsets_.size()));
        }
    }
    return references;
}

std::string PropertyList::utf16(std::size_t index, Integers units) {
    std::string text;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const auto high = static_cast<char32_t>(units[i]);
        const bool isHalf = high >= 0xD800 && high < 0xE000;
        const auto next = static_cast<char32_t>(i + 1 < units.size() ? units[i + 1] : 0);
        const bool isPair = isHalf && high < 0xDC00 && next >= 0xDC00 && next < 0xE000;
        if (isHalf && !isPair) {
            fail(index, "is a string of invalid UTF-16");
        }
        appendUTF8(text, isPair ? 0x10000 + ((high - 0xD800) << 10U) + (next - 0xDC00) : high);
        i += isPair ? 1 : 0;
    }
    return text;
}

void PropertyList::charge(std::size_t amount) {
    if (amount > limit_ - handedOut_) {
        throw ArchiveError(
            "it is too large: its texts and references, counted as often as they are referred to, "
            "have more than " +
            std::to_string(limit_) + " bytes");
    }
    handedOut_ += amount;
}

} // namespace Orvex
