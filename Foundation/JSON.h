#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// A member of a JSON object (RFC 8259). The name must not need escapes; the value is JSON text.
struct JSONMember {
    std::string_view name;
    std::string value;
};

/// Returns `text`, which must be UTF-8, as a JSON string. Escapes only quotes, backslashes and C0 controls.
[[nodiscard]] std::string jsonString(std::string_view text);

/// Returns an array of `elements`, which are JSON texts, one a line. The lines are indented for an array that
/// is inside `depth` other arrays and objects.
[[nodiscard]] std::string jsonArray(const std::vector<std::string>& elements, std::size_t depth = 0);

/// The same for an object.
[[nodiscard]] std::string jsonObject(const std::vector<JSONMember>& members, std::size_t depth = 0);

} // namespace Orvex
