#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// An identifier in camel case as lower-case words joined by "-": `inputRecordUUID` becomes
/// `input-record-uuid`.
[[nodiscard]] std::string lowerCaseWords(std::string_view identifier);

/// One spelling of an option on the command line.
class Name {
  public:
    /// `text` must refer to memory that outlives the name, usually a literal. If it is empty, the name of the
    /// member is used, in lower-case words.
    constexpr Name(std::string_view dashes, std::string_view text) noexcept : dashes_(dashes), text_(text) {}

    /// The word to type, with its dashes, for the member with this name.
    [[nodiscard]] std::string spelling(std::string_view propertyName) const;

  private:
    std::string_view dashes_;
    std::string_view text_;
};

/// The spellings of one option, in the order of the help screen. An option without any cannot be given.
using Names = std::vector<Name>;

/// "--" and the member's name in lower-case words.
inline constexpr Name derivedLong{"--", ""};

/// "--" and `text`, letter for letter.
[[nodiscard]] constexpr Name customLong(std::string_view text) noexcept {
    return {"--", text};
}

/// "-" and `text`, letter for letter. The text is one name, never a cluster of one-letter options.
[[nodiscard]] constexpr Name singleDash(std::string_view text) noexcept {
    return {"-", text};
}

} // namespace Orvex
