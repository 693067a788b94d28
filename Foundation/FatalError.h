#pragma once

#include <string_view>

namespace Orvex {

/// Reports a fault that no caller can handle: flushes standard output, prints `place`, a position in the
/// sources, and `fault` as one line to standard error, and calls `std::abort`.
[[noreturn]] void fatalError(std::string_view place, std::string_view fault);

} // namespace Orvex
