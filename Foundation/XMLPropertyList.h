#pragma once

#include <string>
#include <string_view>

namespace Orvex {

/// A property list of the XML form in the binary form. One that declares entities is refused. Throws
/// `ArchiveError`.
[[nodiscard]] std::string binaryFromXML(std::string_view bytes);

} // namespace Orvex
