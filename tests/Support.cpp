#include "Support.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace Orvex::Testing {

namespace {

int checked(int result) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    return result;
}

/// A file without a name that holds `bytes`, to be read from its beginning.
int memoryFile(std::string_view bytes = "") {
    const int file = checked(memfd_create("test", MFD_CLOEXEC));
    checked(static_cast<int>(write(file, bytes.data(), bytes.size())));
    checked(static_cast<int>(lseek(file, 0, SEEK_SET)));
    return file;
}

std::string contentOf(int file) {
    std::string text;
    std::array<char, 4096> buffer{};
    checked(static_cast<int>(lseek(file, 0, SEEK_SET)));
    for (ssize_t size = 0;
         (size = checked(static_cast<int>(read(file, buffer.data(), buffer.size())))) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(size));
    }
    return text;
}

/// These words, which must outlive it, as C has a command line.
std::vector<char*> argumentVector(std::vector<std::string>& command) {
    std::vector<char*> words;
    for (std::string& word : command) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    return words;
}

int exitStatus(int waitStatus) {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -WTERMSIG(waitStatus);
}

} // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "orvex-test-XXXXXX").native();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::filesystem::remove_all(path_);
}

InputFrom::InputFrom(std::string_view text) : standardInput_(checked(dup(STDIN_FILENO))) {
    const int file = memoryFile(text);
    checked(dup2(file, STDIN_FILENO));
    close(file);
}

InputFrom::~InputFrom() {
    dup2(standardInput_, STDIN_FILENO);
    close(standardInput_);
}

std::vector<std::string> split(std::string_view text, std::string_view separator) {
    std::vector<std::string> parts;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find(separator, start), text.size());
        if (end > start) {
            parts.emplace_back(text.substr(start, end - start));
        }
        start = end + separator.size();
    }
    return parts;
}

TerminalSession::TerminalSession(std::vector<std::string> command) {
    const std::vector<char*> words = argumentVector(command);
    program_ = checked(forkpty(&terminal_, nullptr, nullptr, nullptr));
    if (program_ == 0) {
        execvp(words.front(), words.data());
        _exit(127);
    }
}

TerminalSession::~TerminalSession() {
    if (program_ > 0) {
        kill(program_, SIGKILL);
        waitpid(program_, nullptr, 0);
    }
    close(terminal_);
}

bool TerminalSession::readMore() {
    pollfd readable{.fd = terminal_, .events = POLLIN, .revents = 0};
    std::array<char, 4096> buffer{};
    constexpr int milliseconds = 10000;
    const ssize_t size =
        poll(&readable, 1, milliseconds) == 1 ? read(terminal_, buffer.data(), buffer.size()) : 0;
    if (size > 0) {
        unread_.append(buffer.data(), static_cast<std::size_t>(size));
    }
    return size > 0;
}

std::optional<std::string> TerminalSession::shownUpTo(std::string_view text) {
    do {
        if (const std::size_t found = unread_.find(text); found != std::string::npos) {
            std::string before = unread_.substr(0, found);
            unread_.erase(0, found + text.size());
            return before;
        }
    } while (readMore());
    return std::nullopt;
}

std::string TerminalSession::everythingShown() {
    while (readMore()) {
    }
    return std::exchange(unread_, "");
}

void TerminalSession::type(std::string_view keys) {
    checked(static_cast<int>(write(terminal_, keys.data(), keys.size())));
}

int TerminalSession::status() {
    int waitStatus = 0;
    checked(waitpid(std::exchange(program_, -1), &waitStatus, 0));
    return exitStatus(waitStatus);
}

ProgramRun runProgram(std::vector<std::string> command, std::string_view input) {
    const std::vector<char*> words = argumentVector(command);

    const std::array files{memoryFile(input), memoryFile(), memoryFile()};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int standardFile = 0; standardFile < 3; ++standardFile) {
        posix_spawn_file_actions_adddup2(&actions, files.at(static_cast<std::size_t>(standardFile)),
                                         standardFile);
    }
    pid_t child = 0;
    const int error = posix_spawnp(&child, words.front(), &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), words.front());
    }
    int waitStatus = 0;
    checked(waitpid(child, &waitStatus, 0));
    ProgramRun run{
        .output = contentOf(files[1]), .errors = contentOf(files[2]), .status = exitStatus(waitStatus)};
    for (const int file : files) {
        close(file);
    }
    return run;
}

ProgramRun runOrvex(std::vector<std::string> arguments, std::string_view input) {
    arguments.insert(arguments.begin(), ORVEX_PROGRAM);
    return runProgram(std::move(arguments), input);
}

bool eventually(const std::function<bool()>& condition) {
    for (int attempt = 0; attempt < 1000 && !condition(); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

std::string repeated(std::string_view text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

std::string bigEndian(std::uint64_t value, int size) {
    std::string bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
        bytes += static_cast<char>(value >> static_cast<unsigned>(shift));
    }
    return bytes;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

StoredMessage newMessage(MessageType type, MessageProvider provider, std::string_view from) {
    StoredMessage message{.conversationID = UUID::random(),
                          .messageFile = FileURL::fromPath("/media/file.mov"),
                          .type = type,
                          .from = std::string(from),
                          .provider = provider,
                          .simID = "SIM"};
    message.recordUUID = UUID::random();
    return message;
}

} // namespace Orvex::Testing
