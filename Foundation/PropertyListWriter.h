#pragma once

#include "Foundation/PropertyList.h"
#include <cstddef>
#include <span>
#include <string>

namespace Orvex {

/// The binary form, version 00, of a table of objects: booleans, integers, real numbers, strings, UIDs,
/// arrays and dictionaries. Throws `std::invalid_argument` for text that is no UTF-8.
[[nodiscard]] std::string binaryPropertyList(std::span<const PropertyListObject> objects, std::size_t root);

/// The XML form of the same. The objects must not refer to each other in a circle. Throws
/// `std::invalid_argument` for text that XML cannot hold.
[[nodiscard]] std::string xmlPropertyList(std::span<const PropertyListObject> objects, std::size_t root);

} // namespace Orvex
