#pragma once

#include <concepts>
#include <memory>
#include <string>

namespace Orvex {

/// Loads a module of this program, `NAME-VERSION.so`, and looks up its factory there. The file must belong to
/// root or to the program's owner, and be neither a symbolic link nor writable for everybody. It stays
/// loaded: the code of what the factory makes is in it. Throws `std::runtime_error`, which names the package
/// `orvex-NAME`.
[[nodiscard]] void* factoryInModule(const std::string& name, const char* factory);

/// What a module's factory makes of some texts.
template <class Product, std::same_as<const char*>... Text>
[[nodiscard]] std::shared_ptr<Product> makeByModule(const std::string& name, const char* factory,
                                                    Text... texts) {
    const auto make = reinterpret_cast<Product* (*)(Text...)>(factoryInModule(name, factory));
    return std::shared_ptr<Product>(make(texts...));
}

} // namespace Orvex
