#include "Orvex/arguments/ProcessSetup.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvex {

namespace {

/// Opens the null device for each standard stream that is closed. Otherwise a store could be opened under its
/// number, and printing would overwrite the store.
void openStandardStreams() {
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
}

/// Restores SIGPIPE, which the parent may have ignored or blocked: the process ends when its reader has left.
void endWhenReaderLeaves() {
    sigset_t readerLeft;
    sigemptyset(&readerLeft);
    sigaddset(&readerLeft, SIGPIPE);
    sigprocmask(SIG_UNBLOCK, &readerLeft, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
}

/// Makes a file size limit an error of the write that exceeds it, like a full disk, and not the end of the
/// process.
void outliveSizeLimits() {
    std::signal(SIGXFSZ, SIG_IGN);
}

/// Umask 077: the user, and nobody else, can access new files, whatever umask the parent had.
void restrictNewFiles() {
    umask(S_IRWXG | S_IRWXO);
}

/// Makes writes into files and pipes large.
void bufferStandardOutput() {
    static std::array<char, std::size_t{1} << 16U> buffer;
    // Negative if a host has replaced stdout by a stream in memory.
    const int output = fileno(stdout);
    if (output >= 0 && isatty(output) == 0) {
        std::setvbuf(stdout, buffer.data(), _IOFBF, buffer.size());
    }
}

} // namespace

void setUpProcess() {
    openStandardStreams();
    endWhenReaderLeaves();
    outliveSizeLimits();
    restrictNewFiles();
    bufferStandardOutput();
}

} // namespace Orvex
