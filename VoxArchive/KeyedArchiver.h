#pragma once

#include "VoxArchive/PropertyListWriter.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Orvex {

/// Builds the property list of a keyed archive; `KeyedUnarchiver` describes the form. Values are referred to
/// by their index in the list's table, which all members return.
class KeyedArchiver {
  public:
    /// The values of one object, by key.
    using Fields = std::vector<std::pair<std::string_view, std::size_t>>;

    KeyedArchiver() { entries_.push_back(string("$null")); }

    // Plain values
    std::size_t string(std::string_view text) {
        return add({.kind = PropertyListKind::string, .text = std::string(text)});
    }
    std::size_t integer(std::int64_t number) {
        return add({.kind = PropertyListKind::integer, .integer = number});
    }
    std::size_t real(double number) { return add({.kind = PropertyListKind::real, .real = number}); }
    std::size_t array(std::vector<std::size_t> elements) {
        return add({.kind = PropertyListKind::array, .elements = std::move(elements)});
    }
    std::size_t dictionary(const Fields& fields) {
        PropertyListObject dictionary{.kind = PropertyListKind::dictionary};
        for (const auto& [key, value] : fields) {
            dictionary.keys.push_back(string(key));
            dictionary.elements.push_back(value);
        }
        return add(std::move(dictionary));
    }

    // References to entries of `$objects`: to nil, to a new entry, and to a new object of a class
    std::size_t nil() { return add({.kind = PropertyListKind::uid, .integer = 0}); }
    std::size_t entry(std::size_t object) {
        entries_.push_back(object);
        return add(
            {.kind = PropertyListKind::uid, .integer = static_cast<std::int64_t>(entries_.size() - 1)});
    }
    std::size_t object(std::string_view className, Fields fields) {
        fields.emplace_back("$class", classNamed(className));
        return entry(dictionary(fields));
    }

    /// Returns the bytes of the archive. `root` is a reference.
    std::string archive(std::size_t root, ArchiveForm form) && {
        const std::size_t archiver = string("NSKeyedArchiver");
        const std::size_t objects = array(entries_);
        const std::size_t top = dictionary({{"root", root}});
        const std::size_t version = integer(100000);
        const std::size_t whole = dictionary(
            {{"$archiver", archiver}, {"$objects", objects}, {"$top", top}, {"$version", version}});
        return form == ArchiveForm::binary ? binaryPropertyList(table_, whole)
                                           : xmlPropertyList(table_, whole);
    }

  private:
    std::size_t add(PropertyListObject object) {
        table_.push_back(std::move(object));
        return table_.size() - 1;
    }

    std::size_t classNamed(std::string_view name) {
        auto known = classes_.find(name);
        if (known == classes_.end()) {
            const std::size_t className = string(name);
            const std::size_t chain = array({className, string("NSObject")});
            known =
                classes_.emplace(name, entry(dictionary({{"$classes", chain}, {"$classname", className}})))
                    .first;
        }
        return known->second;
    }

    std::vector<PropertyListObject> table_;
    std::vector<std::size_t> entries_;
    std::map<std::string_view, std::size_t> classes_;
};

} // namespace Orvex
