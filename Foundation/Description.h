#pragma once

#include "Foundation/Enumeration.h"
#include "Foundation/FileURL.h"
#include "Foundation/UUID.h"
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Orvex {

/// A length of time in seconds, with their fraction.
using Seconds = std::chrono::duration<double>;

/// A moment, in milliseconds since 1970-01-01T00:00:00Z, leap seconds not counted.
using Timestamp = std::chrono::sys_time<std::chrono::milliseconds>;

/// Builds the text that shows a record to a person: one field a line, indented, `name: value`, in the order
/// of the calls. A field without a value is left out. No text that a field holds can end its line or move the
/// cursor.
class Description {
  public:
    void field(std::string_view name, std::string_view text);
    void field(std::string_view name, const char* text) { field(name, std::string_view(text)); }
    void field(std::string_view name, const FileURL& url) { field(name, url.text()); }
    void field(std::string_view name, const UUID& uuid) { line(name, uuid.text()); }
    void field(std::string_view name, bool value) { line(name, value ? "true" : "false"); }
    void field(std::string_view name, std::int32_t number) { line(name, std::to_string(number)); }
    void field(std::string_view name, Seconds duration);
    /// ISO 8601 in UTC, to the millisecond; the year has four digits for the years 0 to 9999.
    void field(std::string_view name, Timestamp moment);
    template <CaseIterable E>
    void field(std::string_view name, E value) {
        line(name, caseName(value));
    }
    template <class T>
    void field(std::string_view name, const std::optional<T>& value) {
        if (value) {
            field(name, *value);
        }
    }

    /// The lines, without a newline after the last one.
    [[nodiscard]] std::string text() && { return std::move(text_); }

  private:
    void beginLine(std::string_view name);
    void line(std::string_view name, std::string_view value);

    std::string text_;
};

} // namespace Orvex
