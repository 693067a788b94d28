#pragma once

// The version of these headers. Versions that differ only in the last number are compatible. CMake reads it
// from here.

/// The first number of the version.
#define ORVEX_VERSION_MAJOR 0
/// The second number of the version.
#define ORVEX_VERSION_MINOR 1
/// The last number of the version.
#define ORVEX_VERSION_PATCH 0
/// The version as text.
#define ORVEX_VERSION "0.1.0"
