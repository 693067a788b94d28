#pragma once

#include "Foundation/PropertyList.h"
#include <string_view>

namespace Orvex {

/// See `PropertyList::read`. Expat guards against entities that expand without end, and none are declared by
/// the list itself, or it is refused.
[[nodiscard]] std::unique_ptr<PropertyList> readXMLPropertyList(std::string_view bytes);

} // namespace Orvex
