#include "Foundation/FatalError.h"

#include "Foundation/QuotedText.h"
#include <cstdio>
#include <cstdlib>
#include <string>

namespace Orvex {

void fatalError(std::string_view place, std::string_view fault) {
    std::fflush(stdout);
    const std::string line = "Fatal error: " + std::string(place) + ": " + onOneLine(fault) + "\n";
    std::fputs(line.c_str(), stderr);
    std::abort();
}

} // namespace Orvex
