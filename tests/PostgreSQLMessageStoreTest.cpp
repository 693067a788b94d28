#include "PostgreSQLStore/PostgreSQLMessageStore.h"

#include "Foundation/ConnectionString.h"
#include "Foundation/QuotedText.h"
#include "Orvex/Version.h"
#include "ScriptedPostgreSQLServer.h"
#include "SteppedLoop.h"
#include "TestServers.h"
#include <algorithm>
#include <array>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <optional>
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

/// Some 18,000 bytes that cannot be made much smaller.
std::string longHandle() {
    std::string handle;
    for (int i = 0; i < 500; ++i) {
        handle += UUID::random().text();
    }
    return handle;
}

/// Has the server do something when a transaction that adds or changes a message is committed. The table of
/// messages has no trigger of its own.
std::string deferred(const std::string& body) {
    return "CREATE OR REPLACE FUNCTION public.f() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN " + body +
           " RETURN NULL; END $$; "
           "CREATE TABLE IF NOT EXISTS public.t (); DROP TRIGGER IF EXISTS t ON public.t; "
           "CREATE CONSTRAINT TRIGGER t AFTER INSERT ON public.t DEFERRABLE INITIALLY DEFERRED FOR EACH ROW "
           "EXECUTE FUNCTION public.f(); "
           "CREATE OR REPLACE FUNCTION public.g() RETURNS boolean LANGUAGE plpgsql AS $$ BEGIN "
           "INSERT INTO public.t DEFAULT VALUES; RETURN true; END $$; "
           "ALTER TABLE orvex.messages DROP CONSTRAINT IF EXISTS g, "
           "ADD CONSTRAINT g CHECK (public.g()) NOT VALID";
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
        const std::shared_ptr<PGconn> opened(PQconnectdb((uri + more).c_str()), PQfinish);
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
    sql(deferred("PERFORM pg_advisory_xact_lock(1);"));
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

TEST_F(PostgreSQLMessageStoreTest, PassesOverAHostThatIsSilentAndSurvivesOneThatIsRude) {
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
        EXPECT_TRUE(eventually([&] { return sql(scans) == "t"; })) << index;
    }
}

TEST_F(PostgreSQLOutageTest, TellsWhatTheAccountMayDo) {
    const std::string access = server.folder() / "pg_hba.conf";
    writeFile(access, "local all refused reject\nlocal all careful scram-sha-256\n" + readFile(access));
    server->signal(SIGHUP);
    sql("DO $$ BEGIN CREATE ROLE reader LOGIN; CREATE ROLE tester LOGIN; CREATE ROLE stranger LOGIN; CREATE "
        "ROLE refused LOGIN; "
        "EXCEPTION WHEN duplicate_object THEN NULL; END $$");
    // An empty store, of which nothing is made.
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

    // A server that waits for a client before it stops takes no more of them.
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
    for (const std::string type : {"text", "name", "oid", "bigint"}) {
        others +=
            "CREATE FUNCTION evil.equal(" + type + ", " + type +
            ") RETURNS boolean LANGUAGE plpgsql AS $$ BEGIN RAISE 'evil'; END $$; CREATE OPERATOR evil.= "
            "(FUNCTION = evil.equal, LEFTARG = " +
            type + ", RIGHTARG = " + type + ");";
    }
    sql(others);
    for (const char* const setting :
         {"search_path = evil, pg_catalog", "standard_conforming_strings = off", "client_encoding = LATIN1",
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
         damaged + "message_file is \"http://x/\\u{1B}[2J\", which is not a file URL"},
        {set("duration = 'NaN'"), damaged + "duration is not a finite number"},
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
        // The planner runs code of the tables' owner, but to read only. What the server says is on one line,
        // and moves no cursor.
        {"CREATE FUNCTION f(int) RETURNS int IMMUTABLE LANGUAGE sql RETURN 1; CREATE INDEX ON orvex.messages "
         "(f(1)); CREATE OR REPLACE FUNCTION f(int) RETURNS int IMMUTABLE LANGUAGE plpgsql AS "
         "$$ BEGIN RAISE E'so\\n\\x1b[2J%', current_setting('transaction_read_only'); END $$",
         "so; \\u{1B}[2Jon"},
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
        EXPECT_EQ(errorOf([&] { wait(storeAt(uri)->allMessages()); }), expected) << damage;
    }
}

TEST_F(PostgreSQLMessageStoreTest, RunsNoCodeOfOthersWithTheRightsOfAPowerfulUser) {
    sql("DO $$ BEGIN CREATE ROLE evil LOGIN; CREATE ROLE chief LOGIN; CREATE ROLE anybody LOGIN; "
        "EXCEPTION WHEN duplicate_object THEN NULL; END $$");
    sql("DO $$ BEGIN EXECUTE 'ALTER DATABASE ' || current_database() || ' OWNER TO chief'; END $$; "
        "GRANT CREATE ON SCHEMA public TO evil");
    const std::string code =
        "CREATE OR REPLACE FUNCTION public.evil() RETURNS bigint LANGUAGE plpgsql AS $$ BEGIN BEGIN EXECUTE "
        "'ALTER ROLE evil SUPERUSER'; EXCEPTION WHEN OTHERS THEN NULL; END; RETURN 1; END $$; "
        "ALTER FUNCTION public.evil OWNER TO evil; ";
    const auto ownedBy = [](const std::string& role) {
        return "ALTER SCHEMA orvex OWNER TO " + role + "; ALTER TABLE orvex.messages OWNER TO " + role +
               "; ALTER TABLE orvex.settings OWNER TO " + role +
               "; GRANT USAGE ON SCHEMA orvex TO PUBLIC; GRANT ALL ON ALL TABLES IN SCHEMA orvex TO PUBLIC";
    };
    const std::string evilCheck = "ALTER TABLE orvex.messages ADD CHECK (public.evil() = 1) NOT VALID; ";
    const std::string notOrdinary = " is not an ordinary table;";
    const std::string hasMore =
        "its table \"messages\" has a child or a parent, a trigger, a rule or row security,";
    const std::string notTheSchemas = "which owns its table \"messages\", does not own the schema orvex";
    const std::string belongsToAnother =
        "the schema orvex is there, without a store, and belongs to another role,";
    const std::string couldRun =
        "\"evil\", which owns its table \"messages\", could run code with your rights,";
    const std::array<std::string, 3> cases[] = {
        {"", "postgres", ""},
        {"DROP TABLE orvex.settings; CREATE VIEW orvex.settings AS SELECT "
         "'schemaVersion'::text AS name, public.evil() AS value",
         "postgres", notOrdinary},
        {evilCheck + ownedBy("evil"), "postgres", couldRun},
        {evilCheck + ownedBy("evil"), "chief", couldRun},
        // Its owner is somebody whom those without such rights trust, and a chief whom a superuser does not.
        {ownedBy("evil"), "anybody", ""},
        {ownedBy("chief"), "chief", ""},
        {ownedBy("chief"), "postgres", "\"chief\", which owns"},
        {"ALTER TABLE orvex.messages OWNER TO evil", "postgres", notTheSchemas},
        {"ALTER SCHEMA orvex OWNER TO evil", "postgres", notTheSchemas},
        {"CREATE TABLE public.child () INHERITS (orvex.messages)", "postgres", hasMore},
        {"CREATE TRIGGER t BEFORE INSERT ON orvex.messages EXECUTE FUNCTION "
         "suppress_redundant_updates_trigger()",
         "postgres", hasMore},
        {"CREATE TABLE public.other (u uuid REFERENCES orvex.messages (record_uuid))", "postgres", hasMore},
        {"CREATE RULE r AS ON INSERT TO orvex.messages DO ALSO SELECT 1", "postgres", hasMore},
        {"CREATE POLICY p ON orvex.messages", "postgres", hasMore},
        {"ALTER TABLE orvex.messages ENABLE ROW LEVEL SECURITY", "postgres", hasMore},
        // The schema's owner could exchange it while the tables are made.
        {"DROP TABLE orvex.messages, orvex.settings; ALTER SCHEMA orvex OWNER TO evil", "postgres",
         belongsToAnother},
        {"DROP TABLE orvex.messages, orvex.settings; ALTER SCHEMA orvex OWNER TO chief",
         "postgres&options=-crole%3Dchief", belongsToAnother},
        // Anybody who may make tables in the schema could make the missing one.
        {"DROP TABLE orvex.settings", "postgres", "is not that of a message store"},
    };
    for (const auto& [change, user, error] : cases) {
        sql("DROP SCHEMA IF EXISTS orvex CASCADE; DROP TABLE IF EXISTS public.child, public.other");
        save();
        sql(code + change);
        const std::string as = "&user=" + user;
        const auto isError = [&error = error](const std::string& text) {
            return error.empty() ? text.empty() : text.find(error) != std::string::npos;
        };
        EXPECT_TRUE(isError(errorOfSaving(as))) << change << user << errorOfSaving(as);
        // A store that is not there yet is an empty one.
        if (change.find("DROP TABLE orvex.messages") == std::string::npos) {
            for (const std::string& text : {errorOf([&] { wait(storeAt(uri + as)->messageCount()); }),
                                            errorOf([&] { wait(storeAt(uri + as)->accountStatus()); })}) {
                EXPECT_TRUE(isError(text)) << change << user << text;
            }
        }
        EXPECT_EQ(sql("SELECT rolsuper FROM pg_roles WHERE rolname = 'evil'"), "f") << change;
    }

    // One who may give the table a trigger does so while a change begins.
    sql("DROP SCHEMA orvex CASCADE");
    save();
    sql("GRANT USAGE ON SCHEMA orvex TO evil; GRANT TRIGGER ON orvex.messages TO evil; "
        "CREATE OR REPLACE FUNCTION public.trigger() RETURNS trigger LANGUAGE plpgsql AS "
        "$$ BEGIN PERFORM public.evil(); RETURN NEW; END $$");
    const auto evil = session("BEGIN; CREATE TRIGGER t BEFORE INSERT ON orvex.messages FOR EACH ROW "
                              "EXECUTE FUNCTION public.trigger()",
                              "&user=evil");
    std::string error;
    std::thread saver([&] { error = errorOfSaving(); });
    EXPECT_TRUE(eventually([&] { return areWaiting("1"); }));
    PQclear(PQexec(evil.get(), "COMMIT"));
    saver.join();
    EXPECT_THAT(error, HasSubstr(hasMore));
    EXPECT_EQ(sql("SELECT rolsuper FROM pg_roles WHERE rolname = 'evil'"), "f");
}

/// What a server says last when a transaction begins in a store.
std::string tablesAreThere() {
    using namespace Wire;
    return columns({text}, false) + row({"0messages o"}) + row({"0settings o"}) + done("SELECT 2") + ready();
}

TEST(PostgreSQLAnswersTest, AServerThatKeepsTalkingIsGivenUpInTime) {
    const std::string notice = Wire::message('N', std::string("SNOTICE\0C00000\0Mtalk\0\0", 22));
    const std::string setting = Wire::message('S', std::string("a\0b\0", 4));
    // While it lets the client in, and when it has been asked something.
    const std::string begin = Wire::done("BEGIN") + Wire::done("SET") + Wire::done("SET") + tablesAreThere();
    for (const std::vector<std::string>& answers : {std::vector{notice}, {Wire::ready(), begin, setting}}) {
        ScriptedPostgreSQLServer server(answers, true);
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(wait(storeAt(server.uri())->accountStatus()), AccountStatus::waiting);
        EXPECT_LE(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
    }
}

TEST(PostgreSQLAnswersTest, AnAnswerOfTheWrongKindIsAnError) {
    using namespace Wire;
    const auto run = [](const std::string& answer) { return message('1', "") + message('2', "") + answer; };
    const auto tags = [](std::initializer_list<std::string> all) {
        std::string answer;
        for (const std::string& tag : all) {
            answer += done(tag);
        }
        return answer;
    };
    const std::string one = columns({bigint});
    const std::string tables = tablesAreThere();
    const std::string version = run(one + integer(1) + done("SELECT 1") + ready());
    const std::string commit = done("COMMIT") + ready();
    const auto count = [&](const std::string& answer, const std::string& end = "") {
        ScriptedPostgreSQLServer server({ready(), tags({"BEGIN", "SET", "SET"}) + tables, version,
                                         run(answer + ready()), end.empty() ? commit : end});
        return errorOf([&] { EXPECT_EQ(wait(storeAt(server.uri())->messageCount()), 3); });
    };
    const auto save = [&](const std::string& answer, const std::string& end = "",
                          const StoredMessage& message = newMessage()) {
        ScriptedPostgreSQLServer server({ready(),
                                         tags({"BEGIN", "SET", "SET", "SET", "SET"}) +
                                             columns({bigint}, false) + row({""}) +
                                             tags({"SELECT 1", "LOCK TABLE"}) + tables,
                                         version, run(answer + ready()), end.empty() ? commit : end});
        return errorOf([&] { wait(storeAt(server.uri())->saveMessage(message)); });
    };
    EXPECT_EQ(count(one + integer(3) + done("SELECT 1")), "");
    EXPECT_EQ(save(done("INSERT 0 1")), "");
    const std::string three = one + integer(3);
    const std::string inserted = done("INSERT 0 1");
    const std::pair<std::string, std::string> cases[] = {
        {count(""),
         "SELECT with nothing, as no PostgreSQL server does; check that the address is the right one"},
        {count(message('I', "")), "SELECT with nothing,"},
        {count(done("SELECT 1")), "SELECT with 0 columns,"},
        {count(columns({}) + row({}) + done("SELECT 1")), "SELECT with 0 columns,"},
        {count(one + done("SELECT 0")), "SELECT with no row,"},
        {count(three + done("SELECT 2")), "SELECT with \"SELECT 2\","},
        {count(three + done("SELECT")), "SELECT with \"SELECT\","},
        {count(three + done("INSERT 0 1")), "SELECT with \"INSERT 0 1\","},
        {count(three + integer(3) + done("SELECT 2")), "SELECT with more rows than there can be,"},
        {count(three + done("SELECT 1") + done("SELECT 1")), "SELECT with more than one answer,"},
        {count(message('H', std::string(3, '\0'))), "SELECT with PGRES_COPY_OUT,"},
        {count(message('G', std::string(3, '\0'))), "SELECT with PGRES_COPY_IN,"},
        {count(columns({bigint}, false) + row({"3"}) + done("SELECT 1")), "value is of another type"},
        {count(columns({bytea}) + integer(3) + done("SELECT 1")), "value is of another type"},
        {count(one + integer(3, 4) + done("SELECT 1")), "value is of another size"},
        {count(three + done("SELECT 1"), ready()), "COMMIT with nothing,"},
        {count(message('E', std::string("SERROR\0M\n\0\0", 11)) + ready()), ": the server gives no reason"},
        {save(one + integer(1) + inserted), "INSERT with 1 columns,"},
        {save(done("INSERT 0 2")), "INSERT with more rows than there can be,"},
        {save(done("INSERT")), "INSERT with \"INSERT\","},
        {save(done("SELECT 1")), "INSERT with \"SELECT 1\","},
        {save(""), "INSERT with nothing,"},
        {save(inserted, done("ROLLBACK") + ready()), ": the server undid the transaction"},
        {save(inserted, done("SET") + ready()), "whether the change was made is unknown"},
        {save(inserted, ready()), "whether the change was made is unknown"},
        {save(one + integer((std::int64_t{1} << 32) + 1) + done("UPDATE 1"), inserted,
              newMessage(MessageType::audio, MessageProvider::Telephony)),
         "there is no further voicemail identifier"},
    };
    for (const auto& [error, expected] : cases) {
        EXPECT_THAT(error, HasSubstr(expected));
    }

    ScriptedPostgreSQLServer server({ready(), tags({"BEGIN", "SET", "SET"}) + tables,
                                     run(one + integer(7) + done("SELECT 1") + ready()), commit});
    const ProgramRun status = runOrvex({"--store", server.uri(), "get-account-status"});
    EXPECT_EQ(status.status, 1);
    EXPECT_THAT(status.errors, HasSubstr("SELECT with an account status that has no name,"));
}

TEST_F(PostgreSQLMessageStoreTest, TellsNoPasswordToAMachineThatDoesNotProveWhoItIs) {
    const TemporaryFolder certificates;
    makeCertificate(certificates);
    const std::string permission = "sslmode=verify-full in the URI or the service file";
    const std::string disable = "&sslmode=require&channel_binding=disable";
    // With what the server learns about the password, and what the user's error says.
    const std::array<std::string, 5> cases[] = {
        // This machine, but no loopback address.
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

TEST_F(PostgreSQLMessageStoreTest, NeverTellsAPassword) {
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
    // Also not by a command line that is not understood.
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
        EXPECT_THAT(run.output + run.errors, AllOf(testing::ContainsRegex("[.][.][.]|for --sending-service"),
                                                   Not(HasSubstr("secret"))));
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

TEST_F(PostgreSQLOutageTest, ServesTheProgramThroughItsModule) {
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
