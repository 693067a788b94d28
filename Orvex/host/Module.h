#pragma once

#include <string>

namespace Orvex {

/// Loads a module of this program, `NAME-VERSION.so`, and looks up its factory there. It stays loaded: the
/// code of what the factory makes is in it. Throws `std::runtime_error`, which names the package
/// `orvex-NAME`.
[[nodiscard]] void* factoryInModule(const std::string& name, const char* factory);

} // namespace Orvex
