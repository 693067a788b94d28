#pragma once

#include "Orvex/arguments/ExpressibleByArgument.h"
#include "Orvex/arguments/Name.h"
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Orvex {

/// The number of words on the command line that an option takes.
enum class ValueCount {
    /// A flag.
    none,
    /// One word; the last one counts.
    one,
    /// One word each time that the option is given; all count.
    onePerOccurrence,
    /// All words up to the next option.
    upToNextOption
};

/// The meaning of the words of an option whose type does not tell it.
enum class ValueMeaning {
    /// Values of the option's type.
    ofItsType,
    /// Paths of files, kept as text: completion offers files.
    path
};

/// A member of a struct of options: the interface of `Flag` and `Option` for parser, help and documents.
class Property {
  public:
    virtual ~Property() = default;

    /// The spellings.
    [[nodiscard]] const Names& names() const noexcept { return names_; }
    /// The help text, without remarks on values and default.
    [[nodiscard]] std::string_view help() const noexcept { return help_; }
    /// The number of words that it takes.
    [[nodiscard]] ValueCount valueCount() const noexcept { return valueCount_; }

    /// Takes one value as typed, or an empty text for a flag. Returns false if the word is not a value of the
    /// type. Throws `InvalidValue` if the type's conversion does.
    [[nodiscard]] virtual bool take(std::string_view word) = 0;

    /// True if a value has to be given.
    [[nodiscard]] virtual bool isRequired() const = 0;

    /// True if a value has to be given and was not.
    [[nodiscard]] virtual bool isMissing() const = 0;

    /// The default as it would be typed; absent or empty if there is nothing to show.
    [[nodiscard]] virtual std::optional<std::string> defaultText() const = 0;

    /// The syntax of a value; meaningless for a flag.
    [[nodiscard]] virtual ValueSyntax syntax() const = 0;

  protected:
    /// `help` must refer to memory that outlives the property, usually a literal.
    Property(Names names, std::string_view help, ValueCount valueCount)
        : names_(std::move(names)), help_(help), valueCount_(valueCount) {}
    Property(const Property&) = default;
    Property(Property&&) = default;
    Property& operator=(const Property&) = default;
    Property& operator=(Property&&) = default;

  private:
    Names names_;
    std::string_view help_;
    ValueCount valueCount_;
};

/// An option without a value: true if it is given, false otherwise.
class Flag final : public Property {
  public:
    /// `help` must refer to memory that outlives the flag, usually a literal.
    Flag(Names names, std::string_view help) : Property(std::move(names), help, ValueCount::none) {}

    /// Sets the flag without a command line.
    Flag& operator=(bool isOn) {
        isOn_ = isOn;
        return *this;
    }
    /// True if the flag was given.
    operator bool() const noexcept { return isOn_; } // NOLINT(*-explicit-*): a flag is used as a condition

    [[nodiscard]] bool take(std::string_view) override { return isOn_ = true; }
    [[nodiscard]] bool isRequired() const override { return false; }
    [[nodiscard]] bool isMissing() const override { return false; }
    [[nodiscard]] std::optional<std::string> defaultText() const override { return std::nullopt; }
    [[nodiscard]] ValueSyntax syntax() const override { return {}; }

  private:
    bool isOn_ = false;
};

/// Derives from the type of an option how it is given: as one value, an optional one, or a list.
template <class T>
struct OptionValue {
    /// The type of one value.
    using Element = T;
    /// The number of words, unless the option says otherwise.
    static constexpr ValueCount valueCount = ValueCount::one;
    /// The value to show as the default; null if there is none.
    static const T* defaultElement(const T& value) { return &value; }
};

template <class T>
struct OptionValue<std::optional<T>> {
    using Element = T;
    static constexpr ValueCount valueCount = ValueCount::one;
    static const T* defaultElement(const std::optional<T>& value) { return value ? &*value : nullptr; }
};

template <class T>
struct OptionValue<std::vector<T>> {
    using Element = T;
    static constexpr ValueCount valueCount = ValueCount::upToNextOption;
    static const T* defaultElement(const std::vector<T>&) { return nullptr; }
};

/// An option with a value: a `T`, an optional one, or a list. If it is given twice, the last single value
/// counts, and lists are concatenated.
template <class T>
class Option final : public Property {
    using Element = typename OptionValue<T>::Element;
    using Conversion = ArgumentConversion<Element>;
    static_assert(ExpressibleByArgument<Element>);

  public:
    /// An option that has to be given. `help` must outlive the option, as for the others below; usually it is
    /// a literal.
    Option(Names names, std::string_view help)
        : Property(std::move(names), help, OptionValue<T>::valueCount) {}

    /// An option with a default. `valueCount` tells how a list is given.
    Option(T initial, Names names, std::string_view help, ValueCount valueCount = OptionValue<T>::valueCount)
        : Property(std::move(names), help, valueCount), initial_(std::move(initial)) {}

    /// An option with a default, whose type does not tell the meaning of its values.
    Option(T initial, Names names, std::string_view help, ValueMeaning meaning)
        : Property(std::move(names), help, OptionValue<T>::valueCount),
          initial_(std::move(initial)),
          meaning_(meaning) {}

    /// Sets the value without a command line.
    Option& operator=(T value) {
        given_ = std::move(value);
        return *this;
    }

    /// The value given, or else the default. Throws `std::bad_optional_access` while `isMissing()`.
    [[nodiscard]] const T& operator*() const { return given_ ? *given_ : initial_.value(); }
    /// The same, for members of the value.
    [[nodiscard]] const T* operator->() const { return &**this; }

    [[nodiscard]] bool take(std::string_view word) override {
        std::optional<Element> element = Conversion::parse(word);
        if (!element) {
            return false;
        }
        if constexpr (OptionValue<T>::valueCount == ValueCount::upToNextOption) {
            if (!given_) {
                given_.emplace();
            }
            given_->push_back(std::move(*element));
        } else {
            given_ = std::move(*element);
        }
        return true;
    }
    [[nodiscard]] bool isRequired() const override { return !initial_; }
    [[nodiscard]] bool isMissing() const override { return isRequired() && !given_; }
    [[nodiscard]] std::optional<std::string> defaultText() const override {
        const Element* const element = initial_ ? OptionValue<T>::defaultElement(*initial_) : nullptr;
        return element != nullptr ? std::optional(Conversion::text(*element)) : std::nullopt;
    }
    [[nodiscard]] ValueSyntax syntax() const override {
        return meaning_ == ValueMeaning::path ? pathSyntax() : Conversion::syntax();
    }

  private:
    std::optional<T> initial_;
    std::optional<T> given_;
    ValueMeaning meaning_ = ValueMeaning::ofItsType;
};

} // namespace Orvex
