#include "Foundation/FileDescriptor.h"
#include "Fuzzing.h"
#include "PostgreSQLStore/PostgreSQLMessageStore.h"
#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <memory>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <vector>

/// libpq leaks a result if the description of its rows is damaged. The tests find our own leaks.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libpq.so";
}

namespace Orvex::Fuzzing {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds patience(10);
constexpr std::chrono::seconds tooLong(5);
constexpr std::size_t sizeOfSize = 4;

/// Returns the answers of a server; it sends one each time that it has received something. The input is
/// messages: a type, the number of bytes, and the bytes. Type 0 stands before bytes that are not a message;
/// type 1 ends an answer. So most inputs are well-formed messages.
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

/// A server on an abstract socket, which leaves no file behind. It is also the event loop of its client, and
/// talks while the client waits.
class Server final : public EventLoop {
  public:
    /// If `isEndless`, repeats the last answer until the client has left.
    explicit Server(std::vector<std::string> script, bool isEndless = false)
        : answers(std::move(script)), isEndless_(isEndless) {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        const std::string path = '\0' + name.substr(1) + "/.s.PGSQL.5432";
        path.copy(address.sun_path, path.size());
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
        expect(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
                   listen(listener_.get(), 1) == 0,
               "the server can be reached");
    }

    std::shared_ptr<void> wait(int descriptor, Event event, TimePoint deadline,
                               std::function<void(bool isReady)> resume) override {
        expect(steady_clock::now() - start_ < tooLong, "the client waits for nothing past the deadline");
        const short events = event == Event::readable ? POLLIN : POLLOUT;
        pollfd client{.fd = descriptor, .events = events, .revents = 0};
        while (poll(&client, 1, 0) == 0 && steady_clock::now() < deadline) {
            // Both wait for the other, so the server closes the connection.
            if (!talk()) {
                shutdown(client_.get(), SHUT_RDWR);
                poll(&client, 1, patience.count());
                expect(steady_clock::now() - start_ < tooLong,
                       "the client waits for nothing past the deadline");
            }
        }
        resume(client.revents != 0);
        return nullptr;
    }

    /// Returns true if the server has reported that each of these was done.
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

  private:
    /// Accepts the only client, receives something, or sends something. Returns false if there is nothing to
    /// do.
    bool talk() {
        if (client_.get() < 0) {
            client_ = FileDescriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK));
            return client_.get() >= 0;
        }
        if (unsaid_.empty()) {
            std::array<char, 65536> heard{};
            if (next_ == answers.end() || recv(client_.get(), heard.data(), heard.size(), 0) <= 0) {
                return false;
            }
            unsaid_ = *next_++;
            return true;
        }
        const ssize_t count = send(client_.get(), unsaid_.data(), unsaid_.size(), MSG_NOSIGNAL);
        if (count < 0) {
            return false;
        }
        unsaid_.remove_prefix(static_cast<std::size_t>(count));
        if (unsaid_.empty() && isEndless_ && next_ == answers.end()) {
            unsaid_ = answers.back();
        }
        return true;
    }

    std::vector<std::string>::const_iterator next_ = answers.begin();
    std::string_view unsaid_;
    bool isEndless_;
    FileDescriptor listener_{socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0)};
    FileDescriptor client_;
    steady_clock::time_point start_ = steady_clock::now();
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
    try {
        Async<void> work = operate(store, operation, outcome);
        work.start(server);
        work.result();
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

/// The deadline holds even if the server talks without end.
Async<void> connectAndAsk(PostgreSQL::Connection& connection, ConnectionURI uri) {
    co_await connection.open(uri, steady_clock::now() + patience, PostgreSQL::Connection::ErrorText::code);
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
    const bool isEndless = operation + 1 == operations;
    Server server(answersIn(input.substr(1)), isEndless);
    if (isEndless) {
        PostgreSQL::Connection connection;
        connectAndAsk(connection, ConnectionURI(server.uri)).start(server);
    } else {
        tryOperation(server, operation);
    }
}

} // namespace Orvex::Fuzzing
