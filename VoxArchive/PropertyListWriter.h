#pragma once

#include "VoxArchive/PropertyList.h"
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// Beginning of a binary property list, version 00.
inline constexpr std::string_view binaryMagic = "bplist00";

/// An object to be written.
using PropertyListObject = BasicPropertyListObject<std::string, std::vector<std::size_t>>;

/// Writes a table of objects in the binary form, version 00. Dates and data have no contents. Throws
/// `std::invalid_argument` for text that is not UTF-8.
[[nodiscard]] std::string binaryPropertyList(std::span<const PropertyListObject> objects, std::size_t root);

/// Writes a table of booleans, integers, real numbers, strings, UIDs, arrays and dictionaries as XML. Their
/// references must not form a cycle. Throws `std::invalid_argument` for text that is not UTF-8 or that XML
/// cannot hold.
[[nodiscard]] std::string xmlPropertyList(std::span<const PropertyListObject> objects, std::size_t root);

} // namespace Orvex
