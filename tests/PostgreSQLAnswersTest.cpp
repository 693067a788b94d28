#include "PostgreSQLStore/PostgreSQLMessageStore.h"
#include "TestServers.h"
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <thread>

namespace Orvex::Testing {
namespace {

// Messages of a server: https://www.postgresql.org/docs/15/protocol-message-formats.html

constexpr std::uint32_t bigint = 20;
constexpr std::uint32_t bytea = 17;
constexpr std::uint32_t text = 25;

std::string message(char type, std::string_view body) {
    return type + bigEndian(4 + body.size()) + std::string(body);
}

/// The end of one answer for each of these tags.
std::string done(const std::vector<std::string>& tags) {
    std::string answers;
    for (const std::string& tag : tags) {
        answers += message('C', tag + '\0');
    }
    return answers;
}

std::string done(const std::string& tag) {
    return done(std::vector{tag});
}

/// The types of the columns that follow.
std::string columns(const std::vector<std::uint32_t>& types, bool isBinary = true) {
    std::string body = bigEndian(types.size(), 2);
    for (const std::uint32_t type : types) {
        const std::string tableAndColumn(6, '\0');
        const std::string sizeAndModifier(6, '\xff');
        body += std::string("value\0", 6) + tableAndColumn + bigEndian(type) + sizeAndModifier +
                bigEndian(isBinary ? 1 : 0, 2);
    }
    return message('T', body);
}

std::string row(const std::vector<std::string>& values) {
    std::string body = bigEndian(values.size(), 2);
    for (const std::string& value : values) {
        body += bigEndian(value.size()) + value;
    }
    return message('D', body);
}

std::string integer(std::uint64_t value, int size = 8) {
    return row({bigEndian(value, size)});
}

/// The end of the answers to what the client sent at once.
const std::string ready = message('Z', "I");
const std::string one = columns({bigint});
const std::string three = one + integer(3);
const std::string inserted = done("INSERT 0 1");
const std::string commit = done("COMMIT") + ready;
/// The end of the answers to the begin of a transaction in a store.
const std::string tables =
    columns({text}, false) + row({"0messages o"}) + row({"0settings o"}) + done("SELECT 2") + ready;
const std::string begin = done(std::vector<std::string>{"BEGIN", "SET", "SET"}) + tables;
const std::string beginChange = done(std::vector<std::string>{"BEGIN", "SET", "SET", "SET", "SET"}) +
                                columns({bigint}, false) + row({""}) +
                                done(std::vector<std::string>{"SELECT 1", "LOCK TABLE"}) + tables;

std::string prepared(const std::string& answer) {
    return message('1', "") + message('2', "") + answer + ready;
}
const std::string version = prepared(one + integer(1) + done("SELECT 1"));

/// A server that lets one client in, gives it one answer after another, whatever it asks, and leaves. The
/// first answer ends the start of the session: `ready`, unless the client has to wait.
class ScriptedServer {
  public:
    /// An endless server repeats the last answer.
    explicit ScriptedServer(std::vector<std::string> answers, bool isEndless = false)
        : answers_(std::move(answers)), isEndless_(isEndless), worker_([this] { talk(); }) {}
    ~ScriptedServer() {
        shutdown(listener_.socket.get(), SHUT_RDWR);
        worker_.join();
    }
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    [[nodiscard]] std::string uri() const {
        return "postgresql://u@127.0.0.1:" + listener_.port + "/db?sslmode=disable&gssencmode=disable";
    }
    [[nodiscard]] std::shared_ptr<MessageStore> store() const {
        return std::make_shared<PostgreSQLMessageStore>(uri());
    }

  private:
    void talk() {
        const FileDescriptor client = listener_.client();
        const auto say = [&](std::string_view bytes) {
            return send(client.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0;
        };
        bool isThere = say(message('R', std::string(4, '\0')));
        // The client asks in one piece, and waits for the answer.
        std::string heard(1U << 16U, ' ');
        for (auto answer = answers_.begin(); answer != answers_.end() && isThere; ++answer) {
            isThere = recv(client.get(), heard.data(), heard.size(), 0) > 0;
            do {
                isThere = isThere && say(*answer);
            } while (isEndless_ && answer + 1 == answers_.end() && isThere);
        }
    }

    std::vector<std::string> answers_;
    bool isEndless_;
    LocalListener listener_;
    std::thread worker_;
};

TEST(PostgreSQLAnswersTest, AServerThatKeepsTalkingIsGivenUpInTime) {
    const std::string notice = message('N', std::string("SNOTICE\0C00000\0Mtalk\0\0", 22));
    const std::string setting = message('S', std::string("a\0b\0", 4));
    // While the session starts, and during a statement.
    for (const std::vector<std::string>& answers : {std::vector{notice}, {ready, begin, setting}}) {
        const ScriptedServer server(answers, true);
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(wait(server.store()->accountStatus()), AccountStatus::waiting);
        EXPECT_LE(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
    }
}

std::string errorOfCounting(const std::string& answer, const std::string& end = commit) {
    const ScriptedServer server({ready, begin, version, prepared(answer), end});
    return errorOf([&] { EXPECT_EQ(wait(server.store()->messageCount()), 3); });
}

std::string errorOfSaving(const std::string& answer, const std::string& end = commit,
                          MessageType type = MessageType::video) {
    const ScriptedServer server({ready, beginChange, version, prepared(answer), end});
    return errorOf([&] { wait(server.store()->saveMessage(newMessage(type, MessageProvider::Telephony))); });
}

TEST(PostgreSQLAnswersTest, AnAnswerOfTheWrongKindIsAnError) {
    EXPECT_EQ(errorOfCounting(three + done("SELECT 1")), "");
    EXPECT_EQ(errorOfSaving(inserted), "");
    const std::pair<std::string, std::string> cases[] = {
        {errorOfCounting(""),
         "SELECT with nothing, as no PostgreSQL server does; check that the address is the right one"},
        {errorOfCounting(message('I', "")), "SELECT with nothing,"},
        {errorOfCounting(done("SELECT 1")), "SELECT with 0 columns,"},
        {errorOfCounting(columns({}) + row({}) + done("SELECT 1")), "SELECT with 0 columns,"},
        {errorOfCounting(one + done("SELECT 0")), "SELECT with no row,"},
        {errorOfCounting(three + done("SELECT 2")), "SELECT with \"SELECT 2\","},
        {errorOfCounting(three + done("SELECT")), "SELECT with \"SELECT\","},
        {errorOfCounting(three + done("INSERT 0 1")), "SELECT with \"INSERT 0 1\","},
        {errorOfCounting(three + integer(3) + done("SELECT 2")), "SELECT with more rows than there can be,"},
        {errorOfCounting(three + done("SELECT 1") + done("SELECT 1")), "SELECT with more than one answer,"},
        {errorOfCounting(message('H', std::string(3, '\0'))), "SELECT with PGRES_COPY_OUT,"},
        {errorOfCounting(message('G', std::string(3, '\0'))), "SELECT with PGRES_COPY_IN,"},
        {errorOfCounting(columns({bigint}, false) + row({"3"}) + done("SELECT 1")),
         "value is of another type"},
        {errorOfCounting(columns({bytea}) + integer(3) + done("SELECT 1")), "value is of another type"},
        {errorOfCounting(one + integer(3, 4) + done("SELECT 1")), "value is of another size"},
        {errorOfCounting(three + done("SELECT 1"), ready), "COMMIT with nothing,"},
        {errorOfCounting(message('E', std::string("SERROR\0M\n\0\0", 11)) + ready),
         ": the server gives no reason"},
        {errorOfSaving(one + integer(1) + inserted), "INSERT with 1 columns,"},
        {errorOfSaving(done("INSERT 0 2")), "INSERT with more rows than there can be,"},
        {errorOfSaving(done("INSERT")), "INSERT with \"INSERT\","},
        {errorOfSaving(done("SELECT 1")), "INSERT with \"SELECT 1\","},
        {errorOfSaving(""), "INSERT with nothing,"},
        {errorOfSaving(inserted, done("ROLLBACK") + ready), ": the server undid the transaction"},
        {errorOfSaving(inserted, done("SET") + ready), "whether the change was made is unknown"},
        {errorOfSaving(inserted, ready), "whether the change was made is unknown"},
        {errorOfSaving(one + integer((std::int64_t{1} << 32) + 1) + done("UPDATE 1"), inserted,
                       MessageType::audio),
         "there is no further voicemail identifier"},
    };
    for (const auto& [error, expected] : cases) {
        EXPECT_THAT(error, testing::HasSubstr(expected));
    }

    const ScriptedServer server({ready, begin, prepared(one + integer(7) + done("SELECT 1")), commit});
    const ProgramRun status = runOrvex({"--store", server.uri(), "get-account-status"});
    EXPECT_EQ(status.status, 1);
    EXPECT_THAT(status.errors, testing::HasSubstr("SELECT with an account status that has no name,"));
}

} // namespace
} // namespace Orvex::Testing
