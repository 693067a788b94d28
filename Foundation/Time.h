#pragma once

#include <chrono>
#include <string>

namespace Orvex {

/// A length of time in seconds, with their fraction.
using Seconds = std::chrono::duration<double>;

/// A moment, in milliseconds since 1970-01-01T00:00:00Z, leap seconds not counted.
using Timestamp = std::chrono::sys_time<std::chrono::milliseconds>;

[[nodiscard]] inline Timestamp currentTime() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

/// ISO 8601 in UTC, as in "2026-11-21T09:30:00.125Z"; for the years 0 to 9999.
[[nodiscard]] std::string timestampText(Timestamp moment);
void appendTimestamp(std::string& out, Timestamp moment);

} // namespace Orvex
