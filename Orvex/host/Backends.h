#pragma once

#include "Orvex/arguments/ExpressibleByArgument.h"
#include <optional>
#include <string>
#include <string_view>

namespace Orvex {

/// A message store or a sending service that a module implements.
struct Backend {
    /// The beginning of the URLs that choose it.
    std::string_view scheme;
    /// The module's name: `orvex_module` in CMake, the package `orvex-NAME`.
    const char* module;
    /// The function in the module that makes the store, or the service.
    const char* factory;
};

/// The message store that a command line names.
struct StoreLocation {
    /// A path, or the URL of a store in a module.
    std::string place;
    /// Null for a file.
    const Backend* backend;
};

/// The sending service that a command line names.
struct ServiceLocation {
    std::string url;
    const Backend* backend;
};

/// A path, a file: URL, or a URL with the scheme of a store in a module.
template <>
struct ArgumentConversion<StoreLocation> {
    static std::optional<StoreLocation> parse(std::string_view word);
    static std::string text(const StoreLocation& location) { return location.place; }
    static ValueSyntax syntax();
};

/// A URL with the scheme of a service in a module.
template <>
struct ArgumentConversion<ServiceLocation> {
    static std::optional<ServiceLocation> parse(std::string_view word);
    static std::string text(const ServiceLocation& location) { return location.url; }
    static ValueSyntax syntax();
};

/// Chooses the store and the service that the commands get when they first need them. Without a location, the
/// store is the user's default file, and messages to send go into an outbox. The outbox is beside the store's
/// file; for a store in a module, it is beside the default file. Throws `std::runtime_error` if the default
/// store is chosen and the user has no home.
void chooseStoreAndService(const std::optional<StoreLocation>& store,
                           const std::optional<ServiceLocation>& service);

} // namespace Orvex
