#pragma once

#include "VoxArchive/ArchiveError.h"
#include <boost/endian/conversion.hpp>
#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <optional>
#include <string>
#include <string_view>

namespace Orvex {

enum class PropertyListKind { null, boolean, integer, real, date, data, string, uid, array, set, dictionary };

/// Returns the kind for errors, as in "a string".
[[nodiscard]] std::string_view kindName(PropertyListKind kind);

/// One object of a property list. Arrays and dictionaries refer to others by their index in the list's table;
/// `References` is a sequence of indices.
template <class Text, class References>
struct BasicPropertyListObject {
    PropertyListKind kind = PropertyListKind::null;
    /// Of a boolean (0 or 1), an integer or a UID.
    std::int64_t integer = 0;
    double real = 0;
    /// Of a string, in UTF-8.
    Text text{};
    /// Of an array, a set or a dictionary.
    References elements{};
    /// Of a dictionary, as many as elements. Of equal keys, the first one counts.
    References keys{};
};

/// A property list from outside, binary (version 00) or XML, as a table of objects that are read on demand.
/// Reading does not follow references, so nesting and cycles do no harm. Reading objects again and again is
/// limited: all texts, in bytes, and references that are returned together number at most twice the bytes of
/// the list (at least 8192, at most 16 Mi). The contents of dates and data are skipped.
class PropertyList {
  public:
    /// A view of integers in the list, of `width` bytes each, 1 to 8. Eight bytes can be loaded from the
    /// beginning of each, because the list ends with an integer of eight.
    class Integers {
      public:
        Integers() = default;
        Integers(const char* first, std::size_t size, std::size_t width)
            : first_(first), size_(size), width_(static_cast<unsigned>(width)), shift_(64 - 8 * width_) {}

        [[nodiscard]] std::size_t size() const noexcept { return size_; }
        [[nodiscard]] std::size_t operator[](std::size_t i) const noexcept {
            return boost::endian::load_big_u64(reinterpret_cast<const unsigned char*>(first_ + i * width_)) >>
                   shift_;
        }

      private:
        const char* first_ = nullptr;
        std::size_t size_ = 0;
        unsigned width_ = 0;
        unsigned shift_ = 0;
    };

    /// Valid as long as the list and its bytes.
    using Object = BasicPropertyListObject<std::string_view, Integers>;

    /// `bytes` must outlive the list. All members throw `ArchiveError`.
    explicit PropertyList(std::string_view bytes);
    PropertyList(const PropertyList&) = delete;
    PropertyList& operator=(const PropertyList&) = delete;

    [[nodiscard]] std::size_t root() const noexcept { return root_; }
    /// Returns an object. `index` must be the root or a reference of another object.
    [[nodiscard]] Object object(std::size_t index);
    /// Returns true if the object is this string, which must be ASCII. Does not count towards the limit.
    [[nodiscard]] bool isString(std::size_t index, std::string_view text) const;
    /// Returns the index of the value of a dictionary's key, which must be ASCII, or no value if the key is
    /// missing. Throws if the dictionary has more than 256 keys.
    [[nodiscard]] std::optional<std::size_t> find(const Object& dictionary, std::string_view key) const;

  private:
    class Cursor;

    static constexpr std::size_t mostKeys = 256;

    /// Returns the references of an object after checking that they lead to objects.
    [[nodiscard]] Integers references(std::size_t index, Integers references);
    /// Converts the UTF-16 of a string object to UTF-8.
    [[nodiscard]] static std::string utf16(std::size_t index, Integers units);
    /// Counts bytes of text, or references, that are returned, and throws beyond the limit.
    void charge(std::size_t amount);

    std::size_t limit_;
    std::size_t handedOut_ = 0;
    /// The binary form, if the list was XML.
    std::string converted_;
    std::size_t referenceSize_ = 0;
    std::size_t root_ = 0;
    /// The bytes in front of the table of offsets.
    std::string_view objects_;
    Integers offsets_;
    /// Texts that were converted from UTF-16.
    std::forward_list<std::string> texts_;
};

} // namespace Orvex
