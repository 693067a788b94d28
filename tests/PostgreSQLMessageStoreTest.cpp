#include "PostgreSQLStore/PostgreSQLMessageStore.h"

#include "Foundation/ConnectionString.h"
#include "Foundation/QuotedText.h"
#include "Orvex/Version.h"
#include "SteppedLoop.h"
#include "TestServers.h"
#include <algorithm>
#include <array>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <optional>
#include <span>
#include <sys/socket.h>
#include <thread>

namespace Orvex::Testing {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

std::shared_ptr<MessageStore> storeAt(const std::string& uri) {
    return std::make_shared<PostgreSQLMessageStore>(uri);
}

/// 18,000 bytes that cannot be compressed much.
std::string longHandle() {
    std::string handle;
    for (int i = 0; i < 500; ++i) {
        handle += UUID::random().text();
    }
    return handle;
}

std::string sqlFile(const std::string& name) {
    return readFile(ORVEX_TEST_DATA "/" + name + ".sql");
}

/// The comments that begin the parts of a file, all but the first part, and the SQL of these parts.
std::vector<std::pair<std::string, std::string>> sqlCases(const std::string& name) {
    std::vector<std::pair<std::string, std::string>> cases;
    const std::vector<std::string> parts = split(sqlFile(name), "\n\n");
    for (const std::string& part : std::span(parts).subspan(1)) {
        const std::size_t end = part.find('\n');
        cases.emplace_back(part.substr(3, end - 3), part.substr(end + 1));
    }
    return cases;
}

/// SQL that runs `body` when a transaction that adds or changes a message is committed.
std::string atCommit(const std::string& body) {
    std::string sql = sqlFile("at-commit");
    return sql.replace(sql.find("BODY"), 4, body);
}

class PostgreSQLMessageStoreTest : public testing::Test {
  protected:
    explicit PostgreSQLMessageStoreTest(std::string store = newDatabase()) : uri(std::move(store)) {}

    void save(MessageType type = MessageType::video,
              MessageProvider provider = MessageProvider::Zelvo) const {
        wait(storeAt(uri)->saveMessage(newMessage(type, provider)));
    }
    std::string sql(const std::string& text) const { return runSQL(uri, text); }
    /// A session of the administrator that has run `text` and stays open.
    std::shared_ptr<PGconn> session(const std::string& text, const std::string& more = "") const {
        std::shared_ptr<PGconn> opened(PQconnectdb((uri + more).c_str()), PQfinish);
        PQclear(PQexec(opened.get(), text.c_str()));
        return opened;
    }
    /// Returns true once so many sessions wait for a lock in this database.
    bool areWaiting(const std::string& count) const {
        return sql("SELECT count(*) FROM pg_locks WHERE NOT granted AND database = "
                   "(SELECT oid FROM pg_database WHERE datname = current_database())") == count;
    }
    AccountStatus status(const std::string& more = "") const {
        return wait(storeAt(uri + more)->accountStatus());
    }
    std::string errorOfSaving(const std::string& more = "") const {
        return errorOf([&] { wait(storeAt(uri + more)->saveMessage(newMessage())); });
    }

    std::string uri;
    std::string database = uri.substr(14, uri.find('?') - 14);
    std::string folder = uri.substr(uri.find("host=") + 5);
    /// The store's name in errors.
    std::string name = "\"postgresql://" + folder + "/" + database + "\"";
};

struct OwnServer {
    TemporaryServer server;
};

/// For tests that stop the server or change its settings.
class PostgreSQLOutageTest : protected OwnServer, public PostgreSQLMessageStoreTest {
  protected:
    PostgreSQLOutageTest() : PostgreSQLMessageStoreTest(newDatabase(server->uri())) {}
};

TEST_F(PostgreSQLMessageStoreTest, ClientsThatStartAtOnceOnAnEmptyDatabaseKeepTheOrderAndTheIdentifiers) {
    constexpr int clients = 8;
    constexpr std::size_t each = 10;
    // One more client watches: messages that it has seen keep their places.
    const std::vector<int> statuses = runInProcesses(clients + 1, [&](int client) {
        alarm(60);
        const auto store = storeAt(uri);
        std::vector<UUID> seen;
        while (client == clients && seen.size() < clients * each) {
            std::vector<UUID> found;
            std::ranges::transform(wait(store->allMessages()), std::back_inserter(found),
                                   &StoredMessage::recordUUID);
            if (found.size() < seen.size() || !std::equal(seen.begin(), seen.end(), found.begin())) {
                throw std::runtime_error("a message was saved before one that was there");
            }
            seen = found;
        }
        for (std::size_t i = 0; client < clients && i < each; ++i) {
            wait(store->saveMessage(newMessage(MessageType::audio, MessageProvider::Telephony)));
        }
    });
    EXPECT_THAT(statuses, testing::Each(0));
    std::int32_t next = 1;
    for (const StoredMessage& message : wait(storeAt(uri)->allMessages())) {
        EXPECT_EQ(message.voicemailID, next++);
    }
    EXPECT_EQ(next, clients * each + 1);
}

TEST_F(PostgreSQLMessageStoreTest, LeavesTheEventLoopToOthersWhileItWaits) {
    save();
    auto locker = session("BEGIN; LOCK TABLE orvex.messages");
    const auto store = storeAt(uri);
    {
        SteppedLoop loop;
        Async<void> deletion = store->deleteMessages({});
        deletion.start(loop);
        EXPECT_TRUE(eventually([&] { return loop.step() && areWaiting("1"); }));
        locker.reset();
        while (loop.step()) {
        }
        deletion.result();
    }

    // A loop may end while a change is made lasting.
    sql(atCommit("PERFORM pg_advisory_xact_lock(1);"));
    const std::vector<MessageUpdate> update{
        {.recordUUID = wait(store->allMessages()).at(0).recordUUID, .read = true}};
    auto holder = session("SELECT pg_advisory_lock(1)");
    {
        SteppedLoop loop;
        Async<void> change = store->updateMessage(update);
        change.start(loop);
        EXPECT_TRUE(eventually([&] { return loop.step() && areWaiting("1"); }));
    }
    holder.reset();
    // This waits for the change, which the server makes after all.
    wait(store->deleteMessages({}));
    EXPECT_TRUE(wait(store->allMessages()).at(0).read);
}

TEST_F(PostgreSQLMessageStoreTest, PassesOverASilentHostAndSurvivesARudeOne) {
    const LocalListener listener;
    const std::string both = "&host=127.0.0.1," + folder + "&port=" + listener.port + ",5432";
    EXPECT_EQ(status(both), AccountStatus::signedIn);
    EXPECT_EQ(wait(storeAt(uri + both + "&connect_timeout=1")->messageCount()), 0);
    EXPECT_EQ(status("&host=127.0.0.1&port=" + listener.port), AccountStatus::waiting);
    // Out of band: the socket has something that nobody waits for.
    std::thread rude([&] {
        for (int connections = 0; connections < 4; ++connections) {
            const FileDescriptor peer = listener.client();
            send(peer.get(), "x", 1, MSG_OOB | MSG_NOSIGNAL);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    EXPECT_THAT(
        runOrvex({"--store", "postgresql://127.0.0.1:" + listener.port + "/", "get-total-count"}).output,
        HasSubstr("server closed the connection unexpectedly"));
    rude.join();
}

TEST_F(PostgreSQLMessageStoreTest, FindsByAHundredThousandIdentifiersAndHasAnIndexForEverySelection) {
    save();
    sql(sqlFile("fifty-thousand-messages"));
    auto store = storeAt(uri);
    const std::vector<StoredMessage> all = wait(store->allMessages());
    std::vector<UUID> some(100000);
    std::generate(some.begin(), some.end(), UUID::random);
    some[99999] = all[7].recordUUID;
    const std::vector<UUID> one{all[7].recordUUID};
    EXPECT_EQ(wait(store->messages(some)).size(), 1U);
    EXPECT_EQ(wait(store->messages(one)).size(), 1U);
    EXPECT_EQ(wait(store->messages(std::vector<std::string>(1000, std::string(all[7].from)))).size(), 1U);
    EXPECT_EQ(wait(store->messages({MessageProvider::Telephony}, {MessageType::audio})).size(), 50U);
    EXPECT_EQ(wait(store->messages(MessageQuery{{7, 8}}, 100, 0)).size(), 2U);
    // A handle may be longer than an entry of an index.
    const StoredMessage longest =
        wait(store->saveMessage(newMessage(MessageType::audio, MessageProvider::Zelvo, longHandle())));
    EXPECT_EQ(wait(store->messages(std::vector{std::string(longest.from)})).size(), 1U);
    wait(store->deleteMessages(some));
    EXPECT_EQ(wait(store->messageCount()), 50001);
    // A session reports its statistics when it ends.
    store.reset();
    for (const char* const index : {"messages_record_uuid_key", "messages_by_sender",
                                    "messages_by_provider_and_type", "messages_voicemail_id_key"}) {
        const std::string scans =
            std::string("SELECT sum(idx_scan) > 0 FROM pg_stat_user_indexes WHERE indexrelname = '") + index +
            "'";
        EXPECT_TRUE(eventually([&] { return sql(scans) == "t"; })) << index;
    }
}

TEST_F(PostgreSQLOutageTest, ReportsTheRightsOfTheUserAsTheAccountStatus) {
    const std::string access = server.folder() / "pg_hba.conf";
    writeFile(access, "local all refused reject\nlocal all careful scram-sha-256\n" + readFile(access));
    server->signal(SIGHUP);
    sql("CREATE ROLE reader LOGIN; CREATE ROLE tester LOGIN; CREATE ROLE stranger LOGIN; CREATE ROLE refused "
        "LOGIN");
    // Looking at an empty store does not create its tables.
    EXPECT_EQ(status(), AccountStatus::signedIn);
    const auto as = [](const std::string& user) { return "&user=" + user; };
    EXPECT_EQ(status(as("reader")), AccountStatus::restricted);
    EXPECT_EQ(wait(storeAt(uri + as("reader"))->messageCount()), 0);
    EXPECT_EQ(sql("SELECT count(*) FROM pg_namespace WHERE nspname = 'orvex'"), "0");

    save();
    sql("GRANT USAGE ON SCHEMA orvex TO reader; GRANT SELECT ON ALL TABLES IN SCHEMA orvex TO reader");
    const std::pair<std::string, AccountStatus> cases[] = {
        {"", AccountStatus::signedIn},
        {as("reader"), AccountStatus::restricted},
        {"&options=-cdefault_transaction_read_only%3Don", AccountStatus::restricted},
        {as("stranger"), AccountStatus::noAccount},
        {as("refused"), AccountStatus::noAccount},
        {as("nobody-has-this-name"), AccountStatus::noAccount},
        {as("careful"), AccountStatus::noAccount},
        {"&target_session_attrs=standby", AccountStatus::temporarilyUnavailable},
        {"&dbname=no-such-database", AccountStatus::couldNotDetermine},
        {"&host=/nowhere", AccountStatus::couldNotDetermine},
    };
    for (const auto& [more, expected] : cases) {
        const auto store = storeAt(uri + more);
        std::string reported;
        store->setReporter([&](const std::string& line) { reported += line; });
        EXPECT_EQ(wait(store->accountStatus()), expected) << more;
        EXPECT_EQ(reported.empty(), expected != AccountStatus::couldNotDetermine) << reported;
        if (more.starts_with("&dbname")) {
            EXPECT_THAT(reported,
                        testing::EndsWith("FATAL:  3D000: database \"no-such-database\" does not exist"));
        }
    }
    const auto reader = storeAt(uri + as("reader"));
    EXPECT_EQ(wait(reader->messageCount()), 1);
    EXPECT_EQ(wait(reader->allMessages()).size(), 1U);
    EXPECT_EQ(errorOfSaving(as("reader")),
              "cannot save a message in the message store " + name +
                  ": the user may not do that (permission denied for table messages)");

    sql("GRANT USAGE ON SCHEMA orvex TO tester; GRANT SELECT, INSERT, UPDATE ON ALL TABLES IN SCHEMA orvex "
        "TO tester");
    EXPECT_EQ(status(as("tester")), AccountStatus::restricted);
    sql("GRANT DELETE ON ALL TABLES IN SCHEMA orvex TO tester");
    EXPECT_EQ(status(as("tester")), AccountStatus::signedIn);
    EXPECT_EQ(errorOfSaving(as("tester")), "");

    // A server that waits for its last client accepts no other.
    auto client = session("");
    server->signal(SIGTERM);
    EXPECT_TRUE(eventually([&] { return status() == AccountStatus::temporarilyUnavailable; }));
    client.reset();
    server->stop();
    EXPECT_EQ(status(), AccountStatus::couldNotDetermine);
    server->start();
    EXPECT_EQ(status(), AccountStatus::signedIn);

    server->signal(SIGSTOP);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(status(), AccountStatus::waiting);
    const auto passed = std::chrono::steady_clock::now() - before;
    server->signal(SIGCONT);
    EXPECT_GE(passed, std::chrono::milliseconds(1990));
    EXPECT_LE(passed, std::chrono::seconds(20));
}

TEST_F(PostgreSQLMessageStoreTest, IgnoresSettingsAndSchemasOfOthers) {
    sql(sqlFile("evil-schema"));
    EXPECT_EQ(status(), AccountStatus::signedIn);
    const auto store = storeAt(uri);
    StoredMessage message = newMessage(MessageType::audio, MessageProvider::Telephony, "\\ \xff");
    message.duration = Seconds(0.1);
    message = wait(store->saveMessage(message));
    wait(store->updateMessage({{.recordUUID = message.recordUUID, .read = true}}));
    message.read = true;
    EXPECT_EQ(wait(store->messages(std::vector{std::string(message.from)})).at(0).description(),
              message.description());
    EXPECT_EQ(wait(store->messageCount()), 1);
    EXPECT_TRUE(wait(store->isTranscriptionEnabled()));
    EXPECT_EQ(wait(store->accountStatus()), AccountStatus::signedIn);
}

TEST_F(PostgreSQLMessageStoreTest, ReportsThatTheLastVoicemailIdentifierWasLowered) {
    const auto saveVoicemail = [this] { save(MessageType::audio, MessageProvider::Telephony); };
    saveVoicemail();
    sql("UPDATE orvex.settings SET value = 0 WHERE name = 'lastVoicemailID'");
    EXPECT_THAT(errorOf(saveVoicemail), HasSubstr("the setting lastVoicemailID has been lowered"));
}

TEST_F(PostgreSQLMessageStoreTest, RefusesValuesThatNoMessageHas) {
    for (const auto& [cause, damage] : sqlCases("damaged-stores")) {
        sql("DROP SCHEMA IF EXISTS orvex CASCADE; DROP FUNCTION IF EXISTS f");
        save();
        const std::string uuid = wait(storeAt(uri)->allMessages()).at(0).recordUUID.text();
        sql(damage);
        std::string expected = "cannot list all messages in the message store " + name + ": " + cause;
        for (std::size_t at = 0; (at = expected.find('%', at)) != std::string::npos;) {
            expected.replace(at, 1, uuid);
        }
        EXPECT_EQ(errorOf([&] { wait(storeAt(uri)->allMessages()); }), expected) << damage;
    }
}

TEST_F(PostgreSQLMessageStoreTest, RunsNoCodeOfOthersWithTheRightsOfAPowerfulUser) {
    for (const auto& [heading, change] : sqlCases("unsafe-stores")) {
        sql(sqlFile("evil-owner"));
        save();
        sql(change);
        const std::string as = "&user=" + heading.substr(0, heading.find(": "));
        const std::string expected = heading.substr(heading.find(": ") + 2);
        std::vector<std::string> errors = {errorOfSaving(as)};
        // A store without tables is read as empty.
        if (change.find("DROP TABLE orvex.messages") == std::string::npos) {
            errors.push_back(errorOf([&] { wait(storeAt(uri + as)->messageCount()); }));
            errors.push_back(errorOf([&] { wait(storeAt(uri + as)->accountStatus()); }));
        }
        EXPECT_THAT(errors,
                    testing::Each(testing::AnyOf(expected == "accepted" ? "" : "-", HasSubstr(expected))))
            << change << as;
        EXPECT_EQ(sql("SELECT rolsuper FROM pg_roles WHERE rolname = 'evil'"), "f") << change;
    }

    // A user with the right to create a trigger creates one while a change begins.
    sql(sqlFile("evil-owner"));
    save();
    sql("GRANT USAGE ON SCHEMA orvex TO evil; GRANT TRIGGER ON orvex.messages TO evil");
    const auto evil = session("BEGIN; CREATE TRIGGER t BEFORE INSERT ON orvex.messages FOR EACH ROW "
                              "EXECUTE FUNCTION public.trigger()",
                              "&user=evil");
    std::string error;
    std::thread saver([&] { error = errorOfSaving(); });
    EXPECT_TRUE(eventually([&] { return areWaiting("1"); }));
    PQclear(PQexec(evil.get(), "COMMIT"));
    saver.join();
    EXPECT_THAT(error, HasSubstr("its table \"messages\" has a child or a parent, a trigger, a rule"));
    EXPECT_EQ(sql("SELECT rolsuper FROM pg_roles WHERE rolname = 'evil'"), "f");
}

TEST_F(PostgreSQLMessageStoreTest, SendsNoPasswordToAServerThatDoesNotProveItsIdentity) {
    const TemporaryFolder certificates;
    makeCertificate(certificates);
    const std::string permission = "sslmode=verify-full in the URI or the service file";
    const std::string disable = "&sslmode=require&channel_binding=disable";
    // The last two: the server's view of the password, and a part of the user's error.
    const std::array<std::string, 5> cases[] = {
        // This machine, but not a loopback address.
        {"password", "0.0.0.0", "", "b''", permission},
        {"password", "0.0.0.0", "&sslmode=require", "b''", permission},
        {"password", "/nowhere,0.0.0.0", "&sslmode=require", "b''", permission},
        {"password", "0.0.0.0", "&sslmode=disable", "b''", permission},
        {"password", "0.0.0.0", "&channel_binding=prefer", "b''", permission},
        {"md5", "0.0.0.0", "&sslmode=require", "b''", permission},
        {"scram", "0.0.0.0", "&sslmode=require", "b''", permission},
        {"nothing", "0.0.0.0", "&sslmode=require", "b''", permission},
        {"scram-plus", "0.0.0.0", "&sslmode=require", "p=tls-server-end-point,", "SSL"},
        {"password", "0.0.0.0",
         "&sslmode=verify-full&sslrootcert=" + (certificates / "certificate.pem").native(), "",
         "certificate"},
        {"password", "0.0.0.0", disable, "secret", "SSL"},
        {"password", "127.0.0.1", "", "secret", "SSL"},
    };
    for (const auto& [way, host, more, told, error] : cases) {
        TerminalSession fake({"/usr/bin/python3",
                              std::filesystem::path(ORVEX_TEST_SOURCES) / "postgresql-server.py", way,
                              certificates / "both.pem"});
        const std::string port = fake.shownUpTo("\r\n").value_or("none");
        const std::string ports = host.starts_with('/') ? "5432," + port : port;
        const std::string at =
            "postgresql:///db?user=u&password=secret&host=" + host + "&port=" + ports + more;
        EXPECT_THAT(errorOf([&] { wait(storeAt(at)->messageCount()); }), HasSubstr(error))
            << way << host << more;
        EXPECT_TRUE(told.empty() || fake.shows(told)) << way << host << more;
    }
}

TEST_F(PostgreSQLMessageStoreTest, NeverShowsAPassword) {
    const std::string host = "/db?connect_timeout=5&host=" + folder;
    for (const std::string& at :
         {"postgresql://careful:secret@" + host, "postgresql://careful:se@secret@" + host,
          "postgresql://careful:12/secret@" + host, "postgresql://careful:se?secret@" + host,
          "postgresql://careful:secret@[::1" + host, "postgresql://careful@" + host + "&password=secret",
          "postgresql://careful@" + host + "&password=secret&passwort=secret",
          std::string("postgresql://careful:secret/db"),
          std::string("postgresql://careful:se@secret@localhost/db"),
          "postgresql://careful:secret@:port" + host, "postgresql://careful:secret%zz@" + host,
          std::string("postgresql:///?service=none&password=secret")}) {
        const std::string error = errorOf([&] { wait(storeAt(at)->messageCount()); });
        EXPECT_THAT(error, AllOf(HasSubstr("cannot "), Not(HasSubstr("secret")))) << at;
    }
    const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> options(PQconndefaults(),
                                                                               PQconninfoFree);
    for (const auto* option = options.get(); option->keyword != nullptr; ++option) {
        EXPECT_TRUE(isConnectionString(std::string(option->keyword) + " = x")) << option->keyword;
    }
}

TEST_F(PostgreSQLMessageStoreTest, AChangeThatFailsIsNotMadeAndSaysWhy) {
    save();
    auto locker = session("BEGIN; LOCK TABLE orvex.messages IN SHARE MODE");
    EXPECT_THAT(errorOfSaving("&options=-cstatement_timeout%3D50"),
                EndsWith(name + ": canceling statement due to statement timeout"));
    locker.reset();
    EXPECT_THAT(
        errorOfSaving("&options=-cdefault_transaction_read_only%3Don"),
        EndsWith("it can only be read: the server is a standby, or the user may not write (cannot execute "
                 "INSERT in a read-only transaction)"));

    sql(atCommit("RAISE SQLSTATE '53100' USING MESSAGE = 'no space left';"));
    EXPECT_THAT(errorOfSaving(),
                EndsWith("the server's disk is full (no space left); make room and try again"));
    // The connection ends during the commit.
    sql(atCommit("PERFORM pg_terminate_backend(pg_backend_pid());"));
    const std::string unknown =
        ": whether the change was made is unknown, since the server was asked to make it "
        "lasting but did not confirm that (";
    const std::string lookFirst = "); look before you try again";
    EXPECT_THAT(errorOfSaving(),
                EndsWith(name + unknown + "terminating connection due to administrator command" + lookFirst));
    // No standby confirms the commit.
    sql(atCommit("RAISE WARNING 'not replicated';"));
    EXPECT_THAT(errorOfSaving(), EndsWith(name + unknown + "not replicated" + lookFirst));
    EXPECT_EQ(wait(storeAt(uri)->messageCount()), 2);
}

TEST_F(PostgreSQLOutageTest, ServesTheProgramThroughItsModule) {
    const auto run = [&](const std::string& words, std::string_view input = "") {
        return runOrvex(split("--store " + uri + " " + words + " -nc"), input);
    };
    save();
    const std::string description = wait(storeAt(uri)->allMessages()).at(0).description();
    EXPECT_EQ(run("get-all-messages"),
              (ProgramRun{"Getting all messages\n\nMessage #1:\n" + description + "\n", "", 0}));
    EXPECT_EQ(run("get-account-status"), (ProgramRun{"Account status: signed in\n", "", 0}));
    sql("UPDATE orvex.settings SET value = 0 WHERE name = 'transcriptionEnabled'");
    EXPECT_EQ(run("transcription-enabled"), (ProgramRun{"isTranscriptionEnabled: false\n", "", 0}));

    // The server stops while the user is asked, and runs again for the next command.
    TerminalSession session(split(ORVEX_PROGRAM " --store " + uri + " delete-message -a -nc"));
    EXPECT_TRUE(session.shows("(y/n)?"));
    server->stop();
    session.type("y\n");
    EXPECT_TRUE(session.shows("Error: cannot delete messages in the message store " + name + ": "));
    EXPECT_EQ(session.status(), 0);
    EXPECT_THAT(
        run("get-total-count").output,
        testing::StartsWith("Error: \ncannot count the messages in the message store " + name + ": "));
    server->start();
    const auto store = storeAt(uri);
    EXPECT_EQ(wait(store->messageCount()), 1);
    server->stop();
    server->start();
    EXPECT_EQ(run("delete-message -a", "y\n").status, 0);
    EXPECT_EQ(wait(store->messageCount()), 0);

    TemporaryFolder elsewhere;
    copy_file(ORVEX_PROGRAM, elsewhere / "orvex");
    const ProgramRun alone = runProgram({elsewhere / "orvex", "--store", uri, "get-total-count"});
    EXPECT_THAT(alone.output, AllOf(HasSubstr("the package orvex-postgresql is missing (there is no \"/"),
                                    EndsWith("/orvex/postgresql-" ORVEX_VERSION ".so\"); install it\n")));
}

} // namespace
} // namespace Orvex::Testing
