#include "FailingSystemCalls.h"

#include <cerrno>
#include <filesystem>
#include <sys/types.h>
#include <system_error>
#include <unistd.h>

namespace Orvex::Testing {

namespace {

struct Plan {
    int callsUntilThen = -1;
    FailingSystemCalls::Effect effect{};
    int error = 0;
    int copyError = 0;
    bool happened = false;
    std::vector<std::string> steps{};
};
Plan plan;

/// Counts a call, and says whether it is the one to fail.
bool fails() {
    if (plan.callsUntilThen < 0 || plan.callsUntilThen-- > 0) {
        return false;
    }
    if (plan.effect == FailingSystemCalls::Effect::processEnds) {
        _exit(0);
    }
    plan.happened = true;
    errno = plan.error;
    return true;
}

} // namespace

FailingSystemCalls::FailingSystemCalls(int number, Effect effect, int error) {
    plan = {.callsUntilThen = number, .effect = effect, .error = error};
}

FailingSystemCalls::FailingSystemCalls() {
    plan = {};
}

FailingSystemCalls::FailingSystemCalls(int copyError) {
    plan = {.copyError = copyError};
}

FailingSystemCalls::~FailingSystemCalls() {
    plan = {};
}

const std::vector<std::string>& FailingSystemCalls::steps() {
    return plan.steps;
}

bool FailingSystemCalls::happened() {
    return plan.happened;
}

} // namespace Orvex::Testing

// The linker's names for the wrapper of a function and the function itself (option --wrap).
// NOLINTBEGIN(bugprone-reserved-identifier)
using Orvex::Testing::fails;

extern "C" {

int __real_fsync(int file);
int __wrap_fsync(int file) {
    std::error_code ignored;
    const auto link = std::filesystem::path("/proc/self/fd") / std::to_string(file);
    Orvex::Testing::plan.steps.push_back(std::filesystem::read_symlink(link, ignored).filename());
    return fails() ? -1 : __real_fsync(file);
}

int __real_mkdir(const char* path, mode_t mode);
int __wrap_mkdir(const char* path, mode_t mode) {
    return fails() ? -1 : __real_mkdir(path, mode);
}

int __real_mkdirat(int folder, const char* path, mode_t mode);
int __wrap_mkdirat(int folder, const char* path, mode_t mode) {
    return fails() ? -1 : __real_mkdirat(folder, path, mode);
}

int __real_openat(int folder, const char* path, int flags, mode_t mode);
int __wrap_openat(int folder, const char* path, int flags, mode_t mode) {
    return fails() ? -1 : __real_openat(folder, path, flags, mode);
}

int __real_fchmod(int file, mode_t mode);
int __wrap_fchmod(int file, mode_t mode) {
    return fails() ? -1 : __real_fchmod(file, mode);
}

int __real_fchmodat(int folder, const char* path, mode_t mode, int flags);
int __wrap_fchmodat(int folder, const char* path, mode_t mode, int flags) {
    return fails() ? -1 : __real_fchmodat(folder, path, mode, flags);
}

ssize_t __real_write(int file, const void* bytes, size_t size);
ssize_t __wrap_write(int file, const void* bytes, size_t size) {
    return fails() ? -1 : __real_write(file, bytes, size);
}

ssize_t __real_copy_file_range(int in, off_t* inOffset, int out, off_t* outOffset, size_t size,
                               unsigned flags);
ssize_t __wrap_copy_file_range(int in, off_t* inOffset, int out, off_t* outOffset, size_t size,
                               unsigned flags) {
    if (Orvex::Testing::plan.copyError != 0) {
        errno = Orvex::Testing::plan.copyError;
        return -1;
    }
    return fails() ? -1 : __real_copy_file_range(in, inOffset, out, outOffset, size, flags);
}

int __real_renameat(int fromFolder, const char* from, int toFolder, const char* to);
int __wrap_renameat(int fromFolder, const char* from, int toFolder, const char* to) {
    Orvex::Testing::plan.steps.emplace_back("rename");
    return fails() ? -1 : __real_renameat(fromFolder, from, toFolder, to);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
