#include "Orvex/host/ModuleLoader.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/QuotedText.h"
#include "Orvex/Version.h"
#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>

namespace Orvex {

namespace {

/// The file that runs, even if another file has its name by now.
constexpr const char* program = "/proc/self/exe";

/// The reason not to load an open file; empty if there is none.
std::string faultOf(int file) {
    struct stat module {};
    struct stat own {};
    if (fstat(file, &module) != 0 || stat(program, &own) != 0) {
        return std::generic_category().message(errno);
    }
    if (!S_ISREG(module.st_mode)) {
        return "it is not a regular file";
    }
    if (module.st_uid != 0 && module.st_uid != own.st_uid) {
        return "it belongs to user " + std::to_string(module.st_uid) +
               ", neither to root nor to the program's owner, user " + std::to_string(own.st_uid);
    }
    return (module.st_mode & S_IWOTH) != 0 ? "everybody may write it" : "";
}

/// Opens a module and checks it. Without such a file, the descriptor is negative.
FileDescriptor openModule(const std::string& package, const std::filesystem::path& path) {
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    const int error = file.get() < 0 ? errno : 0;
    if (error == ENOENT || error == ENOTDIR) {
        return file;
    }
    const std::string fault = error == 0       ? faultOf(file.get())
                              : error == ELOOP ? "it is a symbolic link"
                                               : std::generic_category().message(error);
    if (!fault.empty()) {
        throw std::runtime_error("the module " + inQuotes(path.lexically_normal().native()) +
                                 " is not loaded: " + fault + "; reinstall the package " + package);
    }
    return file;
}

} // namespace

void* factoryInModule(const std::string& name, const char* factory) {
    const std::string package = "orvex-" + name;
    const std::string file = name + "-" ORVEX_VERSION ".so";
    const std::filesystem::path folder = std::filesystem::read_symlink(program).parent_path();
    // A build folder has modules beside the program; an installation has a folder for them.
    std::filesystem::path path = folder / file;
    FileDescriptor opened = openModule(package, path);
    if (opened.get() < 0) {
        path = folder / ORVEX_MODULE_FOLDER / file;
        opened = openModule(package, path);
    }
    const std::string shownPath = inQuotes(path.lexically_normal().native());
    if (opened.get() < 0) {
        throw std::runtime_error("the package " + package + " is missing (there is no " + shownPath +
                                 "); install it");
    }
    // Loads the descriptor that was checked: the path may lead to another file by now.
    void* const module =
        dlopen(("/proc/self/fd/" + std::to_string(opened.get())).c_str(), RTLD_LAZY | RTLD_LOCAL);
    void* const symbol = module != nullptr ? dlsym(module, factory) : nullptr;
    if (symbol == nullptr) {
        throw std::runtime_error("the module " + shownPath + " cannot be loaded (" + onOneLine(dlerror()) +
                                 "); reinstall the package " + package);
    }
    // Stays open: another module with the same number in its path would count as loaded already.
    opened.release();
    return symbol;
}

} // namespace Orvex
