#pragma once

#include "Foundation/Enumeration.h"
#include "Foundation/FileURL.h"
#include "Foundation/SharedText.h"
#include "Foundation/Time.h"
#include "Foundation/UUID.h"
#include "ZelvoMessageStore/SQLite.h"
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The values of a message in the columns of a row and the parameters of a statement.
namespace Orvex::SQLite {

/// The current row of a query.
class Row {
  public:
    explicit Row(Statement& statement) : statement_(statement) {}

    [[nodiscard]] bool isNull(int column) const { return statement_.value(column).isNull(); }
    template <class T>
    [[nodiscard]] auto bytes(int column) const {
        if constexpr (std::same_as<T, UUID>) {
            return statement_.value(column).blob();
        } else {
            return statement_.value(column).text();
        }
    }
    template <class T>
    [[nodiscard]] std::int64_t integer(int column) const {
        return statement_.integer(column);
    }
    [[nodiscard]] double real(int column) const { return statement_.value(column).real(); }
    [[nodiscard]] static std::string literal(const UUID& uuid) {
        std::string digits = uuid.text();
        std::erase(digits, '-');
        return "x'" + digits + "'";
    }

  private:
    Statement& statement_;
};

// Bound values must outlive the statement's run.

template <std::convertible_to<std::string_view> Text>
void bind(Statement& statement, int parameter, const Text& text) {
    statement.bind(parameter, std::string_view(text));
}
inline void bind(Statement& statement, int parameter, const UUID& uuid) {
    statement.bind(parameter, Blob(uuid.bytes()));
}
inline void bind(Statement& statement, int parameter, const FileURL& url) {
    statement.bind(parameter, url.text());
}
template <std::integral Integer>
void bind(Statement& statement, int parameter, Integer value) {
    statement.bind(parameter, std::int64_t{value});
}
inline void bind(Statement& statement, int parameter, Seconds duration) {
    statement.bind(parameter, duration.count());
}
inline void bind(Statement& statement, int parameter, Timestamp moment) {
    statement.bind(parameter, std::int64_t{moment.time_since_epoch().count()});
}
template <RawRepresentable E>
void bind(Statement& statement, int parameter, E value) {
    statement.bind(parameter, std::int64_t{rawValue(value)});
}
template <class T>
void bind(Statement& statement, int parameter, const std::optional<T>& value) {
    if (value) {
        bind(statement, parameter, *value);
    } else {
        statement.bindNull(parameter);
    }
}

/// Binds the values to the parameters from 1 on.
template <class... Values>
void bindAll(Statement& statement, const Values&... values) {
    int parameter = 0;
    (bind(statement, ++parameter, values), ...);
}

} // namespace Orvex::SQLite
