#pragma once

#include "VoxArchive/PropertyList.h"
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

/// An object of an archive. Its members look up a key: they return no value if it is missing or nil, and
/// throw `ArchiveError` if its value has another type. Valid as long as the unarchiver.
class KeyedObject {
  public:
    /// The value may be a text, or an object of class NSString or NSMutableString.
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
    /// Accepts integers, too. The result is finite.
    [[nodiscard]] std::optional<double> real(std::string_view key) const;
    /// Calls `visit` for each element of an array, in order. Throws unless each is of class `className`, or
    /// of one that inherits from it, and has not been in an array before.
    void forEachObject(std::string_view key, std::string_view className,
                       const std::function<void(const KeyedObject&)>& visit) const;

  private:
    friend class KeyedUnarchiver;
    KeyedObject(KeyedUnarchiver& archive, const PropertyList::Object& dictionary)
        : archive_(&archive), dictionary_(dictionary) {}

    /// Returns the key's value. Follows a reference.
    [[nodiscard]] std::optional<PropertyList::Object> value(std::string_view key) const;

    KeyedUnarchiver* archive_;
    PropertyList::Object dictionary_;
};

/// Decodes a keyed archive; docs/transcripts.md describes the form. Only objects of an expected class, or of
/// one that inherits from it, are decoded.
class KeyedUnarchiver {
  public:
    /// `archive` must outlive this object. Throws `ArchiveError`.
    explicit KeyedUnarchiver(std::string_view archive);

    /// Returns the root, or no value if it is nil. Throws `ArchiveError` for an object of another class.
    [[nodiscard]] std::optional<KeyedObject> root(std::string_view className);

  private:
    friend class KeyedObject;

    struct Class {
        std::string_view name;
        /// Names of the class and of those that it inherits from.
        PropertyList::Integers chain;
    };

    /// Returns the value of a dictionary's key. Throws if it is missing or of another kind.
    [[nodiscard]] PropertyList::Object required(const PropertyList::Object& dictionary, std::string_view key,
                                                PropertyListKind kind);
    /// Follows a reference. No value for nil.
    [[nodiscard]] std::optional<PropertyList::Object> referredTo(const PropertyList::Object& reference);
    [[nodiscard]] const Class& classOf(const PropertyList::Object& object);
    [[nodiscard]] Class describedClass(const PropertyList::Object& classObject);
    /// Returns true if the object is of one of the classes, or inherits from one.
    [[nodiscard]] bool isInstance(const PropertyList::Object& object,
                                  std::initializer_list<std::string_view> classNames);
    [[nodiscard]] KeyedObject decoded(const PropertyList::Object& object, std::string_view expectedClass);

    PropertyList list_;
    /// Indices of the entries of `$objects` in the property list.
    PropertyList::Integers entries_;
    PropertyList::Object top_;
    /// By the entry that describes the class.
    std::map<std::int64_t, Class> classes_;
    /// Entries that have been elements of an array.
    std::vector<bool> visited_;
};

} // namespace Orvex
