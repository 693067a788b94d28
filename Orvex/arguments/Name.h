#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// `text`, an identifier in camel case, as lower-case words joined by "-": `inputRecordUUID` is
/// `input-record-uuid`.
[[nodiscard]] std::string lowerCaseWords(std::string_view identifier);

/// One way to spell an option on the command line.
class Name {
  public:
    /// `text` refers to memory that outlives the name, usually a literal; empty where the property's name is
    /// used.
    constexpr Name(std::string_view dashes, std::string_view text) noexcept : dashes_(dashes), text_(text) {}

    /// The word to type, dashes included, for the property with this name.
    [[nodiscard]] std::string spelling(std::string_view propertyName) const;

  private:
    std::string_view dashes_;
    std::string_view text_;
};

/// The spellings of one option, in the order in which help shows them. Without any, it cannot be given.
using Names = std::vector<Name>;

/// "--" and the property's name as lower-case words.
inline constexpr Name derivedLong{"--", ""};

/// "--" and `text`, letter for letter.
[[nodiscard]] constexpr Name customLong(std::string_view text) noexcept {
    return {"--", text};
}

/// "-" and `text`, letter for letter: a single name, never a cluster of one-letter ones.
[[nodiscard]] constexpr Name singleDash(std::string_view text) noexcept {
    return {"-", text};
}

} // namespace Orvex
