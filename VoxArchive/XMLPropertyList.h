#pragma once

#include <string>
#include <string_view>

namespace Orvex {

/// A property list of the XML form in the binary form. One whose document type has declarations of its own is
/// refused: a few bytes there can make an XML parser do work for hours. Throws `ArchiveError`.
[[nodiscard]] std::string binaryFromXML(std::string_view bytes);

} // namespace Orvex
