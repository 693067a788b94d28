#pragma once

#include <array>
#include <chrono>
#include <string>

namespace Orvex {

/// A duration in seconds, with a fraction.
using Seconds = std::chrono::duration<double>;

/// Milliseconds since 1970-01-01T00:00:00Z, without leap seconds.
using Timestamp = std::chrono::sys_time<std::chrono::milliseconds>;

/// The time of the system's clock, rounded down.
[[nodiscard]] inline Timestamp currentTime() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

/// Returns a time as ISO 8601 in UTC, as in "2026-11-21T09:30:00.125Z". Its year must be 0 to 9999.
[[nodiscard]] std::string timestampText(Timestamp moment);
/// The same without an allocation.
[[nodiscard]] std::array<char, 24> timestampCharacters(Timestamp moment);

} // namespace Orvex
