#pragma once

#include "Orvex/arguments/ExpressibleByArgument.h"
#include "Orvex/arguments/Name.h"
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Orvex {

/// How many words of the command line belong to an option.
enum class ValueCount { none, one, onePerOccurrence, upToNextOption };

/// What the words given for an option are: values of its type, or, where that is a text, the path of a file.
enum class ValueMeaning { ofItsType, path };

/// A command's property that the command line can set: what `Flag` and `Option` have in common for the parser
/// and the help screen.
class Property {
  public:
    virtual ~Property() = default;

    [[nodiscard]] const Names& names() const noexcept { return names_; }
    [[nodiscard]] std::string_view help() const noexcept { return help_; }
    [[nodiscard]] ValueCount valueCount() const noexcept { return valueCount_; }

    /// Takes one value as typed (the empty text for a flag). False when it is no value of the property's
    /// type.
    [[nodiscard]] virtual bool take(std::string_view word) = 0;

    /// Whether a value has to be given.
    [[nodiscard]] virtual bool isRequired() const = 0;

    /// Whether a value has to be given and was not.
    [[nodiscard]] virtual bool isMissing() const = 0;

    /// The default as it would be typed; absent when there is none, or nothing to show.
    [[nodiscard]] virtual std::optional<std::string> defaultText() const = 0;

    /// What its values are; of no use for a flag.
    [[nodiscard]] virtual ValueSyntax syntax() const = 0;

  protected:
    /// `help` refers to memory that outlives the property, usually a literal.
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

/// A property that is on when its name is given, off otherwise.
class Flag final : public Property {
  public:
    Flag(Names names, std::string_view help) : Property(std::move(names), help, ValueCount::none) {}

    Flag& operator=(bool isOn) {
        isOn_ = isOn;
        return *this;
    }
    operator bool() const noexcept { return isOn_; } // NOLINT(*-explicit-*): a flag reads as what it says

    [[nodiscard]] bool take(std::string_view) override { return isOn_ = true; }
    [[nodiscard]] bool isRequired() const override { return false; }
    [[nodiscard]] bool isMissing() const override { return false; }
    [[nodiscard]] std::optional<std::string> defaultText() const override { return std::nullopt; }
    [[nodiscard]] ValueSyntax syntax() const override { return {}; }

  private:
    bool isOn_ = false;
};

/// How the words given for an option make up its value: one word, an optional one, or a list of them.
template <class T>
struct OptionValue {
    using Element = T;
    static constexpr ValueCount valueCount = ValueCount::one;
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

/// A property that takes a value: a `T`, an optional one, or a list. Given twice, a single value is the last
/// one and a list has all of them.
template <class T>
class Option final : public Property {
    using Element = typename OptionValue<T>::Element;
    using Conversion = ArgumentConversion<Element>;
    static_assert(ExpressibleByArgument<Element>);

  public:
    /// One that has to be given.
    Option(Names names, std::string_view help)
        : Property(std::move(names), help, OptionValue<T>::valueCount) {}

    /// One that may be left out. `valueCount` says how a list is given.
    Option(T initial, Names names, std::string_view help, ValueCount valueCount = OptionValue<T>::valueCount)
        : Property(std::move(names), help, valueCount), initial_(std::move(initial)) {}

    /// One that may be left out, of a type that does not tell what its values are.
    Option(T initial, Names names, std::string_view help, ValueMeaning meaning)
        : Property(std::move(names), help, OptionValue<T>::valueCount),
          initial_(std::move(initial)),
          meaning_(meaning) {}

    Option& operator=(T value) {
        given_ = std::move(value);
        return *this;
    }

    /// The value given, or else the default: not to be called while `isMissing()`.
    [[nodiscard]] const T& operator*() const { return given_ ? *given_ : initial_.value(); }
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
