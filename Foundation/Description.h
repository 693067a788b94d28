#pragma once

#include "Foundation/Enumeration.h"
#include "Foundation/FileURL.h"
#include "Foundation/Time.h"
#include "Foundation/UUID.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Orvex {

/// Builds the text that shows a record to a person: one field a line, indented, `name: value`, in the order
/// of the calls. A field without a value is left out. No text that a field holds can end its line or move the
/// cursor.
class Description {
  public:
    Description() = default;
    /// Begins with a line of its own.
    explicit Description(std::string heading) : text_(std::move(heading)) {}

    void field(std::string_view name, std::string_view text);
    void field(std::string_view name, const char* text) { field(name, std::string_view(text)); }
    void field(std::string_view name, const FileURL& url) { field(name, url.text()); }
    void field(std::string_view name, const UUID& uuid) { line(name, uuid.text()); }
    void field(std::string_view name, bool value) { line(name, value ? "true" : "false"); }
    void field(std::string_view name, std::int32_t number) { line(name, std::to_string(number)); }
    void field(std::string_view name, double number);
    void field(std::string_view name, Seconds duration);
    void field(std::string_view name, Timestamp moment) { line(name, timestampText(moment)); }
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

    /// Adds the lines of another description, indented.
    void nested(const Description& inner);

    /// The lines, without a newline after the last one.
    [[nodiscard]] std::string text() && { return std::move(text_); }

  private:
    void beginLine(std::string_view name);
    void line(std::string_view name, std::string_view value);

    std::string text_;
};

} // namespace Orvex
