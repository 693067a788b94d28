#pragma once

#include "Foundation/Enumeration.h"
#include "Foundation/FileURL.h"
#include "Foundation/SharedText.h"
#include "Foundation/Time.h"
#include "Foundation/UUID.h"
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Conversion of values to and from the binary formats of the server.
namespace Orvex::PostgreSQL {

inline constexpr std::size_t anySize = 0;

/// A type of the server and its array type, by their fixed object identifiers, and the size of a value in
/// bytes.
struct ServerType {
    unsigned ofValue;
    unsigned ofArray;
    std::size_t size = anySize;
};

/// Specialized for each type of parameter; others do not compile.
template <class T>
inline constexpr ServerType typeOf = T::unknown;
template <>
inline constexpr ServerType typeOf<bool>{16, 1000, 1};
template <>
inline constexpr ServerType typeOf<std::int64_t>{20, 1016, 8};
template <>
inline constexpr ServerType typeOf<std::int32_t>{23, 1007, 4};
template <>
inline constexpr ServerType typeOf<UUID>{2950, 2951, 16};
/// Bytes, since handles need not be valid in any encoding.
template <>
inline constexpr ServerType typeOf<std::string>{17, 1001};
template <>
inline constexpr ServerType typeOf<SharedText> = typeOf<std::string>;
inline constexpr ServerType textType{25, 1009};
template <>
inline constexpr ServerType typeOf<FileURL> = textType;
template <>
inline constexpr ServerType typeOf<Seconds>{701, 1022, 8};
template <>
inline constexpr ServerType typeOf<Timestamp> = typeOf<std::int64_t>;
template <RawRepresentable E>
inline constexpr ServerType typeOf<E>{21, 1005, 2};

/// In network order.
template <std::signed_integral Integer>
void appendValue(std::string& out, Integer value) {
    for (std::size_t byte = sizeof value; byte-- > 0;) {
        out += static_cast<char>(value >> (8 * byte));
    }
}
inline void appendValue(std::string& out, bool value) {
    out += static_cast<char>(value);
}
inline void appendValue(std::string& out, const UUID& uuid) {
    out.append(uuid.bytes().begin(), uuid.bytes().end());
}
inline void appendValue(std::string& out, std::string_view bytes) {
    out += bytes;
}
inline void appendValue(std::string& out, const FileURL& url) {
    out += url.text();
}
inline void appendValue(std::string& out, Seconds duration) {
    appendValue(out, std::bit_cast<std::int64_t>(duration.count()));
}
inline void appendValue(std::string& out, Timestamp moment) {
    appendValue(out, std::int64_t{moment.time_since_epoch().count()});
}
template <RawRepresentable E>
void appendValue(std::string& out, E value) {
    appendValue(out, static_cast<std::int16_t>(rawValue(value)));
}

/// A parameter of a statement.
class Parameter {
  public:
    template <class T>
    Parameter(const T& value) : type_(typeOf<T>.ofValue), bytes_(std::in_place) {
        appendValue(*bytes_, value);
    }
    /// An absent value is NULL.
    template <class T>
    Parameter(const std::optional<T>& value) : type_(typeOf<T>.ofValue) {
        if (value) {
            appendValue(bytes_.emplace(), *value);
        }
    }
    /// A list is one array.
    template <class T>
    Parameter(const std::vector<T>& values) : type_(typeOf<T>.ofArray), bytes_(std::in_place) {
        const auto count = static_cast<std::int32_t>(values.size());
        const auto elementType = static_cast<std::int32_t>(typeOf<T>.ofValue);
        // The number of dimensions, a flag for NULLs, the type, the size of the dimension, and its lowest
        // index.
        for (const std::int32_t field : {1, 0, elementType, count, 1}) {
            appendValue(*bytes_, field);
        }
        for (const T& value : values) {
            const std::size_t start = bytes_->size();
            bytes_->append(sizeof(std::int32_t), '\0');
            appendValue(*bytes_, value);
            std::string size;
            appendValue(size, static_cast<std::int32_t>(bytes_->size() - start - sizeof(std::int32_t)));
            bytes_->replace(start, size.size(), size);
        }
    }

    [[nodiscard]] unsigned type() const noexcept { return type_; }
    [[nodiscard]] const std::optional<std::string>& bytes() const noexcept { return bytes_; }

  private:
    unsigned type_;
    std::optional<std::string> bytes_;
};

template <class... Values>
[[nodiscard]] std::vector<Parameter> parameters(const Values&... values) {
    std::vector<Parameter> all;
    all.reserve(sizeof...(values));
    (all.emplace_back(values), ...);
    return all;
}

} // namespace Orvex::PostgreSQL
