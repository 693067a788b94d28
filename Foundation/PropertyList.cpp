#include "Foundation/PropertyList.h"

#include "Foundation/BinaryPropertyList.h"
#include "Foundation/XMLPropertyList.h"
#include <algorithm>
#include <array>

namespace Orvex {

std::string_view kindName(PropertyListObject::Kind kind) {
    constexpr std::array<std::string_view, 11> names = {
        "null",     "a boolean",   "an integer", "a real number", "a date",      "data",
        "a string", "a reference", "an array",   "a set",         "a dictionary"};
    return names.at(static_cast<std::size_t>(kind));
}

PropertyList::PropertyList(std::size_t size) : allowance_(16 * std::max<std::size_t>(size, 4096)) {}

void PropertyList::charge(std::size_t amount) {
    if (amount > allowance_) {
        throw ArchiveError("it is damaged: its objects refer to the same objects too often");
    }
    allowance_ -= amount;
}

std::unique_ptr<PropertyList> PropertyList::read(std::string_view bytes) {
    if (bytes.empty()) {
        throw ArchiveError("it is empty");
    }
    if (bytes.starts_with(binaryMagic)) {
        return readBinaryPropertyList(bytes);
    }
    constexpr std::string_view binaryMagicOfAnyVersion = "bplist";
    if (bytes.starts_with(binaryMagicOfAnyVersion)) {
        throw ArchiveError("it is a binary property list of another version than 00");
    }
    return readXMLPropertyList(bytes);
}

} // namespace Orvex
