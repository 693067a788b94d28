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
#include <utility>

namespace Orvex {

/// The name of a field, a literal. It is kept in a fixed size, to be copied without a look at its length.
class FieldName {
  public:
    template <std::size_t size>
    consteval FieldName(const char (&name)[size]) : size_(size + 1) {
        std::copy_n(name, size - 1, text_.begin());
        text_[size - 1] = ':';
        text_[size] = ' ';
    }

    using Text = std::array<char, 32>;
    /// With what stands between it and the value, and behind that, zeros.
    [[nodiscard]] const Text& text() const noexcept { return text_; }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

  private:
    Text text_{};
    std::size_t size_;
};

/// Adds the text that shows a record to a person: one field a line, indented, `name: value`, in the order of
/// the calls, without a newline after the last one. A field without a value is left out. No text that a field
/// holds can end its line or move the cursor.
class Description {
  public:
    /// Adds to the end of `out`, which must outlive this object.
    explicit Description(std::string& out) : out_(out) {}
    /// Begins with a line of its own.
    Description(std::string& out, std::string_view heading);

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

    /// Adds a line, and hands out what adds more lines, indented below it.
    [[nodiscard]] Description nested(std::string_view heading);

  private:
    void beginLine(const FieldName& name);
    void line(const FieldName& name, std::string_view value);

    std::string& out_;
    std::size_t indentation_ = 2;
    bool hasLine_ = false;
};

} // namespace Orvex
