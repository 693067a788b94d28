#include "VoxArchive/KeyedUnarchiver.h"

#include "Foundation/QuotedText.h"
#include <algorithm>
#include <cmath>

namespace Orvex {

namespace {

using Kind = PropertyListKind;

std::string typeFault(std::string_view key, const PropertyList::Object& value, std::string_view expected) {
    return "the value of " + inQuotes(key) + " is " + std::string(kindName(value.kind)) + ", not " +
           std::string(expected);
}

} // namespace

KeyedUnarchiver::KeyedUnarchiver(std::string_view archive) : list_(archive) {
    const PropertyList::Object archived = list_.object(list_.root());
    if (required(archived, "$archiver", Kind::string).text != "NSKeyedArchiver") {
        throw ArchiveError("it is not a keyed archive: its \"$archiver\" is not \"NSKeyedArchiver\"");
    }
    constexpr std::int64_t knownVersion = 100000;
    if (required(archived, "$version", Kind::integer).integer != knownVersion) {
        throw ArchiveError("it is a keyed archive of another version than " + std::to_string(knownVersion));
    }
    top_ = required(archived, "$top", Kind::dictionary);
    entries_ = required(archived, "$objects", Kind::array).elements;
    if (entries_.size() == 0 || !list_.isString(entries_[0], "$null")) {
        throw ArchiveError("it is not a keyed archive: entry 0 of its \"$objects\" is not \"$null\"");
    }
    visited_.resize(entries_.size());
}

std::optional<KeyedObject> KeyedUnarchiver::root(std::string_view className) {
    const std::optional<PropertyList::Object> root = referredTo(required(top_, "root", Kind::uid));
    return root ? std::optional(decoded(*root, className)) : std::nullopt;
}

PropertyList::Object KeyedUnarchiver::required(const PropertyList::Object& dictionary, std::string_view key,
                                               Kind kind) {
    const std::optional<std::size_t> index = list_.find(dictionary, key);
    if (!index) {
        throw ArchiveError("it is not a keyed archive: it has no " + inQuotes(key));
    }
    PropertyList::Object value = list_.object(*index);
    if (value.kind != kind) {
        throw ArchiveError(typeFault(key, value, kindName(kind)));
    }
    return value;
}

std::optional<PropertyList::Object> KeyedUnarchiver::referredTo(const PropertyList::Object& reference) {
    const auto entry = static_cast<std::size_t>(reference.integer);
    if (entry >= entries_.size()) {
        throw ArchiveError("it is damaged: it refers to entry " + std::to_string(entry) + " of " +
                           std::to_string(entries_.size()));
    }
    return entry == 0 ? std::nullopt : std::optional(list_.object(entries_[entry]));
}

const KeyedUnarchiver::Class& KeyedUnarchiver::classOf(const PropertyList::Object& object) {
    const PropertyList::Object reference = required(object, "$class", Kind::uid);
    const auto known = classes_.find(reference.integer);
    if (known != classes_.end()) {
        return known->second;
    }
    const std::optional<PropertyList::Object> classObject = referredTo(reference);
    if (!classObject) {
        throw ArchiveError("an object's class is nil");
    }
    return classes_.emplace(reference.integer, describedClass(*classObject)).first->second;
}

KeyedUnarchiver::Class KeyedUnarchiver::describedClass(const PropertyList::Object& classObject) {
    const std::string_view name = required(classObject, "$classname", Kind::string).text;
    const PropertyList::Integers classes = required(classObject, "$classes", Kind::array).elements;
    constexpr std::size_t longestChain = 16;
    if (classes.size() > longestChain) {
        throw ArchiveError("the class " + excerptInQuotes(name) + " claims to inherit from " +
                           std::to_string(classes.size()) + " classes");
    }
    if (classes.size() == 0 || list_.object(classes[0]).text != name ||
        !list_.isString(classes[classes.size() - 1], "NSObject")) {
        std::vector<std::string_view> chain;
        for (std::size_t i = 0; i < classes.size(); ++i) {
            chain.push_back(list_.object(classes[i]).text);
        }
        throw ArchiveError("the class " + excerptInQuotes(name) + " claims to inherit through " +
                           bracketed(chain, excerptInQuotes));
    }
    return {.name = name, .chain = classes};
}

bool KeyedUnarchiver::isInstance(const PropertyList::Object& object,
                                 std::initializer_list<std::string_view> classNames) {
    if (object.kind != Kind::dictionary) {
        return false;
    }
    const PropertyList::Integers& chain = classOf(object).chain;
    for (std::size_t i = 0; i < chain.size(); ++i) {
        if (std::any_of(classNames.begin(), classNames.end(),
                        [&](std::string_view name) { return list_.isString(chain[i], name); })) {
            return true;
        }
    }
    return false;
}

KeyedObject KeyedUnarchiver::decoded(const PropertyList::Object& object, std::string_view expectedClass) {
    if (object.kind != Kind::dictionary) {
        throw ArchiveError("there is " + std::string(kindName(object.kind)) + " where an object of class " +
                           inQuotes(expectedClass) + " belongs");
    }
    if (!isInstance(object, {expectedClass})) {
        throw ArchiveError("there is an object of class " + excerptInQuotes(classOf(object).name) +
                           " where one of class " + inQuotes(expectedClass) + " belongs");
    }
    return {*this, object};
}

std::optional<PropertyList::Object> KeyedObject::value(std::string_view key) const {
    const std::optional<std::size_t> index = archive_->list_.find(dictionary_, key);
    if (!index) {
        return std::nullopt;
    }
    const PropertyList::Object value = archive_->list_.object(*index);
    return value.kind == Kind::uid ? archive_->referredTo(value) : value;
}

std::optional<std::string> KeyedObject::string(std::string_view key) const {
    const std::optional<PropertyList::Object> found = value(key);
    if (!found) {
        return std::nullopt;
    }
    if (found->kind == Kind::string) {
        return std::string(found->text);
    }
    if (!archive_->isInstance(*found, {"NSString", "NSMutableString"})) {
        throw ArchiveError(typeFault(key, *found, "a string"));
    }
    return std::string(archive_->required(*found, "NS.string", Kind::string).text);
}

std::optional<double> KeyedObject::real(std::string_view key) const {
    const std::optional<PropertyList::Object> found = value(key);
    if (!found) {
        return std::nullopt;
    }
    if (found->kind != Kind::real && found->kind != Kind::integer) {
        throw ArchiveError(typeFault(key, *found, "a real number"));
    }
    const double number = found->kind == Kind::real ? found->real : static_cast<double>(found->integer);
    if (!std::isfinite(number)) {
        throw ArchiveError("the value of " + inQuotes(key) + " is not a finite number");
    }
    return number;
}

void KeyedObject::forEachObject(std::string_view key, std::string_view className,
                                const std::function<void(const KeyedObject&)>& visit) const {
    const std::optional<PropertyList::Object> found = value(key);
    if (!found) {
        return;
    }
    if (!archive_->isInstance(*found, {"NSArray", "NSMutableArray"})) {
        throw ArchiveError(typeFault(key, *found, "an object of class \"NSArray\""));
    }
    const PropertyList::Integers elements = archive_->required(*found, "NS.objects", Kind::array).elements;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const PropertyList::Object reference = archive_->list_.object(elements[i]);
        if (reference.kind != Kind::uid) {
            throw ArchiveError("an element of " + inQuotes(key) + " is " +
                               std::string(kindName(reference.kind)) + ", not a reference");
        }
        const std::optional<PropertyList::Object> element = archive_->referredTo(reference);
        if (!element) {
            throw ArchiveError("an element of " + inQuotes(key) + " is nil");
        }
        if (archive_->visited_[static_cast<std::size_t>(reference.integer)]) {
            throw ArchiveError("entry " + std::to_string(reference.integer) +
                               " is an element of arrays twice");
        }
        archive_->visited_[static_cast<std::size_t>(reference.integer)] = true;
        visit(archive_->decoded(*element, className));
    }
}

} // namespace Orvex
