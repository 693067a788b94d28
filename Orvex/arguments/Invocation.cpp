#include "Orvex/arguments/Invocation.h"

#include "Orvex/arguments/Help.h"

namespace Orvex {

Invocation::Invocation(const Tool& tool, const SubcommandType& type)
    : words_(tool.name + " " + type.name),
      subcommand_(type.make()),
      options_(subcommand_->properties()),
      help_(helpFlag(options_)) {
    options_.push_back({.name = "help", .property = &help_});
}

std::string Invocation::usage() const {
    return usageLine(words_, std::span(options_).first(options_.size() - 1));
}

} // namespace Orvex
