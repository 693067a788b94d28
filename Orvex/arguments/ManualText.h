#pragma once

#include <string_view>

namespace Orvex {

/// What a manual page says besides what the options declare. Plain text: a blank line separates paragraphs, a
/// line that begins with four blanks is shown as it stands, and "{tool}" stands for the tool's name. The
/// views refer to memory that outlives the text, usually literals.
struct ManualText {
    /// What it does, in a few words without a capital or a full stop.
    std::string_view summary = {};
    std::string_view description = {};
    /// What the exit status of a command tells besides the tool's table of statuses.
    std::string_view exitStatus = {};
    std::string_view examples = {};
};

} // namespace Orvex
