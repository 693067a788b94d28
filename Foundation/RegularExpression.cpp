#include "Foundation/RegularExpression.h"

#include "Foundation/UTF8.h"
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <dlfcn.h>
#include <new>
#include <stdexcept>
#include <unicode/ubrk.h>
#include <unicode/uregex.h>
#include <unicode/utext.h>

namespace Orvex {

namespace {

/// The functions of ICU that we use. ICU is loaded when it is first needed, because most runs never need it.
class ICU {
  public:
    /// Throws `std::runtime_error` if ICU is not installed in the version that we were compiled for.
    static const ICU& loaded() {
        static const ICU icu;
        return icu;
    }

  private:
    ICU() = default;

    static void* load() {
        void* const library = dlopen("libicui18n.so." U_ICU_VERSION_SHORT, RTLD_NOW);
        if (library == nullptr) {
            throw std::runtime_error("cannot load ICU " U_ICU_VERSION_SHORT ": " + std::string(dlerror()));
        }
        return library;
    }
    /// Also finds functions of the libraries that this one needs.
    void* find(const char* function) const {
        void* const found = dlsym(library_, function);
        if (found == nullptr) {
            throw std::runtime_error("ICU has no function " + std::string(function));
        }
        return found;
    }

    void* library_ = load();

  public:
// ICU's headers are macros that append the version to each function's name.
// NOLINTBEGIN(bugprone-macro-parentheses): names of members and functions
#define ORVEX_NAME(name) #name
#define ORVEX_ICU(member, name)                                                                              \
    decltype(&::name) member = reinterpret_cast<decltype(&::name)>(find(ORVEX_NAME(name)))
    ORVEX_ICU(nameOfError, u_errorName);
    ORVEX_ICU(openUTF8, utext_openUTF8);
    ORVEX_ICU(closeText, utext_close);
    ORVEX_ICU(openPattern, uregex_openUText);
    ORVEX_ICU(setText, uregex_setUText);
    ORVEX_ICU(setRegion, uregex_setRegion64);
    ORVEX_ICU(findNext, uregex_findNext);
    ORVEX_ICU(start, uregex_start64);
    ORVEX_ICU(end, uregex_end64);
    ORVEX_ICU(closePattern, uregex_close);
    ORVEX_ICU(openBreaks, ubrk_open);
    ORVEX_ICU(setBreaksText, ubrk_setUText);
    ORVEX_ICU(nextBreak, ubrk_next);
#undef ORVEX_ICU
#undef ORVEX_NAME
    // NOLINTEND(bugprone-macro-parentheses)
};

template <class Exception = std::runtime_error>
void check(UErrorCode status, const char* attempt) {
    if (status == U_MEMORY_ALLOCATION_ERROR) {
        throw std::bad_alloc();
    }
    if (U_FAILURE(status)) {
        throw Exception(std::string(attempt) + ": " + ICU::loaded().nameOfError(status));
    }
}

/// Lets ICU read UTF-8 in place. Indices are byte offsets.
class TextView {
  public:
    explicit TextView(std::string_view text) {
        UErrorCode status = U_ZERO_ERROR;
        ICU::loaded().openUTF8(&text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
        check(status, "cannot read text");
    }
    ~TextView() { ICU::loaded().closeText(&text_); }
    TextView(const TextView&) = delete;
    TextView& operator=(const TextView&) = delete;

    UText* get() { return &text_; }

  private:
    UText text_ = UTEXT_INITIALIZER;
};

/// Returns the byte offset of the end of the first `length` UTF-16 code units.
std::size_t byteOffset(std::string_view text, std::size_t length) {
    if (length >= text.size()) {
        // A byte yields at most one code unit.
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

RegularExpression::RegularExpression(std::string_view pattern, CaseSensitivity caseSensitivity) {
    const std::uint32_t flags = caseSensitivity == CaseSensitivity::insensitive ? UREGEX_CASE_INSENSITIVE : 0;
    TextView view(pattern);
    UErrorCode status = U_ZERO_ERROR;
    compiled_ = ICU::loaded().openPattern(view.get(), flags, nullptr, &status);
    check<std::invalid_argument>(status, "cannot compile the regular expression");
}

RegularExpression::~RegularExpression() {
    ICU::loaded().closePattern(compiled_);
}

std::string RegularExpression::removingMatches(std::string_view text, std::size_t length) {
    const ICU& icu = ICU::loaded();
    TextView view(text);
    UErrorCode status = U_ZERO_ERROR;
    icu.setText(compiled_, view.get(), &status);
    icu.setRegion(compiled_, 0, static_cast<std::int64_t>(byteOffset(text, length)), &status);
    std::string kept;
    kept.reserve(text.size());
    std::size_t copied = 0;
    while (icu.findNext(compiled_, &status) != 0) {
        const auto start = static_cast<std::size_t>(icu.start(compiled_, 0, &status));
        kept += text.substr(copied, start - copied);
        copied = static_cast<std::size_t>(icu.end(compiled_, 0, &status));
    }
    check(status, "cannot match the regular expression");
    kept += text.substr(copied);
    return kept;
}

namespace {

/// Counts the characters of any text, with ICU.
std::size_t characterCountByRules(std::string_view text, std::size_t most) {
    const ICU& icu = ICU::loaded();
    // Never closed: loading the rules takes far longer than applying them.
    thread_local UBreakIterator* const characters = [&] {
        UErrorCode status = U_ZERO_ERROR;
        UBreakIterator* const iterator = icu.openBreaks(UBRK_CHARACTER, "", nullptr, 0, &status);
        check(status, "cannot load the character rules");
        return iterator;
    }();
    TextView view(text);
    UErrorCode status = U_ZERO_ERROR;
    icu.setBreaksText(characters, view.get(), &status);
    check(status, "cannot count characters");
    std::size_t count = 0;
    while (count < most && icu.nextBreak(characters) != UBRK_DONE) {
        ++count;
    }
    return count;
}

} // namespace

std::size_t characterCount(std::string_view text, std::size_t most) {
    // There is always a boundary between two ASCII characters, except CR LF. So only stretches with other
    // characters go to ICU, together with the ASCII character on each side.
    std::size_t count = 0;
    std::size_t position = 0;
    while (position < text.size() && count < most) {
        const auto first = text.begin() + static_cast<std::ptrdiff_t>(position);
        const auto other = static_cast<std::size_t>(
            std::find_if(first, text.end(), [](char c) { return !isASCII(c) || c == '\r'; }) - text.begin());
        if (other == text.size()) {
            count += other - position;
            break;
        }
        const std::size_t start = other > position ? other - 1 : other;
        count += start - position;
        std::size_t end = other + 1;
        while (end < text.size() &&
               !(isASCII(text[end - 1]) && isASCII(text[end]) && text[end - 1] != '\r')) {
            ++end;
        }
        count += characterCountByRules(text.substr(start, end - start), most);
        position = end;
    }
    return std::min(count, most);
}

} // namespace Orvex
