#pragma once

#include "Foundation/ArchiveError.h"
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// One object of a property list. Arrays and dictionaries refer to others by their place in the list's table.
struct PropertyListObject {
    enum class Kind { null, boolean, integer, real, date, data, string, uid, array, set, dictionary };

    Kind kind = Kind::null;
    /// Of a boolean (0 or 1), an integer or a UID.
    std::int64_t integer = 0;
    double real = 0;
    /// Of a string, in UTF-8.
    std::string text{};
    /// Of an array, a set or a dictionary.
    std::vector<std::size_t> elements{};
    /// Of a dictionary: as many as there are elements. A key may stand there twice; the first one counts.
    std::vector<std::size_t> keys{};
};

/// The kind in words, as in "a string".
[[nodiscard]] std::string_view kindName(PropertyListObject::Kind kind);

/// A property list from outside, binary (version 00) or XML, as a table of objects that are looked at only
/// when they are asked for. Nothing follows references by itself, so that it does not matter how they nest or
/// cycle; and whoever follows them can visit shared objects only so often: all that is handed out is limited,
/// texts to four times the list's size together. Dates and data are recognised without their contents.
class PropertyList {
  public:
    /// `bytes` must outlive the list. Throws `ArchiveError`, as every other member may.
    [[nodiscard]] static std::unique_ptr<PropertyList> read(std::string_view bytes);

    virtual ~PropertyList() = default;
    PropertyList(const PropertyList&) = delete;
    PropertyList& operator=(const PropertyList&) = delete;

    [[nodiscard]] std::size_t root() const noexcept { return root_; }
    /// The object at this place of the table, which must be one that an object refers to, or the root.
    [[nodiscard]] virtual PropertyListObject object(std::size_t index) = 0;
    /// Whether the object there is this string; handing nothing out, it can be asked as often as one likes.
    [[nodiscard]] virtual bool isString(std::size_t index, std::string_view text) = 0;

  protected:
    explicit PropertyList(std::size_t size);

    // Called before as much is handed out.
    void chargeText(std::size_t bytes) { charge(4 * bytes); }
    void chargeReferences(std::size_t count) { charge(sizeof(std::size_t) * count); }

    std::size_t root_ = 0;

  private:
    void charge(std::size_t amount);

    std::size_t allowance_;
};

} // namespace Orvex
