#pragma once

#include "Foundation/Async.h"
#include "PostgreSQLStore/ConnectionURI.h"
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

/// Wraps libpq. Nothing blocks, except that libpq looks up the names of hosts.
namespace Orvex::PostgreSQL {

/// An error that the server or libpq reports.
class Error : public std::runtime_error {
  public:
    Error(std::string code, const std::string& message, bool endsConnection = false);

    /// The SQLSTATE; empty when the server gave none.
    [[nodiscard]] const std::string& code() const noexcept { return code_; }
    /// True if the server says nothing more, not even whether a COMMIT succeeded.
    [[nodiscard]] bool endsConnection() const noexcept { return endsConnection_; }

  private:
    std::string code_;
    bool endsConnection_;
};

/// The server has not answered before the deadline.
class Timeout : public Error {
  public:
    explicit Timeout(const std::string& message) : Error("", message, true) {}
};

/// Throws a `std::runtime_error` which says that no PostgreSQL server gives this answer to a statement that
/// begins with `command`.
[[noreturn]] void refuseAnswer(std::string_view command, const std::string& answer);

/// A row of a result, valid during the call that it is passed to. Throws `std::runtime_error` for a value of
/// another type than `typeOf<T>`.
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
    /// A value of the server's type `text`. Its bytes are the same in binary and textual results.
    [[nodiscard]] std::string_view text(int column) const;
    [[nodiscard]] static std::string literal(const UUID& uuid) { return "'" + uuid.text() + "'"; }

  private:
    [[nodiscard]] std::string_view bytes(int column, const ServerType& type) const;
    [[nodiscard]] static std::int64_t integer(std::string_view bytes);

    const pg_result* result_;
};

/// A session with a server. After an `Error` that does not end the connection, roll back the transaction;
/// after any other exception, close the connection. The server rolls back an open transaction when the
/// connection is closed.
class Connection {
  public:
    using Deadline = EventLoop::TimePoint;
    static constexpr Deadline never = EventLoop::never;
    using RowHandler = std::function<void(const Row&)>;

    /// The rows that a statement may find or change. Another answer is refused.
    struct Rows {
        /// In each row; 0 if the server sends none.
        int columns = 0;
        std::int64_t most = std::numeric_limits<std::int64_t>::max();
        /// Called for each row that the server sends.
        RowHandler handler = {};
    };

    /// The text of an error in `open`. `code` adds the SQLSTATE and the location in the server's sources, and
    /// sets `Error::code()`.
    enum class ErrorText { sentence, code };

    Connection() = default;

    /// Connects to the first host that accepts the client. The password is sent to another machine only if
    /// that proves its identity, by a certificate or by SCRAM with channel binding (RFC 5802), unless the
    /// parameter `channel_binding` permits more. Each host gets an equal share of the time until `deadline`,
    /// and at most the `connect_timeout` of the parameters, by default 30 seconds.
    Async<void> open(const ConnectionURI& uri, Deadline deadline, ErrorText errorText);

    /// True if the connection was opened, runs no statement or transaction, and the server has not closed it.
    [[nodiscard]] bool isOpen();
    void close() { connection_.reset(); }

    /// From this time on, waiting for the server throws a `Timeout`.
    void setDeadline(Deadline deadline) { deadline_ = deadline; }

    // These throw a `std::runtime_error` if the server's answer does not suit the statement's first word.

    /// Runs statements without parameters and ignores their rows. They are separated by ";", which must not
    /// occur elsewhere. A SELECT has one column.
    Async<void> execute(std::string_view statements);
    /// The same. Passes on the rows of the last statement, a SELECT, with values in their textual form.
    Async<void> execute(std::string_view statements, Rows last);
    /// Runs a statement and passes on its rows as they arrive. Returns how many rows it found or changed.
    Async<std::int64_t> run(std::string_view statement, std::vector<Parameter> parameters, Rows rows);
    /// Runs a statement that finds at most one row, and returns the integer in it.
    Async<std::optional<std::int64_t>> integer(std::string_view statement, std::vector<Parameter> parameters);
    /// The same for a statement without parameters that always finds a row.
    Async<std::int64_t> oneInteger(std::string_view statement);
    /// Commits. If it is unknown whether the server has done that, throws an `Error` that says so.
    Async<void> commit();

  private:
    class Answers;
    struct Finisher {
        void operator()(pg_conn* connection) const noexcept;
    };

    void start(const ConnectionURI::Parameters& parameters, ErrorText errorText);
    /// Takes libpq's steps until a host has accepted the client. Returns false before the password would be
    /// sent to a machine that does not prove its identity.
    Async<bool> handshake(const ConnectionURI::Parameters& parameters);
    Async<void> wait(EventLoop::Event event);
    /// Receives the answers to the statements that were sent. Returns how many rows the last one concerns.
    Async<std::int64_t> receive(Answers& answers);
    [[noreturn]] void fail();
    [[noreturn]] static void failLate();

    std::unique_ptr<pg_conn, Finisher> connection_;
    Deadline deadline_ = never;
    /// The server's last notice, such as a warning.
    std::string notice_;
};

} // namespace Orvex::PostgreSQL
