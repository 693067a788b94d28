#include "Orvex/host/SharedStore.h"

#include "Foundation/QuotedText.h"
#include <dlfcn.h>
#include <filesystem>

namespace Orvex {

namespace {

/// Where the module is: beside the program that has been built, or where it is installed.
std::filesystem::path modulePath() {
    const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::filesystem::path built = folder / ORVEX_POSTGRESQL_MODULE;
    return exists(built) ? built : folder / ORVEX_MODULE_FOLDER / ORVEX_POSTGRESQL_MODULE;
}

[[noreturn]] void fail(const std::string& reason) {
    throw MessageStoreError("cannot reach a message store on a PostgreSQL server: " + reason);
}

} // namespace

bool isSharedStore(std::string_view location) {
    return location.starts_with("postgresql://") || location.starts_with("postgres://");
}

std::shared_ptr<MessageStore> makeSharedStore(const std::string& location) {
    const std::filesystem::path path = modulePath();
    if (!exists(path)) {
        fail("the package orvex-postgresql is missing (there is no " +
             inQuotes(path.lexically_normal().native()) + "); install it");
    }
    void* const module = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    void* const symbol = module != nullptr ? dlsym(module, "orvexMakePostgreSQLStore") : nullptr;
    if (symbol == nullptr) {
        fail("the module of the package orvex-postgresql cannot be loaded (" + onOneLine(dlerror()) +
             "); install it again");
    }
    // The module stays loaded: the store's code is in it.
    const auto make = reinterpret_cast<MessageStore* (*)(const char*)>(symbol);
    return std::shared_ptr<MessageStore>(make(location.c_str()));
}

} // namespace Orvex
