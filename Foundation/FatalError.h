#pragma once

#include <string_view>

namespace Orvex {

/// Ends the process abnormally, for a fault that no caller can repair: what was printed so far reaches
/// standard output, one line that names the place in the sources and the fault reaches standard error, then
/// `std::abort`.
[[noreturn]] void fatalError(std::string_view place, std::string_view fault);

} // namespace Orvex
