#include "BareLoops.h"

#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unicode/brkiter.h>
#include <unicode/regex.h>
#include <unistd.h>
#include <vector>

namespace Orvex::Bench {

namespace {

icu::UnicodeString unicode(std::string_view text) {
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

} // namespace

void stripTexts(const std::filesystem::path& list) {
    std::ifstream file(list);
    std::string content(std::filesystem::file_size(list), '\0');
    file.read(content.data(), static_cast<std::streamsize>(content.size()));

    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> characters(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    const icu::UnicodeString pattern = unicode("\x1b(?:[@-Z\\-_]|\\[[0-?]*[ -/]*[@-~])");
    const icu::UnicodeString nothing;
    std::int64_t count = 0;
    std::size_t kept = 0;
    constexpr std::string_view beginning = "\x1b[0;32m\nMessage #";
    for (std::size_t start = 0; start < content.size();) {
        const std::size_t end = std::min(content.find(beginning, start + 1), content.size());
        const icu::UnicodeString text = unicode(std::string_view(content).substr(start, end - start - 1));
        icu::RegexMatcher matcher(pattern, UREGEX_CASE_INSENSITIVE, status);
        matcher.reset(text);
        std::string stripped;
        matcher.replaceAll(nothing, status).toUTF8String(stripped);
        kept += stripped.size();
        characters->setText(text);
        while (characters->next() != icu::BreakIterator::DONE) {
            ++count;
        }
        start = end;
    }
    if (U_FAILURE(status)) {
        throw std::runtime_error(u_errorName(status));
    }
    std::printf("%zu bytes, %lld characters\n", kept, static_cast<long long>(count));
}

void readFiles(const std::filesystem::path& folder) {
    std::vector<char> buffer;
    std::size_t total = 0;
    for (std::uint64_t number = 1;; ++number) {
        const int file = open((folder / (std::to_string(number) + ".plist")).c_str(), O_RDONLY);
        if (file < 0) {
            break;
        }
        struct stat status {};
        fstat(file, &status);
        buffer.resize(static_cast<std::size_t>(status.st_size));
        total += static_cast<std::size_t>(read(file, buffer.data(), buffer.size()));
        close(file);
    }
    std::printf("%zu bytes\n", total);
}

} // namespace Orvex::Bench
