#pragma once

#include "Foundation/Enumeration.h"
#include "Foundation/FileURL.h"
#include "Foundation/Time.h"
#include "Foundation/UUID.h"
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Orvex {

/// The name of a field, a literal of up to 30 characters, stored with spaces before it and a colon behind it
/// so that `Description` begins a line with one copy.
class FieldName {
  public:
    /// Takes a string literal.
    template <std::size_t size>
    requires(size <= 31) consteval FieldName(const char (&name)[size]) : size_(size + 1) {
        text_.fill(' ');
        std::copy_n(name, size - 1, text_.begin() + mostIndented);
        text_[mostIndented + size - 1] = ':';
    }

    /// The deepest indentation.
    static constexpr std::size_t mostIndented = 16;
    /// The longest indented name, rounded up to a fixed size that is quick to copy.
    static constexpr std::size_t mostShown = mostIndented + 32;

    /// `mostShown` characters can be read from the start of the view.
    [[nodiscard]] std::string_view indented(std::size_t indentation) const noexcept {
        indentation = std::min(indentation, mostIndented);
        return {text_.data() + mostIndented - indentation, indentation + size_};
    }

  private:
    std::array<char, mostIndented + mostShown> text_{};
    std::size_t size_;
};

/// Appends a record to a text, for people: indented lines `name: value` in the order of the calls, without a
/// newline after the last one. A field without a value is omitted. Texts are quoted, so that none can end its
/// line, move the cursor, or hide a character.
class Description {
  public:
    /// Appends to `out`, which must outlive this object.
    explicit Description(std::string& out) : out_(out) {}
    /// Starts with `heading` as a line.
    Description(std::string& out, std::string_view heading);

    /// @{ Appends a line for a value.
    void field(const FieldName& name, std::string_view text);
    void field(const FieldName& name, const char* text) { field(name, std::string_view(text)); }
    void field(const FieldName& name, const FileURL& url);
    void field(const FieldName& name, const UUID& uuid);
    void field(const FieldName& name, bool value) { line(name, value ? "true" : "false"); }
    void field(const FieldName& name, std::int32_t number) { line(name, std::to_string(number)); }
    void field(const FieldName& name, double number);
    void field(const FieldName& name, Seconds duration);
    void field(const FieldName& name, Timestamp moment);
    template <CaseIterable E>
    void field(const FieldName& name, E value) {
        line(name, caseName(value));
    }
    template <class T>
    void field(const FieldName& name, const std::optional<T>& value) {
        if (value) {
            field(name, *value);
        }
    }
    /// @}

    /// Appends a text that somebody said or wrote. Keeps invisible characters that shape letters.
    void prose(const FieldName& name, const std::optional<std::string>& text);

    /// Appends the heading as a line. The result appends lines below it, indented further.
    [[nodiscard]] Description nested(std::string_view heading);

  private:
    void beginLine(const FieldName& name);
    void line(const FieldName& name, std::string_view value);

    std::string& out_;
    std::size_t indentation_ = 2;
    bool hasLine_ = false;
};

} // namespace Orvex
