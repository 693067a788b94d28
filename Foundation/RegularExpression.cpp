#include "Foundation/RegularExpression.h"

#include "Foundation/UTF8.h"
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <unicode/brkiter.h>
#include <unicode/regex.h>
#include <unicode/utext.h>

namespace Orvex {

namespace {

template <class Exception = std::runtime_error>
void check(UErrorCode status, const char* attempt) {
    if (status == U_MEMORY_ALLOCATION_ERROR) {
        throw std::bad_alloc();
    }
    if (U_FAILURE(status)) {
        throw Exception(std::string(attempt) + ": " + u_errorName(status));
    }
}

/// Lets ICU read UTF-8 in place; its indices are byte offsets into the text.
class TextView {
  public:
    explicit TextView(std::string_view text) {
        UErrorCode status = U_ZERO_ERROR;
        utext_openUTF8(&text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
        check(status, "cannot read text");
    }
    ~TextView() { utext_close(&text_); }
    TextView(const TextView&) = delete;
    TextView& operator=(const TextView&) = delete;

    UText* get() { return &text_; }

  private:
    UText text_ = UTEXT_INITIALIZER;
};

/// The byte offset at which the first `length` UTF-16 code units of `text` end.
std::size_t byteOffset(std::string_view text, std::size_t length) {
    if (length >= text.size()) {
        // No byte is more than one code unit.
        return text.size();
    }
    std::size_t offset = 0;
    for (std::size_t units = 0; units < length && offset < text.size();) {
        const std::size_t start = offset;
        const char32_t c = nextCharacter(text, offset).value_or(0xFFFD);
        units += c > 0xFFFF ? 2 : 1;
        if (units > length) {
            return start;
        }
    }
    return offset;
}

} // namespace

struct RegularExpression::Compiled {
    icu::RegexMatcher matcher;
};

RegularExpression::RegularExpression(std::string_view pattern, CaseSensitivity caseSensitivity) {
    const std::uint32_t flags = caseSensitivity == CaseSensitivity::insensitive ? UREGEX_CASE_INSENSITIVE : 0;
    const auto text =
        icu::UnicodeString::fromUTF8({pattern.data(), static_cast<std::int32_t>(pattern.size())});
    UErrorCode status = U_ZERO_ERROR;
    compiled_.reset(new Compiled{icu::RegexMatcher(text, flags, status)});
    check<std::invalid_argument>(status, "cannot compile the regular expression");
}

RegularExpression::~RegularExpression() = default;

std::string RegularExpression::removingMatches(std::string_view text, std::size_t length) {
    icu::RegexMatcher& matcher = compiled_->matcher;
    TextView view(text);
    UErrorCode status = U_ZERO_ERROR;
    matcher.reset(view.get());
    matcher.region(0, static_cast<std::int64_t>(byteOffset(text, length)), status);
    std::string kept;
    kept.reserve(text.size());
    std::size_t copied = 0;
    while (matcher.find(status)) {
        const auto start = static_cast<std::size_t>(matcher.start64(status));
        kept += text.substr(copied, start - copied);
        copied = static_cast<std::size_t>(matcher.end64(status));
    }
    check(status, "cannot match the regular expression");
    kept += text.substr(copied);
    return kept;
}

namespace {

bool isASCII(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

/// The same by ICU's rules, whatever the text.
std::size_t characterCountByRules(std::string_view text) {
    // Loading the rules costs far more than applying them.
    thread_local const auto characters = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> iterator(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        check(status, "cannot load the character rules");
        return iterator;
    }();
    TextView view(text);
    UErrorCode status = U_ZERO_ERROR;
    characters->setText(view.get(), status);
    check(status, "cannot count characters");
    std::size_t count = 0;
    while (characters->next() != icu::BreakIterator::DONE) {
        ++count;
    }
    return count;
}

} // namespace

std::size_t characterCount(std::string_view text) {
    // Between two ASCII characters there is always a boundary, but for CR LF, and so no rule looks across.
    // ICU is asked about the stretches with anything else, together with the ASCII characters that enclose
    // them.
    std::size_t count = 0;
    std::size_t position = 0;
    while (position < text.size()) {
        const auto first = text.begin() + static_cast<std::ptrdiff_t>(position);
        const auto other = static_cast<std::size_t>(
            std::find_if(first, text.end(), [](char c) { return !isASCII(c) || c == '\r'; }) - text.begin());
        if (other == text.size()) {
            return count + other - position;
        }
        const std::size_t start = other > position ? other - 1 : other;
        count += start - position;
        std::size_t end = other + 1;
        while (end < text.size() &&
               !(isASCII(text[end - 1]) && isASCII(text[end]) && text[end - 1] != '\r')) {
            ++end;
        }
        count += characterCountByRules(text.substr(start, end - start));
        position = end;
    }
    return count;
}

} // namespace Orvex
