#include "Fuzzing.h"

#include "Foundation/QuotedText.h"
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace Orvex::Fuzzing {

void expect(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "Does not hold: %s\n", property);
        std::abort();
    }
}

bool isHarmless(std::string_view text) {
    std::string line(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    return onOneLine(line) == line;
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
