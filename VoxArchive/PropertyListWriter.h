#pragma once

#include "VoxArchive/PropertyList.h"
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// What a binary property list of version 00 begins with.
inline constexpr std::string_view binaryMagic = "bplist00";

/// An object to be written.
using PropertyListObject = BasicPropertyListObject<std::string, std::vector<std::size_t>>;

/// The binary form, version 00, of a table of objects; dates and data have no contents. Throws
/// `std::invalid_argument` for text that is no UTF-8.
[[nodiscard]] std::string binaryPropertyList(std::span<const PropertyListObject> objects, std::size_t root);

/// The XML form of a table of booleans, integers, real numbers, strings, UIDs, arrays and dictionaries. The
/// objects must not refer to each other in a circle. Throws `std::invalid_argument` for text that XML cannot
/// hold.
[[nodiscard]] std::string xmlPropertyList(std::span<const PropertyListObject> objects, std::size_t root);

} // namespace Orvex
