#pragma once

#include <stdexcept>

namespace Orvex {

/// Reason why an archive cannot be decoded, as in "it is damaged: object 3 is cut off". The catcher adds the
/// name of the file.
class ArchiveError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace Orvex
