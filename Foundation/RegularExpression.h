#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// ICU's own.
struct URegularExpression;

namespace Orvex {

/// A compiled regular expression in ICU syntax, for UTF-8 text.
class RegularExpression {
  public:
    enum class CaseSensitivity { sensitive, insensitive };

    /// Compiles `pattern`. Throws `std::invalid_argument` when it is malformed, `std::runtime_error` when ICU
    /// is not installed.
    RegularExpression(std::string_view pattern, CaseSensitivity caseSensitivity);
    ~RegularExpression();
    RegularExpression(const RegularExpression&) = delete;
    RegularExpression& operator=(const RegularExpression&) = delete;

    /// `text` without the matches that lie within its first `length` UTF-16 code units. All other bytes stay
    /// as they are, those that are no UTF-8 included (such a sequence counts as one code unit).
    [[nodiscard]] std::string removingMatches(std::string_view text, std::size_t length);

  private:
    URegularExpression* compiled_ = nullptr;
};

/// How many characters a user perceives in UTF-8 `text`: extended grapheme clusters (Unicode Standard Annex
/// 29). Counts no further than `most`.
[[nodiscard]] std::size_t characterCount(std::string_view text, std::size_t most = SIZE_MAX);

} // namespace Orvex
