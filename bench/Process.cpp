#include "Process.h"

#include <chrono>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Orvex::Bench {

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

[[noreturn]] void fail(const Command& command) {
    std::string text;
    for (const std::string& word : command.words) {
        text += " " + word;
    }
    throw std::runtime_error("failed:" + text);
}

pid_t start(const Command& command) {
    std::vector<char*> words;
    for (const std::string& word : command.words) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, command.input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, command.output.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
    pid_t child = 0;
    const int error = posix_spawnp(&child, words[0], &files, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        fail(command);
    }
    return child;
}

} // namespace

Cost run(const Command& command) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point before = Clock::now();
    const pid_t child = start(command);
    int status = -1;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || status != 0) {
        fail(command);
    }
    constexpr double kilobyte = 1024;
    return {.wall = std::chrono::duration<double>(Clock::now() - before).count(),
            .processor = seconds(usage.ru_utime) + seconds(usage.ru_stime),
            .memory = static_cast<double>(usage.ru_maxrss) * kilobyte};
}

} // namespace Orvex::Bench
