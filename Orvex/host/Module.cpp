#include "Orvex/host/Module.h"

#include "Foundation/QuotedText.h"
#include <dlfcn.h>
#include <filesystem>
#include <stdexcept>

namespace Orvex {

void* factoryInModule(const std::string& name, const char* factory) {
    const std::string file = name + "-" ORVEX_VERSION ".so";
    const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    // Beside the program that has been built, or where it is installed.
    const std::filesystem::path built = folder / file;
    const std::filesystem::path path = exists(built) ? built : folder / ORVEX_MODULE_FOLDER / file;
    if (!exists(path)) {
        throw std::runtime_error("the package orvex-" + name + " is missing (there is no " +
                                 inQuotes(path.lexically_normal().native()) + "); install it");
    }
    void* const module = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    void* const symbol = module != nullptr ? dlsym(module, factory) : nullptr;
    if (symbol == nullptr) {
        throw std::runtime_error("the module of the package orvex-" + name + " cannot be loaded (" +
                                 onOneLine(dlerror()) + "); install it again");
    }
    return symbol;
}

} // namespace Orvex
