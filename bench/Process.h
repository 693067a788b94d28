#pragma once

#include <string>
#include <vector>

namespace Orvex::Bench {

/// The cost of a process, including the processes that it waited for.
struct Cost {
    /// Seconds.
    double wall = 0;
    double processor = 0;
    /// The largest peak of one process, in bytes.
    double memory = 0;
};

struct Command {
    std::vector<std::string> words;
    /// Files for the standard streams.
    std::string input = "/dev/null";
    std::string output = "/dev/null";
};

/// Runs a command to its end. Throws `std::runtime_error` if it fails.
Cost run(const Command& command);

} // namespace Orvex::Bench
