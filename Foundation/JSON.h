#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// A member of a JSON object (RFC 8259): its name, which needs no escapes, and its value as JSON text.
struct JSONMember {
    std::string_view name;
    std::string value;
};

/// `text`, which must be UTF-8, as a JSON string. Escapes quotes, backslashes and C0 control characters only.
[[nodiscard]] std::string jsonString(std::string_view text);

/// An array of `elements`, each JSON text on a line of its own. `depth` is the number of arrays and objects
/// around it, by which the lines are indented.
[[nodiscard]] std::string jsonArray(const std::vector<std::string>& elements, std::size_t depth = 0);

/// The same for an object.
[[nodiscard]] std::string jsonObject(const std::vector<JSONMember>& members, std::size_t depth = 0);

} // namespace Orvex
