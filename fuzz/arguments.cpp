#include "Fuzzing.h"
#include "Orvex/TerminalTools.h"
#include "Orvex/arguments/Tool.h"
#include "Orvex/commands/DeleteMessage.h"
#include "Orvex/commands/GetAllMessages.h"
#include "Orvex/commands/SaveMessage.h"
#include "Orvex/commands/SendVideoMessage.h"
#include "Orvex/commands/UpdateMessage.h"
#include "Orvex/commands/VoicemailMessages.h"
#include <algorithm>
#include <filesystem>
#include <vector>

namespace Orvex::Fuzzing {

namespace {

/// A command that parses the options of T and only prints the record that they make.
template <AsyncParsableCommand T>
SubcommandType withoutEffect() {
    class Shown final : public Subcommand {
      public:
        std::vector<BoundProperty> properties() override { return boundProperties(command_); }
        Async<void> run() override {
            if constexpr (requires(const T& command) { command.message(); }) {
                show(command_.message().description());
            } else if constexpr (requires(const T& command) { command.update(UUID()); }) {
                show(command_.update(UUID()).description());
            }
            co_return;
        }

      private:
        static void show(const std::string& record) {
            expect(isHarmlessRecord(record),
                   "no word of the command line controls the terminal or ends its line");
            printLine(record, false);
        }

        T command_;
    };
    return {.name = lowerCaseWords(T::typeName),
            .make = [] { return std::unique_ptr<Subcommand>(std::make_unique<Shown>()); },
            .manual = {}};
}

struct HostOptions {
    Option<std::optional<std::filesystem::path>> store{std::nullopt, {derivedLong}, "The store."};

    ORVEX_CODING_KEYS(HostOptions, store)
};

} // namespace

/// The input is the words of a command line, separated by NULs.
void tryInput(std::string_view input) {
    std::vector<std::string_view> words;
    for (std::size_t start = 0; start < input.size();) {
        const std::size_t end = std::min(input.find('\0', start), input.size());
        words.push_back(input.substr(start, end - start));
        start = end + 1;
    }
    HostOptions options;
    const Tool tool{.name = "tool",
                    .version = "1",
                    .summary = "Takes any words.",
                    .subcommands = {withoutEffect<SaveMessage>(), withoutEffect<UpdateMessage>(),
                                    withoutEffect<DeleteMessage>(), withoutEffect<GetAllMessages>(),
                                    withoutEffect<SendVideoMessage>(), withoutEffect<VoicemailMessages>()},
                    .options = boundProperties(options),
                    .prepare = {}};
    std::string output;
    std::string errors;
    ExitStatus status{};
    {
        const Capture captureOutput(stdout);
        const Capture captureErrors(stderr);
        status = run(tool, words);
        output = captureOutput.text();
        errors = captureErrors.text();
    }
    expect(status == ExitStatus::success || status == ExitStatus::usage, "a command line is run or refused");
    expect(errors.empty() == (status == ExitStatus::success),
           "standard error has text exactly if there is an error");
    expect(output.empty() || errors.empty(), "a refused command line is not run");
    // One line each for the error, the usage and the help option.
    expect(isHarmlessRecord(errors) &&
               (errors.empty() || std::count(errors.begin(), errors.end(), '\n') == 3),
           "no word in an error controls the terminal or ends its line");
}

} // namespace Orvex::Fuzzing
