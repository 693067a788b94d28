#pragma once

#include <string_view>

namespace Orvex {

/// The prose of a manual page. Its synopsis and its list of options are made from the options.
///
/// Plain text. A blank line separates paragraphs, a line that begins with four blanks is shown as it is, and
/// "{tool}" stands for the tool's name. The views must refer to memory that outlives this object, usually
/// literals.
struct ManualText {
    /// A few words without a capital or a full stop, as in "list messages". Completion scripts show them,
    /// too.
    std::string_view summary = {};
    /// The section DESCRIPTION.
    std::string_view description = {};
    /// Stands in front of the table of exit statuses; for a command only.
    std::string_view exitStatus = {};
    /// The section EXAMPLES.
    std::string_view examples = {};
};

} // namespace Orvex
