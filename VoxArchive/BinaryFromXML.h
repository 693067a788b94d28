#pragma once

#include <string>
#include <string_view>

namespace Orvex {

/// Converts a property list from the XML form to the binary form. Refuses a document type with declarations,
/// a few bytes of which can keep an XML parser busy for hours. Throws `ArchiveError`.
[[nodiscard]] std::string binaryFromXML(std::string_view bytes);

} // namespace Orvex
