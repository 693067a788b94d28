#include "PostgreSQLStore/Connection.h"

#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <bit>
#include <libpq-fe.h>
#include <netinet/in.h>
#include <new>
#include <optional>
#include <poll.h>
#include <utility>

namespace Orvex::PostgreSQL {

namespace {

using Event = EventLoop::Event;
using std::chrono::steady_clock;

constexpr std::size_t longestValue = 16 << 20;
constexpr std::size_t longestMessage = 2000;
constexpr int binary = 1;

using Parameters = ConnectionURI::Parameters;
using Result = std::unique_ptr<PGresult, decltype(&PQclear)>;

/// Messages of libpq have several lines, some of them indented. Those of a server have any length, even none.
std::string joinedLines(std::string_view text) {
    if (text.size() > longestMessage) {
        return joinedLines(text.substr(0, longestMessage)) + "...";
    }
    std::string line;
    for (const char c : text) {
        if (c == '\n') {
            line += "; ";
        } else if (c != '\t') {
            line += c;
        }
    }
    line.erase(line.find_last_not_of("; ") + 1);
    return line.empty() ? "the server gives no reason" : line;
}

/// The SQLSTATE of a failed connection: the last one in a message of the verbosity PQERRORS_VERBOSE, as in
/// "FATAL:  57P03: the database system is starting up", or a suitable one if the message is libpq's own.
std::string codeOfFailure(PGconn* connection) {
    constexpr std::string_view mark = ":  ";
    constexpr std::size_t codeSize = 5;
    const std::string_view message = PQerrorMessage(connection);
    for (std::size_t at = message.rfind(mark); at != std::string_view::npos && at > 0;
         at = message.rfind(mark, at - 1)) {
        const std::string_view code = message.substr(at + mark.size(), codeSize);
        if (code.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string_view::npos &&
            message.substr(at + mark.size() + code.size()).starts_with(": ")) {
            return std::string(code);
        }
    }
    // libpq found no server of the kind that `target_session_attrs` asks for.
    const bool isOther = message.find("session is ") != std::string_view::npos ||
                         message.find("hot standby mode") != std::string_view::npos;
    return PQconnectionNeedsPassword(connection) != 0 ? "28P01" : isOther ? "57P03" : "";
}

std::string field(const PGresult* result, int code) {
    const char* const text = PQresultErrorField(result, code);
    return text != nullptr ? text : "";
}

Error errorIn(const PGresult* result) {
    const std::string message = field(result, PG_DIAG_MESSAGE_PRIMARY);
    return {field(result, PG_DIAG_SQLSTATE), message.empty() ? PQresultErrorMessage(result) : message,
            field(result, PG_DIAG_SEVERITY_NONLOCALIZED) != "ERROR"};
}

/// The first word of a statement, which also begins the tag of the server's answer.
std::string_view firstWord(std::string_view statement) {
    constexpr std::string_view space = " \n";
    statement.remove_prefix(std::min(statement.find_first_not_of(space), statement.size()));
    return statement.substr(0, statement.find_first_of(space));
}

/// The statements whose tag tells how many rows they concern.
constexpr std::array countingCommands = {"SELECT", "INSERT", "UPDATE", "DELETE"};

/// All parameters of a connection, including those from the environment and the service file.
Parameters parametersOf(PGconn* connection) {
    const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> options(PQconninfo(connection),
                                                                               PQconninfoFree);
    Parameters parameters;
    for (const auto* option = options.get(); option != nullptr && option->keyword != nullptr; ++option) {
        if (option->val != nullptr) {
            parameters.emplace(option->keyword, option->val);
        }
    }
    return parameters;
}

constexpr auto channelBinding = "channel_binding";
constexpr auto channelBindingHelp =
    "a password is sent to another machine only if that proves its identity: by a certificate for its "
    "name, with sslmode=verify-full in the URI or the service file, or, as was tried, by knowing the "
    "password, through SCRAM with channel binding; channel_binding=disable permits to send it to anyone who "
    "answers there; a pooler, which cannot bind the channel, needs sslmode=verify-full or "
    "channel_binding=disable";

/// The parameters that list hosts: each has one entry for every host, or one for all.
constexpr std::array hostLists = {"host", "hostaddr", "port"};

std::ptrdiff_t hostCount(const Parameters& parameters) {
    std::ptrdiff_t commas = 0;
    for (const char* const list : hostLists) {
        if (const auto found = parameters.find(list); found != parameters.end()) {
            commas = std::max(commas, std::count(found->second.begin(), found->second.end(), ','));
        }
    }
    return commas + 1;
}

void dropFirstHost(Parameters& parameters) {
    for (const char* const list : hostLists) {
        std::string& hosts = parameters[list];
        if (const std::size_t comma = hosts.find(','); comma != std::string::npos) {
            hosts.erase(0, comma + 1);
        }
    }
}

/// Returns true if the current host is this machine.
bool isOnThisMachine(const PGconn* connection) {
    const char* const address = PQhostaddr(connection);
    if (*address == '\0') {
        const std::string_view host = PQhost(connection);
        return host.starts_with('/') || host.starts_with('@');
    }
    in_addr v4{};
    in6_addr v6{};
    return (inet_pton(AF_INET, address, &v4) == 1 &&
            ntohl(v4.s_addr) >> IN_CLASSA_NSHIFT == IN_LOOPBACKNET) ||
           (inet_pton(AF_INET6, address, &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6));
}

bool has(const Parameters& parameters, const char* keyword, std::string_view value) {
    const auto found = parameters.find(keyword);
    return found != parameters.end() && found->second == value;
}

/// Returns true if libpq would send the password to anyone who answers at the address of the current host.
/// `channel_binding=prefer` is the default of libpq, so the user has not decided.
bool sendsPasswordToAnyone(const PGconn* connection, const Parameters& parameters) {
    return *PQpass(connection) != '\0' && !isOnThisMachine(connection) &&
           !has(parameters, "sslmode", "verify-full") && has(parameters, channelBinding, "prefer");
}

/// The time that one host has for accepting the client.
steady_clock::duration patience(const Parameters& parameters) {
    const auto found = parameters.find("connect_timeout");
    if (found == parameters.end()) {
        return std::chrono::seconds(30);
    }
    const int seconds = parseNumber<int>(found->second).value_or(0);
    return seconds > 0 ? std::chrono::seconds(seconds) : steady_clock::duration::max();
}

} // namespace

Error::Error(std::string code, const std::string& message, bool endsConnection)
    : std::runtime_error(joinedLines(message)), code_(std::move(code)), endsConnection_(endsConnection) {}

void refuseAnswer(std::string_view command, const std::string& answer) {
    throw std::runtime_error("the server answered " + std::string(command) + " with " + answer +
                             ", as no PostgreSQL server does; check that the address is the right one");
}

bool Row::isNull(int column) const {
    return PQgetisnull(result_, 0, column) != 0;
}

std::string_view Row::bytes(int column, const ServerType& type) const {
    const auto check = [&](bool isGood, const char* fault) {
        if (!isGood) {
            throw std::runtime_error(std::string("its tables are not those of a message store: ") +
                                     PQfname(result_, column) + fault);
        }
    };
    check(!isNull(column), " is NULL");
    check(PQftype(result_, column) == type.ofValue &&
              (PQfformat(result_, column) == binary || type.ofValue == textType.ofValue),
          " is of another type");
    const auto size = static_cast<std::size_t>(PQgetlength(result_, 0, column));
    check(size <= longestValue, " has more than 16777216 bytes");
    check(type.size == anySize || type.size == size, " is of another size");
    return {PQgetvalue(result_, 0, column), size};
}

std::int64_t Row::integer(std::string_view bytes) {
    std::uint64_t value = !bytes.empty() && (bytes.front() & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (const char byte : bytes) {
        value = value << 8 | static_cast<unsigned char>(byte);
    }
    return static_cast<std::int64_t>(value);
}

std::string_view Row::text(int column) const {
    return bytes(column, textType);
}

double Row::real(int column) const {
    return std::bit_cast<double>(integer<Seconds>(column));
}

void Connection::Finisher::operator()(PGconn* connection) const noexcept {
    PQfinish(connection);
}

void Connection::fail() {
    throw Error("", PQerrorMessage(connection_.get()), true);
}

void Connection::failLate() {
    throw Timeout("the server does not answer in time; try again when it is less busy, or give another host");
}

Async<void> Connection::wait(Event event) {
    const int socket = PQsocket(connection_.get());
    if (socket < 0) {
        fail();
    }
    // The socket of a server that keeps talking is ready each time.
    if (steady_clock::now() >= deadline_) {
        failLate();
    }
    const bool isReady = co_await waitUntilReady(socket, event, deadline_);
    if (!isReady) {
        failLate();
    }
}

Async<void> Connection::open(const ConnectionURI& uri, Deadline deadline, ErrorText errorText) {
    Parameters parameters = uri.parameters();
    while (true) {
        start(parameters, errorText);
        const Parameters all = parametersOf(connection_.get());
        const auto now = steady_clock::now();
        deadline_ = now + std::min(patience(all), (deadline - now) / hostCount(all));
        try {
            const bool isAccepted = co_await handshake(all);
            if (isAccepted) {
                deadline_ = deadline;
                co_return;
            }
            parameters[channelBinding] = "require";
        } catch (const Timeout&) {
            // libpq itself would not go on to the next host.
            if (hostCount(all) == 1 || steady_clock::now() >= deadline) {
                throw;
            }
            parameters = all;
            dropFirstHost(parameters);
        }
    }
}

void Connection::start(const Parameters& parameters, ErrorText errorText) {
    std::vector<const char*> keywords;
    std::vector<const char*> values;
    for (const auto& [keyword, value] : parameters) {
        keywords.push_back(keyword.c_str());
        values.push_back(value.c_str());
    }
    keywords.push_back(nullptr);
    values.push_back(nullptr);
    connection_.reset(PQconnectStartParams(keywords.data(), values.data(), 0));
    PGconn* const connection = connection_.get();
    if (connection == nullptr) {
        throw std::bad_alloc();
    }
    // Otherwise libpq blocks inside a call if the server does not read.
    PQsetnonblocking(connection, 1);
    PQsetErrorVerbosity(connection, errorText == ErrorText::code ? PQERRORS_VERBOSE : PQERRORS_TERSE);
    // By default, libpq prints notices to standard error.
    PQsetNoticeReceiver(
        connection,
        [](void* notice, const PGresult* result) {
            *static_cast<std::string*>(notice) = field(result, PG_DIAG_MESSAGE_PRIMARY);
        },
        &notice_);
}

Async<bool> Connection::handshake(const Parameters& parameters) {
    PGconn* const connection = connection_.get();
    auto next = PQstatus(connection) == CONNECTION_BAD ? PGRES_POLLING_FAILED : PGRES_POLLING_WRITING;
    while (next != PGRES_POLLING_OK) {
        if (next == PGRES_POLLING_FAILED) {
            std::string message = PQerrorMessage(connection);
            if (has(parameters, channelBinding, "require") &&
                message.find("channel binding") != std::string::npos) {
                message += channelBindingHelp;
            }
            throw Error(codeOfFailure(connection), message, true);
        }
        // libpq goes from host to host by itself, but returns before it sends anything to the next one.
        if (sendsPasswordToAnyone(connection, parameters)) {
            co_return false;
        }
        co_await wait(next == PGRES_POLLING_READING ? Event::readable : Event::writable);
        next = PQconnectPoll(connection);
    }
    co_return true;
}

bool Connection::isOpen() {
    PGconn* const connection = connection_.get();
    // A transaction is open after an operation that was cancelled.
    if (PQstatus(connection) != CONNECTION_OK || PQtransactionStatus(connection) != PQTRANS_IDLE) {
        return false;
    }
    // Input is not expected now. It may be an endless message of a server that shuts down, so it is not read.
    pollfd input{.fd = PQsocket(connection), .events = POLLIN, .revents = 0};
    return poll(&input, 1, 0) == 0;
}

/// The answers that a server has to give to the statements that were sent to it together.
class Connection::Answers {
  public:
    struct Answer {
        std::string_view command;
        int columns = 0;
        std::int64_t mostRows = std::numeric_limits<std::int64_t>::max();
    };

    /// The rows of the last answer are passed to `handler`.
    Answers(std::vector<Answer> expected, RowHandler handler)
        : expected_(std::move(expected)), handler_(std::move(handler)) {}

    /// Checks a result and passes on its row.
    void take(const pg_result* result) {
        const ExecStatusType status = PQresultStatus(result);
        if (status == PGRES_FATAL_ERROR) {
            failure_ = errorIn(result);
            if (failure_->endsConnection()) {
                throw *failure_;
            }
            return;
        }
        if (failure_ || current_ == expected_.end()) {
            refuseAnswer(expected_.back().command, "more than one answer");
        }
        count_ = check(*current_, result, rows_);
        if (status == PGRES_SINGLE_TUPLE) {
            rows_ = count_;
            if (handler_ && current_ + 1 == expected_.end()) {
                handler_(Row(result));
            }
        } else {
            rows_ = 0;
            ++current_;
        }
    }

    /// Called when the server has nothing to add. Throws its error, or returns how many rows the last answer
    /// concerns.
    [[nodiscard]] std::int64_t end() const {
        if (failure_) {
            throw *failure_;
        }
        if (current_ != expected_.end()) {
            refuseAnswer(current_->command, "nothing");
        }
        return count_;
    }

  private:
    /// Returns the number of rows including this result, which follows `rows` of the same answer.
    static std::int64_t check(const Answer& answer, const pg_result* result, std::int64_t rows) {
        const ExecStatusType status = PQresultStatus(result);
        const bool isRow = status == PGRES_SINGLE_TUPLE;
        if (!isRow && status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
            refuseAnswer(answer.command, status == PGRES_EMPTY_QUERY ? "nothing" : PQresStatus(status));
        }
        if (PQnfields(result) != answer.columns || (status == PGRES_COMMAND_OK) != (answer.columns == 0)) {
            refuseAnswer(answer.command, std::to_string(PQnfields(result)) + " columns");
        }
        std::int64_t count = rows + 1;
        if (!isRow) {
            const std::string_view tag = PQcmdStatus(const_cast<PGresult*>(result));
            const std::string_view command = tag.substr(0, tag.find(' '));
            if (command == "ROLLBACK" && command != answer.command) {
                throw Error("", "the server undid the transaction", false);
            }
            const auto number = parseNumber<std::int64_t>(PQcmdTuples(const_cast<PGresult*>(result)));
            const bool counts = std::ranges::find(countingCommands, answer.command) != countingCommands.end();
            count = number.value_or(0);
            if (command != answer.command || number.has_value() != counts ||
                (answer.columns > 0 && count != rows)) {
                refuseAnswer(answer.command, inQuotes(tag));
            }
        }
        if (count > answer.mostRows) {
            refuseAnswer(answer.command, "more rows than there can be");
        }
        return count;
    }

    std::vector<Answer> expected_;
    RowHandler handler_;
    std::vector<Answer>::const_iterator current_ = expected_.begin();
    /// Rows of the current answer so far.
    std::int64_t rows_ = 0;
    std::int64_t count_ = 0;
    std::optional<Error> failure_;
};

Async<std::int64_t> Connection::receive(Answers& answers) {
    PGconn* const connection = connection_.get();
    PQsetSingleRowMode(connection);
    // If sending fails, the server may have said why: its answer is read nevertheless.
    while (PQflush(connection) == 1) {
        co_await wait(Event::writable);
    }
    while (true) {
        while (PQisBusy(connection) != 0) {
            co_await wait(Event::readable);
            if (PQconsumeInput(connection) == 0) {
                fail();
            }
        }
        const Result result(PQgetResult(connection), PQclear);
        if (!result) {
            co_return answers.end();
        }
        answers.take(result.get());
    }
}

Async<void> Connection::execute(std::string_view statements) {
    Rows ignored;
    co_await execute(statements, std::move(ignored));
}

Async<void> Connection::execute(std::string_view statements, Rows last) {
    std::vector<Answers::Answer> expected;
    for (std::string_view rest = statements; !rest.empty();) {
        const std::string_view statement = rest.substr(0, rest.find(';'));
        rest.remove_prefix(std::min(statement.size() + 1, rest.size()));
        if (const std::string_view command = firstWord(statement); !command.empty()) {
            expected.push_back({.command = command, .columns = command == "SELECT" ? 1 : 0});
        }
    }
    expected.back().mostRows = last.most;
    if (PQsendQuery(connection_.get(), std::string(statements).c_str()) == 0) {
        fail();
    }
    Answers answers(std::move(expected), std::move(last.handler));
    co_await receive(answers);
}

Async<std::int64_t> Connection::run(std::string_view statement, std::vector<Parameter> parameters,
                                    Rows rows) {
    std::vector<Oid> types;
    std::vector<const char*> values;
    std::vector<int> lengths;
    for (const Parameter& parameter : parameters) {
        types.push_back(parameter.type());
        values.push_back(parameter.bytes() ? parameter.bytes()->data() : nullptr);
        lengths.push_back(parameter.bytes() ? static_cast<int>(parameter.bytes()->size()) : 0);
    }
    const std::vector<int> formats(parameters.size(), binary);
    if (PQsendQueryParams(connection_.get(), std::string(statement).c_str(),
                          static_cast<int>(parameters.size()), types.data(), values.data(), lengths.data(),
                          formats.data(), binary) == 0) {
        fail();
    }
    Answers answers({{.command = firstWord(statement), .columns = rows.columns, .mostRows = rows.most}},
                    std::move(rows.handler));
    co_return co_await receive(answers);
}

Async<std::optional<std::int64_t>> Connection::integer(std::string_view statement,
                                                       std::vector<Parameter> parameters) {
    std::optional<std::int64_t> value;
    Rows one{.columns = 1, .most = 1, .handler = [&value](const Row& row) {
                 value = row.integer<std::int64_t>(0);
             }};
    co_await run(statement, std::move(parameters), std::move(one));
    co_return value;
}

Async<std::int64_t> Connection::oneInteger(std::string_view statement) {
    std::vector<Parameter> none;
    const std::optional<std::int64_t> value = co_await integer(statement, std::move(none));
    if (!value) {
        refuseAnswer(firstWord(statement), "no row");
    }
    co_return *value;
}

Async<void> Connection::commit() {
    notice_.clear();
    try {
        co_await execute("COMMIT");
    } catch (const Error& error) {
        // Clusters report 40003 and 08007: the completion of the statement or transaction is unknown.
        if (!error.endsConnection() && error.code() != "40003" && error.code() != "08007") {
            throw;
        }
        notice_ = error.what();
    } catch (const std::exception& error) {
        notice_ = error.what();
    }
    // A warning means that a standby has not confirmed the commit.
    if (!notice_.empty()) {
        throw Error("",
                    "whether the change was made is unknown, since the server was asked to make it lasting "
                    "but did not confirm that (" +
                        notice_ + "); look before you try again");
    }
}

} // namespace Orvex::PostgreSQL
