#include "Foundation/KeyedUnarchiver.h"

#include "Foundation/QuotedText.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace Orvex {

namespace {

using Kind = PropertyListObject::Kind;

std::string typeFault(std::string_view key, const PropertyListObject& value, std::string_view expected) {
    return "the value of " + inQuotes(key) + " is " + std::string(kindName(value.kind)) + ", not " +
           std::string(expected);
}

} // namespace

KeyedUnarchiver::KeyedUnarchiver(std::string_view archive) : list_(PropertyList::read(archive)) {
    const PropertyListObject archived = list_->object(list_->root());
    if (required(archived, "$archiver", Kind::string).text != "NSKeyedArchiver") {
        throw ArchiveError("it is no keyed archive: its \"$archiver\" is not \"NSKeyedArchiver\"");
    }
    constexpr std::int64_t knownVersion = 100000;
    if (required(archived, "$version", Kind::integer).integer != knownVersion) {
        throw ArchiveError("it is a keyed archive of another version than " + std::to_string(knownVersion));
    }
    top_ = required(archived, "$top", Kind::dictionary);
    entries_ = required(archived, "$objects", Kind::array).elements;
    if (entries_.empty() || !list_->isString(entries_.front(), "$null")) {
        throw ArchiveError("it is no keyed archive: entry 0 of its \"$objects\" is not \"$null\"");
    }
    visited_.resize(entries_.size());
}

std::optional<KeyedObject> KeyedUnarchiver::root(std::string_view className) {
    std::optional<PropertyListObject> root = referredTo(required(top_, "root", Kind::uid));
    if (!root) {
        return std::nullopt;
    }
    return decoded(*std::move(root), className);
}

std::optional<std::size_t> KeyedUnarchiver::find(const PropertyListObject& dictionary, std::string_view key) {
    const auto found = std::find_if(dictionary.keys.begin(), dictionary.keys.end(),
                                    [&](std::size_t candidate) { return list_->isString(candidate, key); });
    if (found == dictionary.keys.end()) {
        return std::nullopt;
    }
    return dictionary.elements[static_cast<std::size_t>(found - dictionary.keys.begin())];
}

PropertyListObject KeyedUnarchiver::required(const PropertyListObject& dictionary, std::string_view key,
                                             Kind kind) {
    const std::optional<std::size_t> index = find(dictionary, key);
    if (!index) {
        throw ArchiveError("it is no keyed archive: it has no " + inQuotes(key));
    }
    PropertyListObject value = list_->object(*index);
    if (value.kind != kind) {
        throw ArchiveError(typeFault(key, value, kindName(kind)));
    }
    return value;
}

std::optional<PropertyListObject> KeyedUnarchiver::referredTo(const PropertyListObject& reference) {
    const auto entry = static_cast<std::size_t>(reference.integer);
    if (entry >= entries_.size()) {
        throw ArchiveError("it is damaged: it refers to entry " + std::to_string(entry) + " of " +
                           std::to_string(entries_.size()));
    }
    return entry == 0 ? std::nullopt : std::optional(list_->object(entries_[entry]));
}

const std::string& KeyedUnarchiver::className(const PropertyListObject& object) {
    const PropertyListObject reference = required(object, "$class", Kind::uid);
    auto known = classNames_.find(reference.integer);
    if (known == classNames_.end()) {
        const std::optional<PropertyListObject> classObject = referredTo(reference);
        if (!classObject) {
            throw ArchiveError("an object's class is nil");
        }
        known = classNames_.emplace(reference.integer, nameOfClass(*classObject)).first;
    }
    return known->second;
}

std::string KeyedUnarchiver::nameOfClass(const PropertyListObject& classObject) {
    std::string name = required(classObject, "$classname", Kind::string).text;
    const std::vector<std::size_t> classes = required(classObject, "$classes", Kind::array).elements;
    constexpr std::size_t longestChain = 16;
    if (classes.size() > longestChain) {
        throw ArchiveError("the class " + excerptInQuotes(name) + " claims to inherit from " +
                           std::to_string(classes.size()) + " classes");
    }
    if (classes.empty() || !list_->isString(classes.front(), name) ||
        !list_->isString(classes.back(), "NSObject")) {
        std::vector<std::string> chain;
        for (const std::size_t index : classes) {
            chain.push_back(list_->object(index).text);
        }
        throw ArchiveError("the class " + excerptInQuotes(name) + " claims to inherit by way of " +
                           bracketed(chain, excerptInQuotes));
    }
    return name;
}

KeyedObject KeyedUnarchiver::decoded(PropertyListObject object, std::string_view expectedClass) {
    if (object.kind != Kind::dictionary) {
        throw ArchiveError("there is " + std::string(kindName(object.kind)) + " where an object of class " +
                           inQuotes(expectedClass) + " belongs");
    }
    if (const std::string& name = className(object); name != expectedClass) {
        throw ArchiveError("there is an object of class " + excerptInQuotes(name) + " where one of class " +
                           inQuotes(expectedClass) + " belongs");
    }
    return {*this, std::move(object)};
}

std::optional<PropertyListObject> KeyedObject::value(std::string_view key) const {
    const std::optional<std::size_t> index = archive_->find(dictionary_, key);
    if (!index) {
        return std::nullopt;
    }
    PropertyListObject value = archive_->list_->object(*index);
    return value.kind == Kind::uid ? archive_->referredTo(value) : std::optional(std::move(value));
}

std::optional<std::string> KeyedObject::string(std::string_view key) const {
    std::optional<PropertyListObject> found = value(key);
    if (!found) {
        return std::nullopt;
    }
    if (found->kind != Kind::string) {
        throw ArchiveError(typeFault(key, *found, "a string"));
    }
    return std::move(found->text);
}

std::optional<double> KeyedObject::real(std::string_view key) const {
    const std::optional<PropertyListObject> found = value(key);
    if (!found) {
        return std::nullopt;
    }
    if (found->kind != Kind::real && found->kind != Kind::integer) {
        throw ArchiveError(typeFault(key, *found, "a real number"));
    }
    const double number = found->kind == Kind::real ? found->real : static_cast<double>(found->integer);
    if (!std::isfinite(number)) {
        throw ArchiveError("the value of " + inQuotes(key) + " is no finite number");
    }
    return number;
}

void KeyedObject::forEachObject(std::string_view key, std::string_view className,
                                const std::function<void(const KeyedObject&)>& visit) const {
    const std::optional<PropertyListObject> found = value(key);
    if (!found) {
        return;
    }
    constexpr std::array<std::string_view, 2> arrayClasses = {"NSArray", "NSMutableArray"};
    if (found->kind != Kind::dictionary || std::find(arrayClasses.begin(), arrayClasses.end(),
                                                     archive_->className(*found)) == arrayClasses.end()) {
        throw ArchiveError(typeFault(key, *found, "an object of class \"NSArray\""));
    }
    for (const std::size_t index : archive_->required(*found, "NS.objects", Kind::array).elements) {
        const PropertyListObject reference = archive_->list_->object(index);
        if (reference.kind != Kind::uid) {
            throw ArchiveError("an element of " + inQuotes(key) + " is " +
                               std::string(kindName(reference.kind)) + ", not a reference");
        }
        std::optional<PropertyListObject> element = archive_->referredTo(reference);
        if (!element) {
            throw ArchiveError("an element of " + inQuotes(key) + " is nil");
        }
        if (archive_->visited_[static_cast<std::size_t>(reference.integer)]) {
            throw ArchiveError("entry " + std::to_string(reference.integer) +
                               " is an element of arrays twice");
        }
        archive_->visited_[static_cast<std::size_t>(reference.integer)] = true;
        visit(archive_->decoded(*std::move(element), className));
    }
}

} // namespace Orvex
