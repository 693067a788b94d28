#include "Fuzzing.h"

#include "Foundation/QuotedText.h"
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <unistd.h>
#include <utility>

namespace Orvex::Fuzzing {

void expect(bool holds, const char* property) {
    if (!holds) {
        // Not through stderr, which may be captured.
        dprintf(STDERR_FILENO, "Does not hold: %s\n", property);
        std::abort();
    }
}

namespace {

/// True if every quotation ends. Inside a quotation, a backslash escapes the next character.
bool endsItsQuotations(std::string_view line) {
    bool isInside = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        isInside = isInside != (line[i] == '"');
        i += isInside && line[i] == '\\' ? 1 : 0;
    }
    return !isInside;
}

} // namespace

bool isHarmlessLine(std::string_view text) {
    return onOneLine(text) == text;
}

bool isHarmlessRecord(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        if (!isHarmlessLine(line) || line.starts_with("Message #") || !endsItsQuotations(line)) {
            return false;
        }
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return true;
}

Capture::Capture(std::FILE*& stream)
    : stream_(stream), original_(std::exchange(stream, open_memstream(&bytes_, &size_))) {}

Capture::~Capture() {
    std::fclose(std::exchange(stream_, original_));
    std::free(bytes_);
}

std::string Capture::text() const {
    std::fflush(stream_);
    return {bytes_, size_};
}

} // namespace Orvex::Fuzzing

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Orvex::Fuzzing::tryInput({reinterpret_cast<const char*>(data), size});
    return 0;
}
