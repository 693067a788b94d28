#pragma once

#include "Foundation/Async.h"
#include "Foundation/Enumeration.h"
#include "Orvex/arguments/ManualText.h"
#include "Orvex/arguments/Name.h"
#include "Orvex/arguments/Property.h"
#include <boost/describe/class.hpp>
#include <boost/describe/enum.hpp>
#include <boost/describe/members.hpp>
#include <boost/describe/modifiers.hpp>
#include <boost/mp11/algorithm.hpp>
#include <boost/pfr/tuple_size.hpp>
#include <concepts>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Lists the members of a struct of options, in order of declaration; stands last in the struct. `CodingKeys`
/// has a key for each: their number is compared with that of the members, so that none can be left out.
#define ORVEX_CODING_KEYS(Type, ...)                                                                         \
  private:                                                                                                   \
    enum class CodingKeys { __VA_ARGS__ };                                                                   \
    BOOST_DESCRIBE_NESTED_ENUM(CodingKeys, __VA_ARGS__)                                                      \
                                                                                                             \
  public:                                                                                                    \
    [[maybe_unused]] static constexpr std::string_view typeName = #Type;                                     \
    [[nodiscard]] static constexpr std::size_t keyCount() {                                                  \
        return allCases<CodingKeys>().size();                                                                \
    }                                                                                                        \
    BOOST_DESCRIBE_CLASS(Type, (), (__VA_ARGS__), (), ())

namespace Orvex {

/// A member of a struct of options. The struct must outlive it.
struct BoundProperty {
    /// The member's name.
    std::string_view name;
    /// The member; not null.
    Property* property;

    /// All spellings of the option, in order of declaration.
    [[nodiscard]] std::vector<std::string> spellings() const {
        std::vector<std::string> all;
        for (const Name& spelled : property->names()) {
            all.push_back(spelled.spelling(name));
        }
        return all;
    }
};

/// Descriptors of the members that `ORVEX_CODING_KEYS` lists.
template <class T>
using PropertiesOf = boost::describe::describe_members<T, boost::describe::mod_public>;

/// True for the descriptor of a `Flag` or an `Option`.
template <class T, class Descriptor>
using IsProperty =
    std::is_base_of<Property, std::remove_reference_t<decltype(std::declval<T&>().*Descriptor::pointer)>>;

/// An aggregate of `Flag`s and `Option`s, each declared by its initial value, and listed by
/// `ORVEX_CODING_KEYS`.
template <class T>
concept ParsableArguments = std::default_initializable<T> && std::is_aggregate_v<T> &&
    boost::describe::has_describe_members<T>::value &&
    boost::mp11::mp_all_of_q<PropertiesOf<T>, boost::mp11::mp_bind_front<IsProperty, T>>::value;

/// True if `ORVEX_CODING_KEYS` lists as many members as the struct has.
template <ParsableArguments T>
inline constexpr bool listsAllMembers = T::keyCount() == boost::pfr::tuple_size_v<T>;

/// A struct of options with a name, the name of its type.
template <class T>
concept ParsableCommand = ParsableArguments<T> && requires {
    { T::typeName } -> std::convertible_to<std::string_view>;
};

/// A command: a struct of options with a coroutine that does the work.
template <class T>
concept AsyncParsableCommand = ParsableCommand<T> && requires(T command) {
    { command.run() } -> std::same_as<Async<void>>;
};

/// The members of `arguments`, in order of declaration. `arguments` must outlive them.
template <ParsableArguments T>
[[nodiscard]] std::vector<BoundProperty> boundProperties(T& arguments) {
    static_assert(listsAllMembers<T>, "ORVEX_CODING_KEYS leaves out a member of the struct");
    std::vector<BoundProperty> properties;
    boost::mp11::mp_for_each<PropertiesOf<T>>([&](auto descriptor) {
        properties.push_back({.name = descriptor.name, .property = &(arguments.*descriptor.pointer)});
    });
    return properties;
}

/// One command of any type, with its options.
class Subcommand {
  public:
    Subcommand() = default;
    virtual ~Subcommand() = default;
    Subcommand(const Subcommand&) = delete;
    Subcommand& operator=(const Subcommand&) = delete;

    /// The options, in order of declaration. This object must outlive them.
    [[nodiscard]] virtual std::vector<BoundProperty> properties() = 0;

    /// Runs the command with the options as they are now. This object must outlive the coroutine.
    [[nodiscard]] virtual Async<void> run() = 0;
};

/// A command that a host offers.
struct SubcommandType {
    /// The word that users type.
    std::string name;
    /// Makes a command whose options have their defaults.
    std::unique_ptr<Subcommand> (*make)();
    /// The prose of its manual page; empty texts for a command without `manual`.
    ManualText manual;
};

/// A command with a static member `manual`, the prose of its manual page.
template <class T>
concept HasManualText = requires {
    { T::manual } -> std::convertible_to<ManualText>;
};

/// The command `T`. Users type the name of the type in lower-case words joined by "-".
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

/// The commands for `Tool::subcommands`, in the order of the help screen.
template <AsyncParsableCommand... Types>
[[nodiscard]] std::vector<SubcommandType> subcommandTypes() {
    return {subcommandType<Types>()...};
}

} // namespace Orvex
