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

/// Adds the text that shows a record to a person: one field a line, indented, `name: value`, in the order of
/// the calls, without a newline after the last one. A field without a value is left out. No text that a field
/// holds can end its line or move the cursor.
class Description {
  public:
    /// Adds to the end of `out`, which must outlive this object.
    explicit Description(std::string& out) : out_(out) {}
    /// Begins with a line of its own.
    Description(std::string& out, std::string_view heading);

    void field(std::string_view name, std::string_view text);
    void field(std::string_view name, const char* text) { field(name, std::string_view(text)); }
    void field(std::string_view name, const FileURL& url);
    void field(std::string_view name, const UUID& uuid);
    void field(std::string_view name, bool value) { line(name, value ? "true" : "false"); }
    void field(std::string_view name, std::int32_t number) { line(name, std::to_string(number)); }
    void field(std::string_view name, double number);
    void field(std::string_view name, Seconds duration);
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

    /// Adds a line, and hands out what adds more lines, indented below it.
    [[nodiscard]] Description nested(std::string_view heading);

  private:
    void beginLine(std::string_view name);
    void line(std::string_view name, std::string_view value);

    std::string& out_;
    std::size_t indentation_ = 2;
    bool hasLine_ = false;
};

} // namespace Orvex
