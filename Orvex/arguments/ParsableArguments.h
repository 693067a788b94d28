#pragma once

#include "Foundation/Async.h"
#include "Orvex/arguments/ManualText.h"
#include "Orvex/arguments/Name.h"
#include "Orvex/arguments/Property.h"
#include <boost/describe/class.hpp>
#include <boost/describe/enum.hpp>
#include <boost/describe/members.hpp>
#include <boost/describe/modifiers.hpp>
#include <boost/mp11/algorithm.hpp>
#include <concepts>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Stands last in a struct of options and lists its properties once, in order of declaration.
#define ORVEX_CODING_KEYS(Type, ...)                                                                         \
    [[maybe_unused]] static constexpr std::string_view typeName = #Type;                                     \
                                                                                                             \
  private:                                                                                                   \
    enum class CodingKeys { __VA_ARGS__ };                                                                   \
    BOOST_DESCRIBE_NESTED_ENUM(CodingKeys, __VA_ARGS__)                                                      \
    BOOST_DESCRIBE_CLASS(Type, (), (__VA_ARGS__), (), ())

namespace Orvex {

/// A property of some struct of options, and the name it has there. Refers to the struct.
struct BoundProperty {
    std::string_view name;
    Property* property;

    /// Every word that gives the property, in order of declaration.
    [[nodiscard]] std::vector<std::string> spellings() const {
        std::vector<std::string> all;
        for (const Name& spelled : property->names()) {
            all.push_back(spelled.spelling(name));
        }
        return all;
    }
};

template <class T>
using PropertiesOf = boost::describe::describe_members<T, boost::describe::mod_public>;

template <class T, class Descriptor>
using IsProperty =
    std::is_base_of<Property, std::remove_reference_t<decltype(std::declval<T&>().*Descriptor::pointer)>>;

/// A struct whose members are options, each with its declaration as its initial value, listed by
/// `ORVEX_CODING_KEYS`.
template <class T>
concept ParsableArguments = std::default_initializable<T> && std::is_aggregate_v<T> &&
    boost::describe::has_describe_members<T>::value &&
    boost::mp11::mp_all_of_q<PropertiesOf<T>, boost::mp11::mp_bind_front<IsProperty, T>>::value;

/// A struct of options that a host can offer as a subcommand, under its type name as lower-case words.
template <class T>
concept ParsableCommand = ParsableArguments<T> && requires {
    { T::typeName } -> std::convertible_to<std::string_view>;
};

/// A subcommand that can be run, once its options are filled in.
template <class T>
concept AsyncParsableCommand = ParsableCommand<T> && requires(T command) {
    { command.run() } -> std::same_as<Async<void>>;
};

/// The properties of `arguments`, in order of declaration.
template <ParsableArguments T>
[[nodiscard]] std::vector<BoundProperty> boundProperties(T& arguments) {
    std::vector<BoundProperty> properties;
    boost::mp11::mp_for_each<PropertiesOf<T>>([&](auto descriptor) {
        properties.push_back({.name = descriptor.name, .property = &(arguments.*descriptor.pointer)});
    });
    return properties;
}

/// One subcommand of any type, with its options.
class Subcommand {
  public:
    Subcommand() = default;
    virtual ~Subcommand() = default;
    Subcommand(const Subcommand&) = delete;
    Subcommand& operator=(const Subcommand&) = delete;

    /// Refers to this object.
    [[nodiscard]] virtual std::vector<BoundProperty> properties() = 0;

    /// Must have ended before this object dies.
    [[nodiscard]] virtual Async<void> run() = 0;
};

/// A type of subcommand: how it is called, how one is made, its options at their defaults, and what its
/// manual page says.
struct SubcommandType {
    std::string name;
    std::unique_ptr<Subcommand> (*make)();
    ManualText manual;
};

/// A command that has something to say in its manual page.
template <class T>
concept HasManualText = requires {
    { T::manual } -> std::convertible_to<ManualText>;
};

template <AsyncParsableCommand T>
[[nodiscard]] SubcommandType subcommandType() {
    class Typed final : public Subcommand {
      public:
        std::vector<BoundProperty> properties() override { return boundProperties(command_); }
        Async<void> run() override { return command_.run(); }

      private:
        T command_;
    };
    ManualText manual;
    if constexpr (HasManualText<T>) {
        manual = T::manual;
    }
    return {.name = lowerCaseWords(T::typeName),
            .make = [] { return std::unique_ptr<Subcommand>(std::make_unique<Typed>()); },
            .manual = manual};
}

/// The subcommands that a host offers, in the order of its help screen.
template <AsyncParsableCommand... Types>
[[nodiscard]] std::vector<SubcommandType> subcommandTypes() {
    return {subcommandType<Types>()...};
}

} // namespace Orvex
