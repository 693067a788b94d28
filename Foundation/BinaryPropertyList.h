#pragma once

#include "Foundation/PropertyList.h"
#include <string_view>

namespace Orvex {

/// What a binary property list of version 00 begins with.
inline constexpr std::string_view binaryMagic = "bplist00";

/// See `PropertyList::read`; `bytes` begin with the magic.
[[nodiscard]] std::unique_ptr<PropertyList> readBinaryPropertyList(std::string_view bytes);

} // namespace Orvex
