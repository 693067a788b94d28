#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Of ICU.
struct URegularExpression;

namespace Orvex {

/// A compiled regular expression in ICU syntax, for UTF-8 text.
class RegularExpression {
  public:
    enum class CaseSensitivity { sensitive, insensitive };

    /// Compiles `pattern`. Throws `std::invalid_argument` if it is malformed, `std::runtime_error` if ICU is
    /// not installed.
    RegularExpression(std::string_view pattern, CaseSensitivity caseSensitivity);
    ~RegularExpression();
    RegularExpression(const RegularExpression&) = delete;
    RegularExpression& operator=(const RegularExpression&) = delete;

    /// Returns `text` without the matches inside its first `length` UTF-16 code units. All other bytes stay
    /// as they are. A sequence that is not UTF-8 counts as one code unit.
    [[nodiscard]] std::string removingMatches(std::string_view text, std::size_t length);

  private:
    URegularExpression* compiled_ = nullptr;
};

/// Returns the number of user-perceived characters in UTF-8 `text`: extended grapheme clusters (Unicode
/// Standard Annex 29). Counts up to `most`.
[[nodiscard]] std::size_t characterCount(std::string_view text, std::size_t most = SIZE_MAX);

} // namespace Orvex
