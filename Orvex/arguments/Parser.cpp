#include "Orvex/arguments/Parser.h"

#include "Foundation/ConnectionString.h"
#include "Foundation/FatalError.h"
#include "Foundation/QuotedText.h"
#include "Orvex/arguments/Wording.h"
#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Orvex {

namespace {

constexpr std::string_view optionsEnd = "--";

bool looksLikeOption(std::string_view word) {
    return word.starts_with('-');
}

std::string_view nameIn(std::string_view word) {
    return word.substr(0, word.find('='));
}

class Parser {
  public:
    Parser(std::span<const BoundProperty> properties, Words words, const OptionsElsewhere& elsewhere)
        : words_(words), elsewhere_(elsewhere), spellings_(allSpellings(properties)) {
        for (const BoundProperty& bound : properties) {
            properties_.insert(properties_.end(), bound.property->names().size(), bound.property);
        }
    }

    std::size_t parse() {
        while (position_ < words_.size() && looksLikeOption(words_[position_])) {
            const std::string_view word = words_[position_++];
            if (word == optionsEnd) {
                break;
            }
            parseOption(word);
        }
        return position_;
    }

  private:
    void parseOption(std::string_view word) {
        const std::string_view name = nameIn(word);
        std::optional<std::string_view> attached;
        if (name.size() < word.size()) {
            attached = word.substr(name.size() + 1);
        }
        Property& property = propertySpelled(name, word);
        list_ = {};
        if (property.valueCount() == ValueCount::none) {
            if (attached) {
                throw UsageError("unexpected value " + inQuotes(withoutSecrets(*attached)) + " for " +
                                 std::string(name) + ": a flag takes none");
            }
            static_cast<void>(property.take(""));
            return;
        }
        take(property, name, attached ? *attached : nextValue(property, name));
        if (property.valueCount() == ValueCount::upToNextOption) {
            while (position_ < words_.size() && !looksLikeOption(words_[position_])) {
                take(property, name, words_[position_++]);
            }
            list_ = {.property = &property, .name = name};
        }
    }

    Property& propertySpelled(std::string_view name, std::string_view word) {
        const auto found = std::find(spellings_.begin(), spellings_.end(), name);
        if (found != spellings_.end()) {
            return *properties_[static_cast<std::size_t>(found - spellings_.begin())];
        }
        refuse(name, word);
    }

    [[noreturn]] void refuse(std::string_view name, std::string_view word) const {
        const std::string place = ", given " + std::string(elsewhere_.place);
        const std::vector<std::string> others =
            elsewhere_.spellings ? elsewhere_.spellings() : std::vector<std::string>();
        if (std::find(others.begin(), others.end(), name) != others.end()) {
            throw UsageError("misplaced option " + std::string(name) + ": it is" + place.substr(1));
        }
        const std::string unknown = "unknown option " + inQuotes(withoutSecrets(name)) + ": ";
        if (const std::size_t near = nearest(name, spellings_); near < spellings_.size()) {
            throw UsageError(unknown + "did you mean " + spellings_[near] + "?");
        }
        if (const std::size_t near = nearest(name, others); near < others.size()) {
            throw UsageError(unknown + "did you mean " + others[near] + place + "?");
        }
        const std::string advice =
            list_.property != nullptr ? adviceOnDash(*list_.property, list_.name, word) : "";
        throw UsageError(unknown + "expected one that --help lists" + advice);
    }

    /// The way to give the option a value that begins with "-". Throws `UsageError` if the word is not a
    /// valid value.
    static std::string adviceOnDash(Property& property, std::string_view name, std::string_view word) {
        take(property, name, word);
        const std::string joined = std::string(name) + "=" + withoutSecrets(word);
        const std::string quoted = inQuotes(joined);
        const bool isPlain = quoted.size() == joined.size() + 2;
        return "; a value of " + std::string(name) + " that begins with \"-\" is given as " +
               (isPlain ? joined : quoted);
    }

    std::string_view nextValue(Property& property, std::string_view name) {
        if (position_ < words_.size() && !looksLikeOption(words_[position_])) {
            return words_[position_++];
        }
        std::string advice;
        const std::string_view word = position_ < words_.size() ? words_[position_] : optionsEnd;
        if (word != optionsEnd &&
            std::find(spellings_.begin(), spellings_.end(), nameIn(word)) == spellings_.end()) {
            advice = adviceOnDash(property, name, word);
        }
        throw UsageError("missing value for " + std::string(name) + ": expected " +
                         property.syntax().expected + advice);
    }

    static void take(Property& property, std::string_view name, std::string_view value) {
        std::string reason;
        try {
            if (property.take(value)) {
                return;
            }
        } catch (const InvalidValue& error) {
            reason = error.what();
        }
        const ValueSyntax syntax = property.syntax();
        std::string fault = "invalid value " +
                            (syntax.isSecret ? "" : inQuotes(withoutSecrets(value)) + " ") + "for " +
                            std::string(name) + ": ";
        if (!reason.empty()) {
            throw UsageError(fault + reason);
        }
        fault += "expected " + syntax.expected;
        const std::size_t nearValue = nearest(value, syntax.values);
        const std::size_t nearMeaning =
            syntax.meanings.empty() ? syntax.values.size() : nearest(value, syntax.meanings);
        if (const std::size_t near = std::min(nearMeaning, nearValue); near < syntax.values.size()) {
            fault += "; did you mean " + syntax.values[near] + "?";
        }
        throw UsageError(fault);
    }

    Words words_;
    const OptionsElsewhere& elsewhere_;
    std::size_t position_ = 0;
    std::vector<std::string> spellings_;
    std::vector<Property*> properties_;
    /// The option whose list of values ended right before the current word.
    struct {
        Property* property = nullptr;
        std::string_view name;
    } list_;
};

} // namespace

std::vector<std::string> allSpellings(std::span<const BoundProperty> properties) {
    std::vector<std::string> all;
    for (const BoundProperty& bound : properties) {
        std::vector<std::string> spellings = bound.spellings();
        all.insert(all.end(), std::make_move_iterator(spellings.begin()),
                   std::make_move_iterator(spellings.end()));
    }
    return all;
}

void checkSpellingsDiffer(const std::string& owner, std::span<const BoundProperty> properties) {
    std::vector<std::pair<std::string, std::string_view>> spelled;
    for (const BoundProperty& bound : properties) {
        for (const Name& name : bound.property->names()) {
            spelled.emplace_back(name.spelling(bound.name), bound.name);
        }
    }
    std::sort(spelled.begin(), spelled.end());
    const auto twice =
        std::adjacent_find(spelled.begin(), spelled.end(),
                           [](const auto& one, const auto& other) { return one.first == other.first; });
    if (twice != spelled.end()) {
        fatalError("Orvex/arguments/Parser", owner + " has two options " + twice->first + ": " +
                                                 std::string(twice->second) + " and " +
                                                 std::string((twice + 1)->second));
    }
}

std::size_t parseOptions(std::span<const BoundProperty> properties, Words words,
                         const OptionsElsewhere& elsewhere) {
    return Parser(properties, words, elsewhere).parse();
}

void parseArguments(std::span<const BoundProperty> properties, Words words,
                    const OptionsElsewhere& elsewhere) {
    const std::size_t parsed = parseOptions(properties, words, elsewhere);
    if (parsed < words.size()) {
        throw UsageError("unexpected argument " + inQuotes(withoutSecrets(words[parsed])) +
                         ": expected an option");
    }
    for (const BoundProperty& bound : properties) {
        if (bound.property->isMissing()) {
            throw UsageError("missing option " + alternatives(bound.spellings()) + ": expected " +
                             bound.property->syntax().expected);
        }
    }
}

bool isGiven(const BoundProperty& property, Words words) {
    const std::vector<std::string> spellings = property.spellings();
    const auto end = std::find(words.begin(), words.end(), optionsEnd);
    return std::find_first_of(words.begin(), end, spellings.begin(), spellings.end()) != end;
}

} // namespace Orvex
