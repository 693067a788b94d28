#pragma once

#include "Foundation/Async.h"
#include "PostgreSQLStore/Location.h"
#include "PostgreSQLStore/Values.h"
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct pg_conn;
struct pg_result;

/// A wall around libpq, whose calls never block but to look up a host's name.
namespace Orvex::PostgreSQL {

/// What the server or libpq reports.
class Error : public std::runtime_error {
  public:
    Error(std::string code, const std::string& message, bool endsConnection = false);

    /// The SQLSTATE; empty when the server gave none.
    [[nodiscard]] const std::string& code() const noexcept { return code_; }
    /// Whether nothing more is to be heard from the server, not even what became of a COMMIT.
    [[nodiscard]] bool endsConnection() const noexcept { return endsConnection_; }

  private:
    std::string code_;
    bool endsConnection_;
};

/// What a server has not done in time.
class Timeout : public Error {
  public:
    explicit Timeout(const std::string& message) : Error("", message, true) {}
};

/// Throws a `std::runtime_error`: no server of the kind answers in this way to a statement that begins with
/// `command`.
[[noreturn]] void refuseAnswer(std::string_view command, const std::string& answer);

/// A row of a result, which lives no longer than the call that it is passed to. Values are of the type that
/// `typeOf<T>` says, or a `std::runtime_error` is thrown.
class Row {
  public:
    explicit Row(const pg_result* result) : result_(result) {}

    [[nodiscard]] bool isNull(int column) const;
    template <class T>
    [[nodiscard]] std::string_view bytes(int column) const {
        return bytes(column, typeOf<T>);
    }
    template <class T>
    [[nodiscard]] std::int64_t integer(int column) const {
        return integer(bytes<T>(column));
    }
    [[nodiscard]] double real(int column) const;
    /// A value of the server's type `text`, which is the same in a binary and a textual answer.
    [[nodiscard]] std::string_view text(int column) const;
    [[nodiscard]] std::string columnName(int column) const;
    [[nodiscard]] static std::string literal(const UUID& uuid) { return "'" + uuid.text() + "'"; }

  private:
    [[nodiscard]] std::string_view bytes(int column, const ServerType& type) const;
    [[nodiscard]] static std::int64_t integer(std::string_view bytes);

    const pg_result* result_;
};

/// A session with a server. After an `Error` that does not end it, it can be used on, and a transaction must
/// be rolled back; after another exception it must be closed. What is not committed when it is closed, the
/// server undoes.
class Connection {
  public:
    using Deadline = EventLoop::TimePoint;
    static constexpr Deadline never = EventLoop::never;
    using RowHandler = std::function<void(const Row&)>;

    /// The rows that a statement finds or changes: how many there can be, and, where it hands them over, to
    /// what and with how many columns.
    struct Rows {
        int columns = 0;
        std::int64_t most = std::numeric_limits<std::int64_t>::max();
        RowHandler handler = {};
    };

    /// The text of an error in `open`. With `code`, it has the SQLSTATE and the place in the server's sources
    /// as well, and `Error::code()` is known.
    enum class ErrorText { sentence, code };

    Connection() = default;

    /// Connects to the first host that lets the client in. A password goes to another machine only if that
    /// proves who it is, by a certificate or by SCRAM with channel binding (RFC 5802), unless the parameter
    /// `channel_binding` says otherwise. Each has its share of the time until `deadline`,
    /// and no more than the connection's own `connect_timeout`, or 30 seconds.
    Async<void> open(const Location& location, Deadline deadline, ErrorText errorText);

    /// Whether it has been opened, waits for statements, and the server has not ended it meanwhile.
    [[nodiscard]] bool isOpen();
    void close() { connection_.reset(); }

    /// From then on, waiting for the server ends with a `Timeout`.
    void setDeadline(Deadline deadline) { deadline_ = deadline; }

    // Each of these throws a `std::runtime_error` when the server's answer is not of the kind that the
    // statement has, by its first word.

    /// Runs statements that have no parameters and no rows of interest; a SELECT has one column. A ";" stands
    /// nowhere but between them.
    Async<void> execute(std::string_view statements);
    /// The same, and hands over the rows of the last one, a SELECT, whose values have their textual form.
    Async<void> execute(std::string_view statements, Rows last);
    /// Runs a statement and hands over its rows as they arrive. Returns how many rows it found or changed.
    Async<std::int64_t> run(std::string_view statement, std::vector<Parameter> parameters, Rows rows);
    /// Runs a statement that finds at most one row, of one integer, and returns that.
    Async<std::optional<std::int64_t>> integer(std::string_view statement, std::vector<Parameter> parameters);
    /// The same of a statement without parameters that always finds one.
    Async<std::int64_t> oneInteger(std::string_view statement);
    /// Makes the changes of a transaction lasting, or throws an `Error` that says that this is unknown.
    Async<void> commit();

  private:
    /// The answer that a statement has to have.
    struct Answer {
        std::string_view command;
        int columns = 0;
        std::int64_t mostRows = std::numeric_limits<std::int64_t>::max();
    };
    struct Finisher {
        void operator()(pg_conn* connection) const noexcept;
    };

    Async<void> connect(Location::Parameters parameters, Deadline deadline, ErrorText errorText);
    Async<void> wait(EventLoop::Event event);
    /// Receives the answers to what was sent, and hands over the rows of the last one. Returns how many rows
    /// the last one concerns.
    Async<std::int64_t> receive(std::vector<Answer> answers, RowHandler handler);
    /// Returns how many rows there are with this result, behind `rows` of the same answer.
    static std::int64_t check(const Answer& answer, const pg_result* result, std::int64_t rows);
    [[noreturn]] void fail();
    [[noreturn]] static void failLate();

    std::unique_ptr<pg_conn, Finisher> connection_;
    Deadline deadline_ = never;
    /// What the server said last by the way.
    std::string notice_;
};

} // namespace Orvex::PostgreSQL
