#pragma once

#include "VoxArchive/PropertyList.h"
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

class KeyedUnarchiver;

/// An object of an archive, to be asked for its values by key. A key that is missing, or whose value is nil,
/// has no value; a value of another type than asked for is an `ArchiveError`. Refers to the unarchiver.
class KeyedObject {
  public:
    /// A text stands there itself, or as an object of the class NSString or NSMutableString.
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
    /// Integers count as real numbers. The value is finite.
    [[nodiscard]] std::optional<double> real(std::string_view key) const;
    /// Calls `visit` for each element of an array, in order; every element is of the class `className`, or of
    /// one that inherits from it, and stands in no array twice.
    void forEachObject(std::string_view key, std::string_view className,
                       const std::function<void(const KeyedObject&)>& visit) const;

  private:
    friend class KeyedUnarchiver;
    KeyedObject(KeyedUnarchiver& archive, const PropertyList::Object& dictionary)
        : archive_(&archive), dictionary_(dictionary) {}

    /// The key's value, or, where that is a reference, the object that it refers to.
    [[nodiscard]] std::optional<PropertyList::Object> value(std::string_view key) const;

    KeyedUnarchiver* archive_;
    PropertyList::Object dictionary_;
};

/// Decodes a keyed archive: a property list with `$archiver` "NSKeyedArchiver", `$version` 100000, the table
/// `$objects`, whose entry 0 stands for nil, and `$top`, whose `root` refers to an entry. An object is a
/// dictionary; its `$class` refers to an entry with its `$classname` and with `$classes`, the names of that
/// class and those it inherits from. Only objects of an expected class are decoded, or of one that inherits
/// from it.
class KeyedUnarchiver {
  public:
    /// `archive` must outlive this object. Throws `ArchiveError`.
    explicit KeyedUnarchiver(std::string_view archive);

    /// The root, which must be of this class or inherit from it; no value when it is nil. Throws
    /// `ArchiveError`.
    [[nodiscard]] std::optional<KeyedObject> root(std::string_view className);

  private:
    friend class KeyedObject;

    struct Class {
        std::string_view name;
        /// Its own name and those of the classes that it inherits from.
        PropertyList::Integers chain;
    };

    /// The value of a dictionary's key, which must be there and of this kind.
    [[nodiscard]] PropertyList::Object required(const PropertyList::Object& dictionary, std::string_view key,
                                                PropertyListKind kind);
    /// The object that a reference means; no value for nil.
    [[nodiscard]] std::optional<PropertyList::Object> referredTo(const PropertyList::Object& reference);
    [[nodiscard]] const Class& classOf(const PropertyList::Object& object);
    [[nodiscard]] Class describedClass(const PropertyList::Object& classObject);
    /// Tells for any object; one of no class is of none of these.
    [[nodiscard]] bool isInstance(const PropertyList::Object& object,
                                  std::initializer_list<std::string_view> classNames);
    [[nodiscard]] KeyedObject decoded(const PropertyList::Object& object, std::string_view expectedClass);

    PropertyList list_;
    /// Where the entries of `$objects` are in the property list.
    PropertyList::Integers entries_;
    PropertyList::Object top_;
    /// By the entries that describe them.
    std::map<std::int64_t, Class> classes_;
    /// Which entries have been elements of an array.
    std::vector<bool> visited_;
};

} // namespace Orvex
