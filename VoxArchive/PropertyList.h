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

/// The kind in words, as in "a string".
[[nodiscard]] std::string_view kindName(PropertyListKind kind);

/// One object of a property list. Arrays and dictionaries refer to others by their place in the list's table;
/// `References` is a sequence of such places.
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
    /// Of a dictionary: as many as there are elements. A key may stand there twice; the first one counts.
    References keys{};
};

/// A property list from outside, binary (version 00) or XML, as a table of objects that are looked at only
/// when they are asked for. Nothing follows references by itself, so that it does not matter how they nest or
/// cycle; and anyone who follows them can visit shared objects only so often: all that is handed out is
/// limited, the bytes of texts and the references together to twice the list's size in bytes, at least
/// 8192, at most 16 MiB. Dates and data are recognised without their contents.
class PropertyList {
  public:
    /// Integers of `width` bytes each, 1 to 8, as they stand in the list. Eight can be read wherever one
    /// begins, since the list ends with one of eight.
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

    /// Refers to the list, and to its bytes.
    using Object = BasicPropertyListObject<std::string_view, Integers>;

    /// `bytes` must outlive the list. Throws `ArchiveError`, as every other member may.
    explicit PropertyList(std::string_view bytes);
    PropertyList(const PropertyList&) = delete;
    PropertyList& operator=(const PropertyList&) = delete;

    [[nodiscard]] std::size_t root() const noexcept { return root_; }
    /// The object at this place of the table, which must be one that an object refers to, or the root.
    [[nodiscard]] Object object(std::size_t index);
    /// True if the object there is this string, which is ASCII. Hands nothing out, so that it can be asked as
    /// often as one likes.
    [[nodiscard]] bool isString(std::size_t index, std::string_view text) const;
    /// The index of the value of a dictionary's key, which is ASCII; no value without such a key. Throws for
    /// a dictionary of more than 256 keys.
    [[nodiscard]] std::optional<std::size_t> find(const Object& dictionary, std::string_view key) const;

  private:
    class Cursor;

    static constexpr std::size_t mostKeys = 256;

    /// The references of the object there, once they are known to lead to objects.
    [[nodiscard]] Integers references(std::size_t index, Integers references);
    /// The UTF-16 of the string there as UTF-8.
    [[nodiscard]] static std::string utf16(std::size_t index, Integers units);
    /// Called for all that is handed out, with the number of bytes of text, or of references.
    void charge(std::size_t amount);

    std::size_t limit_;
    std::size_t handedOut_ = 0;
    /// The list, if it was none of the binary form.
    std::string converted_;
    std::size_t referenceSize_ = 0;
    std::size_t root_ = 0;
    /// All in front of the table of offsets.
    std::string_view objects_;
    Integers offsets_;
    /// Texts that were handed out and do not stand in the bytes as they are.
    std::forward_list<std::string> texts_;
};

} // namespace Orvex
