#pragma once

#include "Foundation/Async.h"
#include "Orvex/arguments/Parser.h"
#include "Orvex/model/StoredMessage.h"
#include "Orvex/store/MessageStore.h"
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Orvex::Testing {

/// A short name for what the tests do most.
template <class T>
T wait(Async<T> work) {
    return runToCompletion(std::move(work));
}

/// A folder of its own for a test, gone with the object.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

/// Gives this process `text` as its standard input, while it lives.
class InputFrom {
  public:
    explicit InputFrom(std::string_view text);
    ~InputFrom();
    InputFrom(const InputFrom&) = delete;
    InputFrom& operator=(const InputFrom&) = delete;

  private:
    int standardInput_;
};

/// What this process writes to standard output while `action` runs.
template <class Action>
std::string outputOf(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

/// The parts of a text between separators, of which there may be several in a row.
[[nodiscard]] std::vector<std::string> split(std::string_view text, std::string_view separator = " ");

/// Fills in a command from a command line.
template <ParsableArguments Command>
Command parsed(std::string_view line) {
    const std::vector<std::string> texts = split(line);
    Command command;
    parseArguments(boundProperties(command), std::vector<std::string_view>(texts.begin(), texts.end()));
    return command;
}

/// What a command given like this prints when it runs, `input` on its standard input.
template <AsyncParsableCommand Command>
std::string commandOutput(std::string_view line, std::string_view input = "") {
    const InputFrom standardInput(input);
    auto command = parsed<Command>(line);
    return outputOf([&] { runToCompletion(command.run()); });
}

/// Runs `action` in so many processes at once, given a number from 0 each; returns their exit statuses, 255
/// for one that an exception left.
template <class Action>
std::vector<int> runInProcesses(int count, Action action) {
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
    std::vector<int> statuses;
    for (const pid_t process : processes) {
        int status = -1;
        waitpid(process, &status, 0);
        statuses.push_back(WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
    }
    return statuses;
}

struct ProgramRun {
    std::string output;
    std::string errors;
    /// The exit status, or minus the number of the signal that ended it.
    int status = 0;

    bool operator==(const ProgramRun&) const = default;
};

/// Runs a program, looked up in PATH, with `input` on its standard input.
[[nodiscard]] ProgramRun runProgram(std::vector<std::string> command, std::string_view input = "");

/// Runs the built program with these arguments.
[[nodiscard]] ProgramRun runOrvex(std::vector<std::string> arguments, std::string_view input = "");

/// A program, looked up in PATH, in a terminal of its own.
class TerminalSession {
  public:
    explicit TerminalSession(std::vector<std::string> command);
    ~TerminalSession();
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    /// Waits until `text` is on the screen, behind what was waited for before; returns what comes before it.
    /// Absent after ten seconds, or when the program ends without it.
    [[nodiscard]] std::optional<std::string> shownUpTo(std::string_view text);
    [[nodiscard]] bool shows(std::string_view text) { return shownUpTo(text).has_value(); }
    /// What is on the screen behind that when the program has ended.
    [[nodiscard]] std::string everythingShown();
    void type(std::string_view keys);
    /// Waits for the program's end; its exit status, or minus the signal's number.
    [[nodiscard]] int status();

  private:
    /// Waits for more on the screen; false after ten seconds, or when the program has ended.
    bool readMore();

    int terminal_ = -1;
    pid_t program_ = -1;
    std::string unread_;
};

/// Waits until `condition` is true; false when it is not within ten seconds.
[[nodiscard]] bool eventually(const std::function<bool()>& condition);

/// The message of the error that ends `operation`; empty if none does. Errors of other types pass through,
/// which fails the test.
template <class Error = MessageStoreError, class Operation>
[[nodiscard]] std::string errorOf(Operation&& operation) {
    try {
        operation();
    } catch (const Error& error) {
        return error.what();
    }
    return "";
}

[[nodiscard]] std::string repeated(std::string_view text, int times);
/// The low bytes of an integer, as files of SQLite and messages of PostgreSQL have them.
[[nodiscard]] std::string bigEndian(std::uint64_t value, int size = 4);

[[nodiscard]] std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, std::string_view bytes);

/// A message that is not stored yet.
[[nodiscard]] StoredMessage newMessage(MessageType type = MessageType::video,
                                       MessageProvider provider = MessageProvider::Zelvo,
                                       std::string_view from = "ann@example.com");

} // namespace Orvex::Testing
