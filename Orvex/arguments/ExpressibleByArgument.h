#pragma once

#include "Foundation/Enumeration.h"
#include "Foundation/FileURL.h"
#include "Foundation/Number.h"
#include <concepts>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex {

/// What help and messages say of the values of a type.
struct ValueSyntax {
    /// Stands for a value in a usage line, as in "<number>".
    std::string placeholder;
    /// Completes "expected …".
    std::string expected;
    /// Every word that is a value, where they are few.
    std::vector<std::string> values;
    /// What the values stand for, one for each, where the words do not tell.
    std::vector<std::string> meanings;
    /// Whether a value is the path of a file.
    bool isPath = false;
    /// A misspelt value may hold a password, so no error repeats it.
    bool isSecret = false;
};

/// Why a word is not a value of a type, and what helps: thrown by a conversion that can tell.
class InvalidValue : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Says how a type is read from a word of the command line; specialised for each such type. `parse` returns
/// no value for a word that is not one, or throws `InvalidValue`.
template <class T>
struct ArgumentConversion;

/// A type whose values can be given on the command line.
template <class T>
concept ExpressibleByArgument = requires(std::string_view word, const T& value) {
    { ArgumentConversion<T>::parse(word) } -> std::same_as<std::optional<T>>;
    { ArgumentConversion<T>::text(value) } -> std::same_as<std::string>;
    { ArgumentConversion<T>::syntax() } -> std::same_as<ValueSyntax>;
};

template <>
struct ArgumentConversion<std::string> {
    static std::optional<std::string> parse(std::string_view word) { return std::string(word); }
    static std::string text(const std::string& value) { return value; }
    static ValueSyntax syntax();
};

template <>
struct ArgumentConversion<bool> {
    static std::optional<bool> parse(std::string_view word);
    static std::string text(bool value) { return value ? "true" : "false"; }
    static ValueSyntax syntax();
};

template <>
struct ArgumentConversion<double> {
    static std::optional<double> parse(std::string_view word) { return parseNumber<double>(word); }
    static std::string text(double value) { return shortestText(value); }
    static ValueSyntax syntax();
};

[[nodiscard]] ValueSyntax pathSyntax();

/// `std::filesystem::path`, by its properties: its header takes long to compile, and few commands need it.
template <class Path>
requires std::same_as<typename Path::string_type, std::string> && requires {
    &Path::lexically_normal;
}
struct ArgumentConversion<Path> {
    static std::optional<Path> parse(std::string_view word) {
        return word.empty() ? std::nullopt : std::optional(Path(word));
    }
    static std::string text(const Path& value) { return value.native(); }
    static ValueSyntax syntax() { return pathSyntax(); }
};

/// A path, relative to the current folder or absolute, or a `file:` URL.
template <>
struct ArgumentConversion<FileURL> {
    static std::optional<FileURL> parse(std::string_view word);
    static std::string text(const FileURL& value) { return std::string(value.text()); }
    static ValueSyntax syntax();
};

/// The syntax of an enumeration that is written as the number of a case.
[[nodiscard]] ValueSyntax enumerationSyntax(std::vector<std::string> numbers,
                                            std::vector<std::string> caseNames);

template <RawRepresentable E>
struct ArgumentConversion<E> {
    static std::optional<E> parse(std::string_view word) {
        const auto raw = parseNumber<std::underlying_type_t<E>>(word);
        return raw ? fromRawValue<E>(*raw) : std::nullopt;
    }
    static std::string text(E value) { return std::to_string(rawValue(value)); }
    static ValueSyntax syntax() {
        std::vector<std::string> numbers;
        std::vector<std::string> caseNames;
        for (const E value : allCases<E>()) {
            numbers.push_back(text(value));
            caseNames.emplace_back(caseName(value));
        }
        return enumerationSyntax(std::move(numbers), std::move(caseNames));
    }
};

} // namespace Orvex
