#pragma once

#include <array>
#include <boost/describe/enum.hpp>
#include <boost/describe/enumerators.hpp>
#include <boost/mp11/algorithm.hpp>
#include <cstddef>
#include <optional>
#include <string_view>
#include <type_traits>

namespace Orvex {

/// An enumeration described with `BOOST_DESCRIBE_ENUM`.
template <class E>
concept CaseIterable = std::is_enum_v<E> && boost::describe::has_describe_enumerators<E>::value;

/// A `CaseIterable` scoped enumeration.
template <class E>
concept RawRepresentable = CaseIterable<E> && !std::is_convertible_v<E, std::underlying_type_t<E>>;

/// All cases in the order of declaration.
template <CaseIterable E>
[[nodiscard]] constexpr auto allCases() {
    using Cases = boost::describe::describe_enumerators<E>;
    std::array<E, boost::mp11::mp_size<Cases>::value> cases{};
    std::size_t next = 0;
    boost::mp11::mp_for_each<Cases>([&](auto enumerator) { cases[next++] = enumerator.value; });
    return cases;
}

/// The name of a case as declared; empty for any other number.
template <CaseIterable E>
[[nodiscard]] constexpr std::string_view caseName(E value) {
    std::string_view name;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<E>>([&](auto enumerator) {
        if (enumerator.value == value) {
            name = enumerator.name;
        }
    });
    return name;
}

/// The raw value of a case.
template <RawRepresentable E>
[[nodiscard]] constexpr std::underlying_type_t<E> rawValue(E value) noexcept {
    return static_cast<std::underlying_type_t<E>>(value);
}

/// The case with this raw value, if any.
template <RawRepresentable E>
[[nodiscard]] constexpr std::optional<E> fromRawValue(std::underlying_type_t<E> raw) {
    for (const E value : allCases<E>()) {
        if (rawValue(value) == raw) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace Orvex
