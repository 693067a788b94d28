#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace Orvex::Bench {

/// What a process and those that it waited for cost.
struct Cost {
    /// In seconds.
    double wall = 0;
    double processor = 0;
    /// The largest of them, in bytes.
    double memory = 0;
};

struct Command {
    std::vector<std::string> words;
    /// Files that its standard streams are connected to.
    std::string input = "/dev/null";
    std::string output = "/dev/null";
};

/// Starts a command.
pid_t start(const Command& command);
/// Runs a command to its end. Throws when it fails.
Cost run(const Command& command);

} // namespace Orvex::Bench
