#pragma once

#include <concepts>
#include <memory>
#include <string>

namespace Orvex {

/// Loads a module of this program, `NAME-VERSION.so`, and returns the address of its factory. The file must
/// belong to root or to the program's owner, must not be a symbolic link, and must not be writable for
/// everybody. The module stays loaded, because it contains the code of the objects that it makes. Throws
/// `std::runtime_error`, which names the package `orvex-NAME`.
[[nodiscard]] void* factoryInModule(const std::string& name, const char* factory);

/// Makes an object by a module's factory, a function of these texts. Throws what `factoryInModule` and the
/// factory throw.
template <class Product, std::same_as<const char*>... Text>
[[nodiscard]] std::shared_ptr<Product> makeByModule(const std::string& name, const char* factory,
                                                    Text... texts) {
    const auto make = reinterpret_cast<Product* (*)(Text...)>(factoryInModule(name, factory));
    return std::shared_ptr<Product>(make(texts...));
}

} // namespace Orvex
