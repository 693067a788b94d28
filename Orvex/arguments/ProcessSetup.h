#pragma once

namespace Orvex {

/// Prepares the process for any tool, before anything is opened, read or printed: closed standard streams,
/// signals, the umask, and the buffer of standard output.
void setUpProcess();

} // namespace Orvex
