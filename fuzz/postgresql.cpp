#include "Fuzzing.h"
#include "PostgreSQLStore/PostgreSQLMessageStore.h"
#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <cstddef>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

/// libpq forgets a result when a description of rows is damaged. The tests find a result that we forget.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libpq.so";
}

namespace Orvex::Fuzzing {

namespace {

namespace asio = boost::asio;
using Protocol = asio::local::stream_protocol;
using std::chrono::steady_clock;

constexpr std::chrono::milliseconds patience(10);
constexpr std::chrono::seconds tooLong(5);
constexpr std::size_t sizeOfSize = 4;

/// The answers of a server, one each time that it has heard something. The input is messages: a type, the
/// number of bytes, and the bytes. Type 0 stands before bytes that are not a message, and type 1 ends what is
/// said at once. So most inputs get as far as what understands them.
std::vector<std::string> answersIn(std::string_view input) {
    std::vector<std::string> answers(1);
    while (input.size() >= 2) {
        const char type = input[0];
        const std::string_view body = input.substr(2, static_cast<unsigned char>(input[1]));
        input.remove_prefix(2 + body.size());
        if (type == 1) {
            answers.emplace_back();
            continue;
        }
        if (type != 0) {
            const std::size_t size = body.size() + sizeOfSize;
            answers.back() += {type, 0, 0, static_cast<char>(size >> 8), static_cast<char>(size)};
        }
        answers.back() += body;
    }
    return answers;
}

/// A server in the abstract namespace, of which nothing is left behind.
struct Server {
    explicit Server(std::vector<std::string> script)
        : answers(std::move(script)),
          listener(loop, Protocol::endpoint('\0' + name.substr(1) + "/.s.PGSQL.5432")),
          client(loop) {}

    /// Hears something, and says the next thing.
    void hear() {
        if (next == answers.end()) {
            client.close();
            return;
        }
        client.async_read_some(asio::buffer(heard), [this](boost::system::error_code error, std::size_t) {
            if (!error) {
                say();
            }
        });
    }

    void say() {
        asio::async_write(client, asio::buffer(*next), [this](boost::system::error_code error, std::size_t) {
            if (error) {
                return;
            }
            if (isEndless && next + 1 == answers.end()) {
                say();
            } else {
                ++next;
                hear();
            }
        });
    }

    /// Runs what talks to the server. It lets one client in, and leaves when all is said.
    std::exception_ptr run(Async<void> work) {
        listener.async_accept(client, [this](boost::system::error_code error) {
            if (!error) {
                hear();
            }
        });
        std::exception_ptr failure;
        bool isDone = false;
        asio::co_spawn(loop, std::move(work), [&](const std::exception_ptr& thrown) {
            failure = thrown;
            isDone = true;
        });
        const auto start = steady_clock::now();
        while (!isDone) {
            // When both wait for the other, the server leaves.
            if (loop.poll_one() == 0) {
                boost::system::error_code ignored;
                client.shutdown(Protocol::socket::shutdown_both, ignored);
                loop.run_one_for(patience);
            }
            expect(steady_clock::now() - start < tooLong, "nobody is waited for past the deadline");
        }
        return failure;
    }

    /// Says whether the server has told that each of these was done.
    [[nodiscard]] bool hasDone(std::initializer_list<std::string_view> tags) const {
        std::string all;
        for (const std::string& answer : answers) {
            all += answer;
        }
        return std::ranges::all_of(tags, [&](std::string_view tag) {
            std::size_t at = all.find(tag);
            while (at != std::string::npos && (at <= sizeOfSize || all[at - sizeOfSize - 1] != 'C')) {
                at = all.find(tag, at + 1);
            }
            return at != std::string::npos;
        });
    }

    const std::string name = "@orvex-fuzz-" + std::to_string(getpid());
    const std::string uri = "postgresql:///d?user=u&host=%40" + name.substr(1);
    std::vector<std::string> answers;
    std::vector<std::string>::const_iterator next = answers.begin();
    /// It says the last thing again and again until the client has left.
    bool isEndless = false;
    std::array<char, 65536> heard{};
    asio::io_context loop{1};
    Protocol::acceptor listener;
    Protocol::socket client;
};

struct Outcome {
    std::size_t found = 0;
    AccountStatus status = AccountStatus::couldNotDetermine;
};

Async<void> operate(MessageStore& store, char operation, Outcome& outcome) {
    const std::vector<UUID> one(1);
    switch (operation) {
    case 0:
        co_await store.messageCount();
        break;
    case 1: {
        const std::vector<StoredMessage> all = co_await store.allMessages();
        outcome.found = all.size();
        break;
    }
    case 2: {
        StoredMessage message{
            .conversationID{}, .messageFile = FileURL::fromPath("/video"), .from{}, .simID{}};
        co_await store.saveMessage(std::move(message));
        break;
    }
    case 3:
        co_await store.deleteMessages(one);
        break;
    default:
        outcome.status = co_await store.accountStatus();
    }
}

void tryOperation(Server& server, char operation) {
    PostgreSQLMessageStore store(server.uri);
    Outcome outcome;
    const std::exception_ptr failure = server.run(operate(store, operation, outcome));
    try {
        if (failure) {
            std::rethrow_exception(failure);
        }
    } catch (const MessageStoreError& error) {
        const std::string_view text = error.what();
        expect(text.starts_with("cannot ") && !text.ends_with(": ") && isHarmlessLine(text) &&
                   text.size() < 20000,
               "an error is a sentence on one line");
        constexpr std::string_view endOfName = "\": ";
        const std::string_view cause = text.substr(text.find(endOfName) + endOfName.size());
        for (const std::string_view internal :
             {"bad ", "basic_string", "vector::", "array::", "map::", "sto"}) {
            const bool isFromServer = std::ranges::any_of(server.answers, [&](const std::string& answer) {
                return answer.find(internal) != std::string::npos;
            });
            expect(isFromServer || !cause.starts_with(internal),
                   "an error tells what the user can understand");
        }
        return;
    }
    expect(operation == 4 || server.hasDone({"BEGIN", "SET", "SELECT", "COMMIT"}),
           "nothing succeeds that the server has not done");
    expect(operation != 2 || server.hasDone({"LOCK", "INSERT"}), "what is saved was inserted");
    expect(operation != 3 || server.hasDone({"LOCK", "DELETE"}), "what is deleted is gone");
    expect(outcome.found == 0 || server.hasDone({"SELECT " + std::to_string(outcome.found)}),
           "a list has as many messages as the server has sent");
    expect(outcome.status <= AccountStatus::waiting, "an account status has a name");
}

/// The deadline counts, whatever the server says without end.
Async<void> connectAndAsk(PostgreSQL::Connection& connection, Location location) {
    co_await connection.open(location, steady_clock::now() + patience,
                             PostgreSQL::Connection::ErrorText::code);
    connection.setDeadline(steady_clock::now() + patience);
    co_await connection.oneInteger("SELECT");
}

} // namespace

void tryInput(std::string_view input) {
    if (input.empty()) {
        return;
    }
    constexpr char operations = 6;
    const char operation = static_cast<char>(static_cast<unsigned char>(input.front()) % operations);
    Server server(answersIn(input.substr(1)));
    if (operation + 1 == operations) {
        PostgreSQL::Connection connection;
        server.isEndless = true;
        server.run(connectAndAsk(connection, Location(server.uri)));
    } else {
        tryOperation(server, operation);
    }
}

} // namespace Orvex::Fuzzing
