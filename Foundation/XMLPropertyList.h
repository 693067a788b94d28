#pragma once

#include "Foundation/PropertyList.h"
#include <string_view>

namespace Orvex {

/// See `PropertyList::read`. A list that declares entities is refused.
[[nodiscard]] std::unique_ptr<PropertyList> readXMLPropertyList(std::string_view bytes);

} // namespace Orvex
