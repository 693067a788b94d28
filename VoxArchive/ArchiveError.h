#pragma once

#include <stdexcept>

namespace Orvex {

/// Why bytes cannot be decoded, as in "it is damaged: object 3 is cut off"; which bytes, the catcher knows.
class ArchiveError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace Orvex
