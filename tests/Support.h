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
#include <map>
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

/// A folder that is removed together with the object.
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

/// While it lives, the standard input of this process is `text`.
class InputFrom {
  public:
    explicit InputFrom(std::string_view text);
    ~InputFrom();
    InputFrom(const InputFrom&) = delete;
    InputFrom& operator=(const InputFrom&) = delete;

  private:
    int standardInput_;
};

/// Returns the text that this process writes to standard output while `action` runs.
template <class Action>
std::string outputOf(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

/// The parts of a text between separators, without empty ones.
[[nodiscard]] std::vector<std::string> split(std::string_view text, std::string_view separator = " ");

/// Fills in a command from a command line.
template <ParsableArguments Command>
Command parsed(std::string_view line) {
    const std::vector<std::string> texts = split(line);
    Command command;
    parseArguments(boundProperties(command), std::vector<std::string_view>(texts.begin(), texts.end()));
    return command;
}

/// Runs a command and returns the text that it prints.
template <AsyncParsableCommand Command>
std::string commandOutput(std::string_view line, std::string_view input = "") {
    const InputFrom standardInput(input);
    auto command = parsed<Command>(line);
    return outputOf([&] { runToCompletion(command.run()); });
}

/// Runs `action` in `count` processes at once, with a number from 0 each. Returns their exit statuses, 255
/// after an exception, or minus the number of the signal that ended it.
std::vector<int> runInProcesses(int count, const std::function<void(int)>& action);

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

    /// Waits until `text` is on the screen, after the text of the last such call. Returns the text before it;
    /// nothing if it does not appear within ten seconds, or the program ends.
    [[nodiscard]] std::optional<std::string> shownUpTo(std::string_view text);
    [[nodiscard]] bool shows(std::string_view text) { return shownUpTo(text).has_value(); }
    /// Waits for the end of the program, and returns the rest of the screen.
    [[nodiscard]] std::string everythingShown();
    void type(std::string_view keys);
    /// Waits for the end of the program. Returns its exit status, or minus the number of the signal.
    [[nodiscard]] int status();

  private:
    /// Waits for more on the screen. Returns false after ten seconds, or if the program has ended.
    bool readMore();

    int terminal_ = -1;
    pid_t program_ = -1;
    std::string unread_;
};

/// Waits until `condition` is true. Returns false after ten seconds.
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
/// The low bytes of an integer, the highest first.
[[nodiscard]] std::string bigEndian(std::uint64_t value, int size = 4);

[[nodiscard]] std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, std::string_view bytes);
/// The contents of the regular files below a folder, by their paths in it.
[[nodiscard]] std::map<std::string, std::string> filesIn(const std::filesystem::path& folder);

/// A message that is not stored yet.
[[nodiscard]] StoredMessage newMessage(MessageType type = MessageType::video,
                                       MessageProvider provider = MessageProvider::Zelvo,
                                       std::string_view from = "ann@example.com");

} // namespace Orvex::Testing
