#include "Support.h"

#include "Foundation/FileDescriptor.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <pty.h>
#include <sstream>
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

/// Puts a program in the place of this one.
[[noreturn]] void execute(std::vector<std::string>& command) {
    std::vector<char*> words;
    for (std::string& word : command) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    execvp(words.front(), words.data());
    _exit(127);
}

int statusOf(pid_t process) {
    int status = 0;
    checked(waitpid(process, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
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
    const TemporaryFolder folder;
    writeFile(folder / "input", text);
    dup2(FileDescriptor(open((folder / "input").c_str(), O_RDONLY)).get(), STDIN_FILENO);
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
    program_ = checked(forkpty(&terminal_, nullptr, nullptr, nullptr));
    if (program_ == 0) {
        execute(command);
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
    return statusOf(std::exchange(program_, -1));
}

std::vector<int> runInProcesses(int count, const std::function<void(int)>& action) {
    std::vector<pid_t> processes;
    for (int i = 0; i < count; ++i) {
        processes.push_back(fork());
        if (processes.back() == 0) {
            try {
                action(i);
                _exit(0);
            } catch (const std::exception& error) {
                std::fprintf(stderr, "%s\n", error.what());
                _exit(255);
            }
        }
    }
    std::vector<int> statuses(processes.size());
    std::transform(processes.begin(), processes.end(), statuses.begin(), statusOf);
    return statuses;
}

ProgramRun runProgram(std::vector<std::string> command, std::string_view input) {
    const TemporaryFolder folder;
    const std::array files{folder / "input", folder / "output", folder / "errors"};
    writeFile(files[0], input);
    const int status = runInProcesses(1, [&](int) {
        for (int standardFile = 0; const std::filesystem::path& file : files) {
            checked(dup2(checked(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)), standardFile++));
        }
        execute(command);
    })[0];
    return {.output = readFile(files[1]), .errors = readFile(files[2]), .status = status};
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
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return std::move(bytes).str();
}

void writeFile(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::map<std::string, std::string> filesIn(const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.symlink_status().type() == std::filesystem::file_type::regular) {
            files[entry.path().lexically_relative(folder)] = readFile(entry);
        }
    }
    return files;
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
