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

/// Describes the values of a type for help, completion and errors.
struct ValueSyntax {
    /// Stands for a value in a usage line, as in "<number>".
    std::string placeholder = {};
    /// Follows "expected " in an error.
    std::string expected = {};
    /// All values, if they are few; otherwise empty.
    std::vector<std::string> values = {};
    /// The meaning of each of `values`; empty if the words are plain enough.
    std::vector<std::string> meanings = {};
    /// True if a value is the path of a file: completion offers files.
    bool isPath = false;
    /// True if a misspelt value may contain a password: errors do not repeat it.
    bool isSecret = false;
};

/// Thrown by a conversion that can tell why a word is not a value of its type. `what()` tells the reason and
/// the remedy.
class InvalidValue : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Converts words of the command line into values of `T`; specialise it for each type. `parse` returns no
/// value for a word that is not one, or throws `InvalidValue`; `text` returns a word that `parse` accepts;
/// `syntax` describes them.
template <class T>
struct ArgumentConversion;

/// A type whose values can be given on the command line.
template <class T>
concept ExpressibleByArgument = requires(std::string_view word, const T& value) {
    { ArgumentConversion<T>::parse(word) } -> std::same_as<std::optional<T>>;
    { ArgumentConversion<T>::text(value) } -> std::same_as<std::string>;
    { ArgumentConversion<T>::syntax() } -> std::same_as<ValueSyntax>;
};

/// Any word, also an empty one.
template <>
struct ArgumentConversion<std::string> {
    static std::optional<std::string> parse(std::string_view word) { return std::string(word); }
    static std::string text(const std::string& value) { return value; }
    static ValueSyntax syntax();
};

/// "true" or "false".
template <>
struct ArgumentConversion<bool> {
    static std::optional<bool> parse(std::string_view word);
    static std::string text(bool value) { return value ? "true" : "false"; }
    static ValueSyntax syntax();
};

/// A finite decimal number.
template <>
struct ArgumentConversion<double> {
    static std::optional<double> parse(std::string_view word) { return parseNumber<double>(word); }
    static std::string text(double value) { return shortestText(value); }
    static ValueSyntax syntax();
};

/// The syntax of values that are paths of files.
[[nodiscard]] ValueSyntax pathSyntax();

/// A `std::filesystem::path` that is not empty. Its header is slow to compile, so it is not included here.
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

/// The syntax of an enumeration whose values are given as numbers.
[[nodiscard]] ValueSyntax enumerationSyntax(std::vector<std::string> numbers,
                                            std::vector<std::string> caseNames);

/// The number of a case of an enumeration that is described to Boost.Describe.
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
