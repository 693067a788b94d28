#include "Orvex/arguments/Invocation.h"

#include "Orvex/arguments/Help.h"
#include <algorithm>

namespace Orvex {

Invocation::Invocation(const Tool& tool, const SubcommandType& type)
    : words_(tool.name + " " + type.name),
      subcommand_(type.make()),
      options_(subcommand_->properties()),
      help_(isSpelling("-h", options_) ? Names{customLong("help")}
                                       : Names{singleDash("h"), customLong("help")},
            helpFlagText) {
    options_.push_back({.name = "help", .property = &help_});
}

std::string Invocation::usage() const {
    return usageLine(words_, std::span(options_).first(options_.size() - 1));
}

} // namespace Orvex
