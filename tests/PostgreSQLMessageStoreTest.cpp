#include "PostgreSQLStore/PostgreSQLMessageStore.h"

#include "Foundation/QuotedText.h"
#include "PostgreSQLServer.h"
#include <algorithm>
#include <atomic>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <optional>
#include <set>
#include <thread>

namespace Orvex::Testing {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

std::string errorOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const MessageStoreError& error) {
        return error.what();
    }
    return "";
}

std::shared_ptr<MessageStore> storeAt(const std::string& uri) {
    return std::make_shared<PostgreSQLMessageStore>(uri);
}

/// Some 18,000 bytes that cannot be made much smaller.
std::string longHandle() {
    std::string handle;
    for (int i = 0; i < 500; ++i) {
        handle += UUID::random().text();
    }
    return handle;
}

/// Has the server do something when a transaction that adds or deletes a message is committed.
std::string deferred(const std::string& body) {
    return "CREATE OR REPLACE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN " + body +
           " RETURN NULL; END $$; DROP TRIGGER IF EXISTS t ON orvex.messages; CREATE CONSTRAINT TRIGGER t "
           "AFTER "
           "INSERT OR DELETE ON orvex.messages DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE FUNCTION "
           "f()";
}

class PostgreSQLMessageStoreTest : public testing::Test {
  protected:
    void save(MessageType type = MessageType::video,
              MessageProvider provider = MessageProvider::Zelvo) const {
        wait(storeAt(uri)->saveMessage(newMessage(type, provider)));
    }
    void sql(const std::string& text) const { runSQL(uri, text); }
    AccountStatus status(const std::string& more = "") const {
        return wait(storeAt(uri + more)->accountStatus());
    }
    std::string errorOfListing() const {
        return errorOf([&] { wait(storeAt(uri)->allMessages()); });
    }
    std::string errorOfSaving(const std::string& more = "") const {
        return errorOf([&] { wait(storeAt(uri + more)->saveMessage(newMessage())); });
    }

    PostgreSQLServer& server = PostgreSQLServer::shared();
    std::string uri = server.newDatabase();
    /// How errors name the store.
    std::string name = "\"postgresql://" + server.folder() + "/" + uri.substr(14, uri.find('?') - 14) + "\"";
};

TEST_F(PostgreSQLMessageStoreTest, ClientsThatComeAtOnceToAnEmptyDatabaseKeepTheOrderAndTheIdentifiers) {
    constexpr int clients = 8;
    constexpr std::size_t each = 10;
    // Another one watches: what it has seen stays where it was.
    const std::vector<int> statuses = runInProcesses(clients + 1, [&](int client) {
        alarm(60);
        const auto store = storeAt(uri);
        std::vector<UUID> seen;
        while (client == clients && seen.size() < clients * each) {
            std::vector<UUID> found;
            for (const StoredMessage& message : wait(store->allMessages())) {
                found.push_back(message.recordUUID);
            }
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
    PGconn* const locker = PQconnectdb(uri.c_str());
    PQclear(PQexec(locker, "BEGIN; LOCK TABLE orvex.messages"));
    boost::asio::io_context loop;
    // Nobody else would let go of the lock.
    boost::asio::steady_timer timer(loop, std::chrono::milliseconds(50));
    timer.async_wait([&](const boost::system::error_code&) { PQfinish(locker); });
    const auto store = storeAt(uri);
    std::exception_ptr failure;
    boost::asio::co_spawn(loop, store->deleteMessages({}),
                          [&](std::exception_ptr thrown) { failure = thrown; });
    loop.run();
    EXPECT_EQ(failure, nullptr);

    // A loop may cancel an operation while its change is made lasting, or end in the middle of one.
    sql(deferred("PERFORM pg_advisory_xact_lock(1);"));
    const std::vector<UUID> all{wait(store->allMessages()).at(0).recordUUID};
    PGconn* const holder = PQconnectdb(uri.c_str());
    PQclear(PQexec(holder, "SELECT pg_advisory_lock(1)"));
    // The second one waits for the first.
    for (const std::string waiting : {"1", "2"}) {
        boost::asio::io_context other;
        boost::asio::cancellation_signal signal;
        std::string error;
        boost::asio::co_spawn(other, store->deleteMessages(all),
                              bind_cancellation_slot(signal.slot(), [&](const std::exception_ptr& thrown) {
                                  error = errorOf([&] { std::rethrow_exception(thrown); });
                              }));
        for (int attempt = 0; attempt < 1000 && runSQL(uri, "SELECT count(*) FROM pg_locks WHERE NOT granted "
                                                            "AND locktype = 'advisory'") != waiting;
             ++attempt) {
            other.run_for(std::chrono::milliseconds(10));
        }
        if (waiting == "1") {
            signal.emit(boost::asio::cancellation_type::terminal);
            other.run();
            EXPECT_THAT(error, HasSubstr("whether the change was made is unknown"));
        }
    }
    PQfinish(holder);
    // It waits for the change that was made after all.
    wait(store->deleteMessages({}));
    EXPECT_EQ(wait(store->messageCount()), 0);
}

TEST_F(PostgreSQLMessageStoreTest, PassesOverAHostThatIsSilentAndSurvivesOneThatIsRude) {
    using boost::asio::ip::tcp;
    boost::asio::io_context loop;
    tcp::acceptor acceptor(loop, {boost::asio::ip::address_v4::loopback(), 0});
    const std::string port = std::to_string(acceptor.local_endpoint().port());
    const std::string both = "&host=127.0.0.1," + server.folder() + "&port=" + port + ",5432";
    EXPECT_EQ(status(both), AccountStatus::signedIn);
    EXPECT_EQ(wait(storeAt(uri + both + "&connect_timeout=1")->messageCount()), 0);
    EXPECT_EQ(status("&host=127.0.0.1&port=" + port), AccountStatus::waiting);
    // Out of band: the event loop hears of something that nobody waits for.
    std::thread rude([&] {
        for (int connections = 0; connections < 4; ++connections) {
            tcp::socket peer = acceptor.accept();
            boost::system::error_code ignored;
            peer.send(boost::asio::buffer("x", 1), tcp::socket::message_out_of_band, ignored);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    EXPECT_THAT(runOrvex({"--store", "postgresql://127.0.0.1:" + port + "/", "get-total-count"}).output,
                HasSubstr("server closed the connection unexpectedly"));
    rude.join();
}

TEST_F(PostgreSQLMessageStoreTest, FindsByAHundredThousandIdentifiersAndHasAnIndexForEverySelection) {
    save();
    sql("INSERT INTO orvex.messages (record_uuid, voicemail_id, conversation_id, type, provider, mailbox, "
        "sender, "
        "created, duration, read, sensitive, rtt, transcription, message_file, sim_id, quality) "
        "SELECT gen_random_uuid(), CASE WHEN n <= 50 THEN n END, gen_random_uuid(), 1, CASE WHEN n <= 50 "
        "THEN 1 ELSE 2 END, "
        "0, int8send(n), 0, 0, false, false, false, 0, 'file:///m', '', 1 FROM generate_series(1, 50000) n; "
        "ANALYZE orvex.messages");
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
    // A session that ends tells what it did.
    store.reset();
    for (const char* const index : {"messages_record_uuid_key", "messages_by_sender",
                                    "messages_by_provider_and_type", "messages_voicemail_id_key"}) {
        const std::string scans =
            std::string("SELECT sum(idx_scan) > 0 FROM pg_stat_user_indexes WHERE indexrelname = '") + index +
            "'";
        for (int attempt = 0; attempt < 1000 && runSQL(uri, scans) != "t"; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_EQ(runSQL(uri, scans), "t") << index;
    }
}

TEST_F(PostgreSQLMessageStoreTest, TellsWhatTheAccountMayDo) {
    server.allow("local all refused reject\nlocal all careful scram-sha-256");
    sql("DO $$ BEGIN CREATE ROLE reader LOGIN; CREATE ROLE tester LOGIN; CREATE ROLE stranger LOGIN; CREATE "
        "ROLE refused LOGIN; "
        "EXCEPTION WHEN duplicate_object THEN NULL; END $$");
    // An empty store, of which nothing is made.
    EXPECT_EQ(status(), AccountStatus::signedIn);
    const auto as = [](const std::string& user) { return "&user=" + user; };
    EXPECT_EQ(status(as("reader")), AccountStatus::restricted);
    EXPECT_EQ(wait(storeAt(uri + as("reader"))->messageCount()), 0);
    EXPECT_EQ(runSQL(uri, "SELECT count(*) FROM pg_namespace WHERE nspname = 'orvex'"), "0");

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

    // A server that waits for a client before it stops takes no more of them.
    PGconn* const client = PQconnectdb(uri.c_str());
    server.signal(SIGTERM);
    const auto untilItIs = [&](AccountStatus expected) {
        for (int attempt = 0; attempt < 1000 && status() != expected; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return status();
    };
    EXPECT_EQ(untilItIs(AccountStatus::temporarilyUnavailable), AccountStatus::temporarilyUnavailable);
    PQfinish(client);
    server.stop(SIGINT);
    EXPECT_EQ(status(), AccountStatus::couldNotDetermine);
    server.start();
    EXPECT_EQ(status(), AccountStatus::signedIn);

    server.signal(SIGSTOP);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(status(), AccountStatus::waiting);
    const auto passed = std::chrono::steady_clock::now() - before;
    server.signal(SIGCONT);
    EXPECT_GE(passed, std::chrono::milliseconds(1990));
    EXPECT_LE(passed, std::chrono::milliseconds(3500));
}

TEST_F(PostgreSQLMessageStoreTest, HeedsNeitherSettingsNorSchemasOfOthers) {
    std::string others = "CREATE SCHEMA evil; CREATE TABLE evil.settings (name text, value bigint); "
                         "CREATE TABLE evil.messages (id bigint); INSERT INTO evil.settings VALUES "
                         "('schemaVersion', 9), ('transcriptionEnabled', 9);";
    for (const char* const function :
         {"unnest(bytea[]) RETURNS SETOF bytea", "has_table_privilege(regclass, text) RETURNS boolean",
          "current_setting(varchar) RETURNS text", "has_database_privilege(name, text) RETURNS boolean"}) {
        others += " CREATE FUNCTION evil." + std::string(function) +
                  " LANGUAGE plpgsql AS $$ BEGIN RAISE 'evil'; END $$;";
    }
    sql(others);
    const std::string database = uri.substr(14, uri.find('?') - 14);
    for (const char* const setting :
         {"search_path = evil", "standard_conforming_strings = off", "client_encoding = LATIN1",
          "bytea_output = escape", "extra_float_digits = -15", "client_min_messages = debug1",
          "default_transaction_isolation = serializable"}) {
        sql("ALTER DATABASE " + database + " SET " + setting);
    }
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

TEST_F(PostgreSQLMessageStoreTest, SaysThatTheLastVoicemailIdentifierWasLowered) {
    const auto saveVoicemail = [this] { save(MessageType::audio, MessageProvider::Telephony); };
    saveVoicemail();
    sql("UPDATE orvex.settings SET value = 0 WHERE name = 'lastVoicemailID'");
    EXPECT_THAT(errorOf(saveVoicemail), HasSubstr("the setting lastVoicemailID has been lowered"));
}

TEST_F(PostgreSQLMessageStoreTest, RefusesWhatNoMessageHas) {
    const auto alter = [](const std::string& change) { return "ALTER TABLE orvex.messages " + change; };
    const auto set = [](const std::string& change) { return "UPDATE orvex.messages SET " + change; };
    const std::string damaged = "the store is damaged: in the message with the record UUID ";
    const std::string noTables = "its tables are not those of a message store: ";
    const std::pair<std::string, std::string> cases[] = {
        {alter("DROP CONSTRAINT messages_type_check") + ";" + set("type = 3"),
         damaged + "type is 3, not between 0 and 2"},
        {set("message_file = 'http://x/\x1b[2J'"),
         damaged + "message_file is \"http://x/\\u{1B}[2J\", which is no file URL"},
        {set("duration = 'NaN'"), damaged + "duration is no finite number"},
        {set("created = 253402300800000"),
         damaged + "created is 253402300800000, not between -62167219200000 and 253402300799999"},
        {set("sender = convert_to(repeat('x', 16777217), 'UTF8')"),
         noTables + "sender has more than 16777216 bytes"},
        {alter("ALTER sim_id DROP NOT NULL") + ";" + set("sim_id = NULL"), noTables + "sim_id is NULL"},
        {alter("ALTER quality TYPE bigint"), noTables + "quality is of another type"},
        {alter("ALTER record_uuid TYPE text"), noTables + "record_uuid is of another type"},
        {alter("RENAME mailbox TO letterbox"), "column \"mailbox\" does not exist"},
        {"DELETE FROM orvex.settings",
         "the schema orvex in that database is not that of a message store; choose another database"},
        {"UPDATE orvex.settings SET value = 2 WHERE name = 'schemaVersion'",
         "it was written by a newer version of this program (schema 2, this one knows up to 1); use that "
         "version"},
        // What the server says is on one line, and moves no cursor.
        {"CREATE FUNCTION f() RETURNS int LANGUAGE plpgsql AS $$ BEGIN RAISE E'so\\n\\x1b[2Jso'; END $$; "
         "ALTER TABLE orvex.messages RENAME TO m; CREATE VIEW orvex.messages AS SELECT m.* FROM orvex.m, f()",
         "so; \\u{1B}[2Jso"},
    };
    for (const auto& [damage, fault] : cases) {
        sql("DROP SCHEMA IF EXISTS orvex CASCADE; DROP FUNCTION IF EXISTS f");
        save();
        const std::string uuid = wait(storeAt(uri)->allMessages()).at(0).recordUUID.text();
        sql(damage);
        std::string expected = "cannot list all messages in the message store " + name + ": " + fault;
        if (fault.starts_with(damaged)) {
            const std::string mark = "record UUID ";
            expected.insert(expected.find(mark) + mark.size(), uuid + " ");
            expected +=
                "; to remove it, run in psql: DELETE FROM orvex.messages WHERE record_uuid = '" + uuid + "'";
        }
        EXPECT_EQ(errorOfListing(), expected) << damage;
    }
}

TEST_F(PostgreSQLMessageStoreTest, NeverTellsAPassword) {
    const std::string host = "/db?connect_timeout=5&host=" + server.folder();
    server.allow("local all careful scram-sha-256");
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
    // Nor by a command line that is not understood.
    const std::string at = "://careful:secret@host/db";
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"postgresql" + at},
          {"--store", "Postgresql" + at, "get-total-count"},
          {"--store", "pg" + at, "get-total-count"},
          {"--store", "postgres:/careful:secret@host/db", "get-total-count"},
          {"--store", "postgresql:careful:secret@host", "get-total-count"},
          {"get-total-count", "postgresql" + at},
          {"--postgresql" + at},
          {"--sending-service", "Smtp" + at, "get-total-count"}}) {
        const ProgramRun run = runOrvex(words);
        EXPECT_THAT(run.output + run.errors,
                    AllOf(testing::ContainsRegex("cannot tell|://[.]"), Not(HasSubstr("secret"))));
    }
}

TEST_F(PostgreSQLMessageStoreTest, AChangeThatFailsIsNotMadeAndSaysWhy) {
    save();
    PGconn* const locker = PQconnectdb(uri.c_str());
    PQclear(PQexec(locker, "BEGIN; LOCK TABLE orvex.messages IN SHARE MODE"));
    EXPECT_THAT(errorOfSaving("&options=-cstatement_timeout%3D50"),
                EndsWith(name + ": canceling statement due to statement timeout"));
    PQfinish(locker);
    EXPECT_THAT(
        errorOfSaving("&options=-cdefault_transaction_read_only%3Don"),
        EndsWith("it can only be read: the server is a standby, or the user may not write (cannot execute "
                 "INSERT in a read-only transaction)"));

    sql(deferred("RAISE SQLSTATE '53100' USING MESSAGE = 'no space left';"));
    EXPECT_THAT(errorOfSaving(),
                EndsWith("the server's disk is full (no space left); make room and try again"));
    // The connection ends in the middle of a commit.
    sql(deferred("PERFORM pg_terminate_backend(pg_backend_pid());"));
    const std::string unknown =
        ": whether the change was made is unknown, since the server was asked to make it "
        "lasting but did not confirm that (";
    const std::string lookFirst = "); look before you try again";
    EXPECT_THAT(errorOfSaving(),
                EndsWith(name + unknown + "terminating connection due to administrator command" + lookFirst));
    // A commit that no standby has confirmed.
    sql(deferred("RAISE WARNING 'not replicated';"));
    EXPECT_THAT(errorOfSaving(), EndsWith(name + unknown + "not replicated" + lookFirst));
    EXPECT_EQ(wait(storeAt(uri)->messageCount()), 2);
}

TEST_F(PostgreSQLMessageStoreTest, ServesTheProgramThroughItsModule) {
    const auto run = [&](const std::string& words, std::string_view input = "") {
        return runOrvex(split("--store " + uri + " " + words + " -nc"), input);
    };
    const ProgramRun saved = run("save-message -mt 1 -prov 0 -frm +15550100");
    const std::string description = wait(storeAt(uri)->allMessages()).at(0).description();
    EXPECT_EQ(saved, (ProgramRun{"Successfully added the message: \n" + description + "\n", "", 0}));
    EXPECT_EQ(run("get-all-voicemail-messages"), (ProgramRun{"\nMessage #1:\n" + description + "\n", "", 0}));
    EXPECT_EQ(run("get-account-status"), (ProgramRun{"Account status: signed in\n", "", 0}));
    sql("UPDATE orvex.settings SET value = 0 WHERE name = 'transcriptionEnabled'");
    EXPECT_EQ(run("transcription-enabled"), (ProgramRun{"isTranscriptionEnabled: false\n", "", 0}));

    // The server goes away while the user is asked, and is back for the next command.
    TerminalSession session(split(ORVEX_PROGRAM " --store " + uri + " delete-message -a -nc"));
    EXPECT_TRUE(session.shows("(y/n)?"));
    server.stop();
    session.type("y\n");
    EXPECT_TRUE(session.shows("Error: cannot delete messages in the message store " + name + ": "));
    EXPECT_EQ(session.status(), 0);
    EXPECT_THAT(
        run("get-total-count").output,
        testing::StartsWith("Error: \ncannot count the messages in the message store " + name + ": "));
    server.start();
    const auto store = storeAt(uri);
    EXPECT_EQ(wait(store->messageCount()), 1);
    server.stop();
    server.start();
    EXPECT_EQ(run("delete-message -a", "y\n").status, 0);
    EXPECT_EQ(wait(store->messageCount()), 0);

    TemporaryFolder elsewhere;
    copy_file(ORVEX_PROGRAM, elsewhere / "orvex");
    const ProgramRun alone = runProgram({elsewhere / "orvex", "--store", uri, "get-total-count"});
    EXPECT_THAT(alone.output, AllOf(HasSubstr("the package orvex-postgresql is missing (there is no \"/"),
                                    EndsWith("/orvex/postgresql-" ORVEX_VERSION ".so\"); install it\n")));
}

TEST_F(PostgreSQLMessageStoreTest, AFullTablespaceTakesNoMessageAndKeepsTheOthers) {
    PostgreSQLServer small(true);
    uri = small.newDatabase();
    save();
    sql("CREATE TABLESPACE small LOCATION '" + small.smallDisk() + "'");
    sql("ALTER TABLE orvex.messages SET TABLESPACE small");
    const auto store = storeAt(uri);
    std::int64_t saved = 1;
    const std::string error = errorOf([&] {
        for (; saved < 100; ++saved) {
            wait(store->saveMessage(newMessage(MessageType::video, MessageProvider::Zelvo, longHandle())));
        }
    });
    EXPECT_THAT(error, AllOf(HasSubstr("the server's disk is full (could not extend file"),
                             EndsWith("No space left on device); make room and try again")));
    EXPECT_EQ(wait(store->messageCount()), saved);
    const std::vector<UUID> one{wait(store->allMessages()).at(1).recordUUID};
    wait(store->deleteMessages(one));
    EXPECT_EQ(wait(store->messageCount()), saved - 1);
}

TEST_F(PostgreSQLMessageStoreTest, LosesNothingAcknowledgedWhenTheStandbyTakesOver) {
    PostgreSQLServer primary;
    const std::string database = primary.newDatabase();
    PostgreSQLServer standby(primary);
    runSQL(database, "ALTER SYSTEM SET synchronous_standby_names = '*'");
    runSQL(database, "SELECT pg_reload_conf()");
    const std::string cluster = "postgresql:///" + database.substr(14, database.find('?') - 14) +
                                "?user=postgres&target_session_attrs=read-write&host=" + primary.folder() +
                                "," + standby.folder();
    constexpr std::size_t batchSize = 100;
    std::vector<UUID> saved;
    {
        const auto store = storeAt(cluster);
        for (std::size_t i = 0; i < 10 * batchSize; ++i) {
            saved.push_back(wait(store->saveMessage(newMessage())).recordUUID);
        }
    }
    EXPECT_EQ(wait(storeAt(database + "&host=" + standby.folder())->accountStatus()),
              AccountStatus::restricted);
    // The last ones wait for the end of the server, however late it comes.
    runSQL(database,
           "CREATE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN PERFORM pg_sleep(CASE WHEN "
           "count(*) > 500 THEN 0.05 ELSE 10 END) FROM orvex.messages; RETURN NULL; END $$; "
           "CREATE TRIGGER t AFTER DELETE ON orvex.messages EXECUTE FUNCTION f()");
    std::atomic<std::size_t> acknowledged = 0;
    std::thread killer([&] {
        for (int attempt = 0; attempt < 10000 && acknowledged < 3 * batchSize; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        // In the middle of the next batch, as a rule.
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        primary.stop(SIGQUIT);
    });
    const std::string error = errorOf([&] {
        const auto store = storeAt(cluster);
        for (auto batch = saved.begin(); batch != saved.end(); batch += batchSize) {
            wait(store->deleteMessages({batch, batch + batchSize}));
            acknowledged += batchSize;
        }
    });
    killer.join();
    EXPECT_THAT(error, HasSubstr("cannot delete messages in the message store \"postgresql://" +
                                 primary.folder() + "," + standby.folder() + "/"));
    EXPECT_GE(acknowledged, 3 * batchSize);
    standby.promote();
    std::vector<UUID> left;
    for (const StoredMessage& message : wait(storeAt(cluster)->allMessages())) {
        left.push_back(message.recordUUID);
    }
    // The batch whose answer was lost may be done.
    const std::size_t removed = saved.size() - left.size();
    EXPECT_THAT(removed, testing::AnyOf(acknowledged.load(), acknowledged + batchSize));
    EXPECT_TRUE(std::equal(left.begin(), left.end(), saved.end() - static_cast<std::ptrdiff_t>(left.size()),
                           saved.end()));
    runSQL(cluster, "DROP TRIGGER t ON orvex.messages");
    EXPECT_THAT(runOrvex({"--store", cluster, "delete-message", "-a", "-nc"}, "y\n").output,
                EndsWith("Deleted " + std::to_string(left.size()) + " messages!\n"));
    EXPECT_EQ(wait(storeAt(cluster)->messageCount()), 0);
}

} // namespace
} // namespace Orvex::Testing
