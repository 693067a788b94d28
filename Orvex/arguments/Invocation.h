#pragma once

#include "Orvex/arguments/Parser.h"
#include "Orvex/arguments/Tool.h"
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Orvex {

/// A command with its options and the help flag, before and while it runs.
class Invocation {
  public:
    Invocation(const Tool& tool, const SubcommandType& type);
    Invocation(const Invocation&) = delete;
    Invocation& operator=(const Invocation&) = delete;

    /// The command's options in order of declaration, then the help flag. This object must outlive them.
    [[nodiscard]] const std::vector<BoundProperty>& options() const noexcept { return options_; }

    /// The words that call the command.
    [[nodiscard]] const std::string& words() const noexcept { return words_; }

    [[nodiscard]] std::string usage() const;
    [[nodiscard]] bool asksForHelp(Words words) const { return isGiven(options_.back(), words); }
    void parse(Words words, const OptionsElsewhere& elsewhere) { parseArguments(options_, words, elsewhere); }
    Async<void> run() { return subcommand_->run(); }

  private:
    std::string words_;
    std::unique_ptr<Subcommand> subcommand_;
    std::vector<BoundProperty> options_;
    Flag help_;
};

} // namespace Orvex
