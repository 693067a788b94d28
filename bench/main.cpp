#include "BareLoops.h"
#include "Generator.h"
#include "Process.h"
#include "tests/PostgreSQLServer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <sys/utsname.h>
#include <thread>
#include <unicode/uversion.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace Orvex::Bench;
namespace fs = std::filesystem;

std::string formatted(const char* format, double value) {
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), format, value);
    return buffer.data();
}

std::string timeText(double seconds) {
    return seconds < 1 ? formatted("%.2f ms", seconds * 1000) : formatted("%.2f s", seconds);
}

std::string sizeText(double bytes) {
    return formatted("%.0f MB", bytes / 1e6);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double median(const std::vector<Cost>& costs, double Cost::*part) {
    std::vector<double> values;
    for (const Cost& cost : costs) {
        values.push_back(cost.*part);
    }
    return median(std::move(values));
}

/// Costs of a command and its peer. They run in turns, so that a slow phase of the machine meets both.
struct Comparison {
    std::vector<Cost> ours;
    std::vector<Cost> peers;

    [[nodiscard]] double ratio(double Cost::*part) const {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < ours.size(); ++i) {
            ratios.push_back(ours[i].*part / (peers[i].*part));
        }
        return median(std::move(ratios));
    }
};

/// Runs the two in turns, each after `prepare`.
Comparison compare(int rounds, const Command& ours, const Command& peer,
                   const std::function<void()>& prepare = {}) {
    Comparison comparison;
    const auto measure = [&](const Command& command, std::vector<Cost>& costs) {
        if (prepare) {
            prepare();
        }
        costs.push_back(run(command));
    };
    for (int i = 0; i < rounds; ++i) {
        // Each goes first as often as the other.
        if (i % 2 == 0) {
            measure(ours, comparison.ours);
        }
        measure(peer, comparison.peers);
        if (i % 2 != 0) {
            measure(ours, comparison.ours);
        }
    }
    return comparison;
}

void printRow(std::string_view work, const Comparison& comparison, double reach) {
    const double ratio = comparison.ratio(&Cost::wall);
    std::printf("| %s | %s | %s | %.2f × | %.2f × | %.2f × | %s |\n", std::string(work).c_str(),
                timeText(median(comparison.ours, &Cost::wall)).c_str(),
                timeText(median(comparison.peers, &Cost::wall)).c_str(), ratio,
                comparison.ratio(&Cost::processor), reach,
                sizeText(median(comparison.ours, &Cost::memory)).c_str());
    std::fflush(stdout);
}

/// The record UUIDs of the messages that `deletionFrom` deletes, in its batches.
std::vector<std::vector<std::string>> callsInBatches(std::uint64_t count) {
    constexpr std::size_t batchSize = 100;
    std::vector<std::vector<std::string>> batches;
    for (std::uint64_t number = 5; number < count; number += callDistance(count)) {
        if (batches.empty() || batches.back().size() == batchSize) {
            batches.emplace_back();
        }
        batches.back().push_back(recordUUIDText(number));
    }
    return batches;
}

std::string firstLine(const fs::path& file, std::string_view beginning) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(beginning)) {
            return line;
        }
    }
    return "";
}

class Bench {
  public:
    Bench(const fs::path& folder, bool isQuick)
        : folder_(folder.native() + (isQuick ? "/quick" : "/whole")),
          isQuick_(isQuick),
          largest_(isQuick ? 100'000 : 1'000'000) {
        fs::create_directories(folder_);
    }

    void run(const std::vector<std::string>& chosen) {
        const std::vector<std::pair<std::string_view, void (Bench::*)()>> rows = {
            {"start", &Bench::start},
            {"count", &Bench::count},
            {"filter", &Bench::filter},
            {"list", &Bench::list},
            {"strip", &Bench::strip},
            {"delete", &Bench::deletion},
            {"save", &Bench::save},
            {"voicemails", &Bench::voicemails},
            {"video", &Bench::video},
            {"shared-start", &Bench::sharedStart},
            {"shared-list", &Bench::sharedList},
            {"shared-delete", &Bench::sharedDeletion},
            {"growth", &Bench::growth}};
        printMachine();
        for (const auto& [name, measure] : rows) {
            if (chosen.empty() || std::find(chosen.begin(), chosen.end(), name) != chosen.end()) {
                (this->*measure)();
            }
        }
    }

  private:
    void printMachine() const {
        utsname system{};
        uname(&system);
        const std::string processor = firstLine("/proc/cpuinfo", "model name");
        std::printf("%s, %u of them; Linux %s; SQLite %s; ICU %s; g++ %s; %lu messages at most\n\n",
                    processor.substr(processor.find(':') + 2).c_str(), std::thread::hardware_concurrency(),
                    system.release, sqlite3_libversion(), U_ICU_VERSION, __VERSION__, largest_);
        std::puts("| Work | Time | Peer's time | Ratio | Ratio of CPU | Reach | Peak memory |\n"
                  "|---|---|---|---|---|---|---|");
        std::fflush(stdout);
    }

    [[nodiscard]] int rounds(int whole) const { return isQuick_ ? (whole + 4) / 5 : whole; }

    [[nodiscard]] fs::path path(const std::string& name) const { return folder_ / name; }

    /// Makes a file unless an earlier run has made it. Another process does it: this one's memory would count
    /// as its children's.
    fs::path made(const std::string& name, const std::string& how, std::uint64_t size) const {
        fs::path file = path(name);
        if (!fs::exists(file)) {
            const fs::path unfinished = path("unfinished");
            Orvex::Bench::run({.words = {self_, how, unfinished, std::to_string(size)}});
            fs::rename(unfinished, file);
        }
        return file;
    }

    [[nodiscard]] fs::path store(std::uint64_t count) const {
        return made("store-" + std::to_string(count), "make-store", count);
    }

    /// A server with the settings of the package, but without replication: the log leaves out tables that are
    /// filled.
    Orvex::Testing::PostgreSQLServer& server() {
        if (!server_) {
            const std::vector<std::string> options = {
                "-c", "wal_level=minimal", "-c", "max_wal_senders=0", "-c", "log_min_messages=fatal"};
            server_.emplace(path("server"), options);
        }
        return *server_;
    }

    /// Without the package's wrapper and the user's settings.
    Command psql(const std::string& database, std::vector<std::string> words) {
        const std::string program = ORVEX_POSTGRESQL_PROGRAMS "psql";
        words.insert(words.begin(), {program, "-X", "-v", "ON_ERROR_STOP=1", server().uri(database)});
        return {.words = std::move(words)};
    }

    void runSQL(const std::string& database, const std::vector<std::string>& statements) {
        std::vector<std::string> words = {"-c", "SET client_min_messages = warning"};
        for (const std::string& statement : statements) {
            words.insert(words.end(), {"-c", statement});
        }
        Orvex::Bench::run(psql(database, words));
    }

    /// The first line that a command prints.
    [[nodiscard]] std::string answer(Command command) const {
        command.output = path("answer");
        Orvex::Bench::run(command);
        return firstLine(command.output, "");
    }

    /// Makes a store on the server, unless it is there, and returns its database.
    std::string sharedStore(std::uint64_t count) {
        const std::string size = std::to_string(count);
        std::string name = "store_" + size;
        const std::string isThere = "SELECT count(*) FROM pg_database WHERE datname = '" + name + "'";
        if (answer(psql("postgres", {"-Atc", isThere})) == "0") {
            runSQL("postgres", {"DROP DATABASE IF EXISTS unfinished", "CREATE DATABASE unfinished"});
            Orvex::Bench::run(orvex(server().uri("unfinished"), {"save-message"}));
            const std::string copy = "\\copy orvex.messages (" + std::string(columns) + ") FROM PROGRAM '" +
                                     self_ + " make-lines /dev/stdout " + size + "' WITH (FREEZE)";
            const std::string setLast =
                "UPDATE orvex.settings SET value = (SELECT coalesce(max(voicemail_id), "
                "0) FROM orvex.messages) WHERE name = 'lastVoicemailID'";
            // PostgreSQL does not log rows of a table that the same transaction has emptied.
            runSQL("unfinished",
                   {"BEGIN", "TRUNCATE orvex.messages", copy, setLast, "COMMIT", "VACUUM ANALYZE"});
            runSQL("postgres", {"ALTER DATABASE unfinished RENAME TO " + name});
        }
        return name;
    }

    [[nodiscard]] static Command orvex(const std::string& store, std::vector<std::string> words) {
        words.insert(words.begin(), {ORVEX_PROGRAM, "--store", store});
        return {.words = std::move(words)};
    }

    [[nodiscard]] static Command sqlite(const fs::path& store, std::vector<std::string> words) {
        words.insert(words.begin(), {"sqlite3", "-batch"});
        words.insert(words.end() - 1, store);
        return {.words = std::move(words)};
    }

    [[nodiscard]] Command into(const std::string& name, std::string_view content, Command command) const {
        command.input = path(name);
        std::ofstream(command.input) << content;
        return command;
    }

    [[nodiscard]] static Command intoPipe(Command command) {
        command.words.insert(command.words.begin(), {"sh", "-c", "\"$@\" | cat", "sh"});
        return command;
    }

    [[nodiscard]] Command smallest() const { return orvex(store(10), {"get-total-count"}); }

    static std::vector<std::string> selectRare(const std::string& option) {
        if (option == "handles") {
            return {"get-all-messages", "-handles", rareSender};
        }
        if (option == "types") {
            return {"get-all-messages", "-p", "0", "-mt", "0"};
        }
        std::vector<std::string> words = {"get-all-messages", "--recordUUIDs"};
        for (std::uint64_t number = 0; number < 10; ++number) {
            words.push_back(recordUUIDText(number * 97));
        }
        return words;
    }

    void start() {
        const Comparison comparison =
            compare(rounds(400), smallest(), sqlite(store(10), {"select count(*) from messages"}));
        printRow("start-up: `get-total-count`, 10 messages", comparison, 1.3);
    }

    void count() {
        printRow("`get-total-count`, of all; peer: of 1,000",
                 compare(rounds(50), orvex(store(largest_), {"get-total-count"}),
                         orvex(store(1000), {"get-total-count"})),
                 1.2);
    }

    void filter() {
        const std::pair<std::string, std::string> filters[] = {{"by handle, 100 hits", "handles"},
                                                               {"by record UUID, 10", "uuids"},
                                                               {"by provider and type, 1,000 hits", "types"}};
        for (const auto& [name, option] : filters) {
            printRow("`get-all-messages` " + name + "; peer: own start-up",
                     compare(rounds(100), orvex(store(largest_), selectRare(option)), smallest()), 1.5);
        }
    }

    void list() {
        const Command ours = orvex(store(largest_), {"get-all-messages"});
        const Command peer = sqlite(store(largest_), {"-line", "select * from messages"});
        const Comparison comparison = compare(rounds(5), ours, peer);
        printRow("`get-all-messages` to /dev/null", comparison, 0.45);
        printRow("the same into a pipe", compare(rounds(5), intoPipe(ours), intoPipe(peer)), 0.45);
        printMemory(comparison, ours);
    }

    /// Compares the peak memory of a list with the bytes that it prints.
    void printMemory(const Comparison& comparison, Command list) const {
        list.words.insert(list.words.begin(), {"sh", "-c", "\"$@\" | wc -c", "sh"});
        const double printed = std::stod(answer(list));
        const double memory = median(comparison.ours, &Cost::memory);
        std::printf(
            "| peak memory of that list; peer: the bytes it prints | %s | %s | %.2f × | | 0.80 × | |\n",
            sizeText(memory).c_str(), sizeText(printed).c_str(), memory / printed);
        std::fflush(stdout);
    }

    [[nodiscard]] fs::path coloredList() const {
        Command list = orvex(store(largest_), {"get-all-messages"});
        list.output = path("list");
        Orvex::Bench::run(list);
        return list.output;
    }

    void strip() {
        const Command peer{.words = {self_, "strip", coloredList()}};
        printRow("`get-all-messages -nc`; peer: bare loop with ICU",
                 compare(rounds(3), orvex(store(largest_), {"get-all-messages", "-nc"}), peer), 1.25);
    }

    /// Copies a store and waits until the copy is on the disk.
    fs::path copyStore(std::uint64_t count, const std::string& name) const {
        fs::copy_file(store(count), path(name), fs::copy_options::overwrite_existing);
        sync();
        return path(name);
    }

    /// Deletes all screened calls of the provider Zelvo, in batches of 100.
    [[nodiscard]] Command deletionFrom(const std::string& store) const {
        return into("yes", "y\n", orvex(store, {"delete-message", "-a", "-p", "1", "-mt", "0"}));
    }

    [[nodiscard]] Comparison deletionOf(std::uint64_t count, int times) const {
        std::string sql = "PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = FULL;\n";
        for (const std::vector<std::string>& batch : callsInBatches(count)) {
            sql += "BEGIN IMMEDIATE;\n";
            for (std::string digits : batch) {
                std::erase(digits, '-');
                sql += "DELETE FROM messages WHERE record_uuid = x'" + digits + "';\n";
            }
            sql += "COMMIT;\n";
        }
        const std::string copy = path("changed");
        const Command peer = into("deletions", sql, {.words = {"sqlite3", "-batch", copy}});
        return compare(times, deletionFrom(copy), peer, [&] { copyStore(count, "changed"); });
    }

    void deletion() {
        printRow("`delete-message -a` of every tenth, in batches of 100",
                 deletionOf(largest_, isQuick_ ? 1 : 3), 1.0);
    }

    [[nodiscard]] Comparison saveInto(std::uint64_t count, int times) const {
        return compare(
            times, orvex(copyStore(count, "ours"), {"save-message", "-frm", "ann@example.com"}),
            sqlite(copyStore(count, "peers"),
                   {"PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = FULL; INSERT INTO messages "
                    "(record_uuid, conversation_id, type, provider, mailbox, sender, created, duration, "
                    "read, sensitive, rtt, transcription, message_file, sim_id, quality) VALUES "
                    "(randomblob(16), randomblob(16), 2, 2, 0, 'ann@example.com', 1793265000000, 0, 0, 0, "
                    "0, 0, 'file:///tmp/video.mov', '59C5063D-14E9-455A-8509-59D607362C9D', 1)"}));
    }

    void save() { printRow("`save-message`, each of 500 processes", saveInto(1000, rounds(500)), 1.2); }

    void voicemails() {
        constexpr std::uint64_t voicemails = 10'000;
        const fs::path file = path("voicemails");
        const fs::path folder = path("transcripts");
        if (!fs::exists(file)) {
            Orvex::Bench::run(
                {.words = {self_, "make-voicemails", file, std::to_string(voicemails), folder}});
        }
        printRow("`voicemail-messages`, 10,000 transcripts of 2 KB; peer: reading them",
                 compare(rounds(15), orvex(file, {"voicemail-messages"}), {.words = {self_, "read", folder}}),
                 3.0);
    }

    void video() {
        const fs::path file =
            made("video.mov", "make-video", (isQuick_ ? std::uint64_t{1} << 27U : std::uint64_t{1} << 30U));
        const auto clear = [&] {
            fs::remove_all(path("outbox"));
            fs::remove(path("copy"));
            sync();
        };
        const Command ours =
            orvex(path("none"), {"send-video-message", "--video-url", file, "--sender-handle",
                                 "ann@example.com", "--destination-handles", "bob@example.com"});
        const Command peer{
            .words = {"sh", "-c", "cp \"$1\" \"$2\" && sync \"$2\"", "sh", file, path("copy")}};
        printRow("`send-video-message` of 1 GiB; peer: `cp` and `sync`", compare(5, ours, peer, clear), 1.05);
        clear();
    }

    [[nodiscard]] std::array<std::uint64_t, 2> sharedSizes() const { return {largest_, 5 * largest_}; }

    void sharedStart() {
        const std::string name = sharedStore(10);
        printRow("shared `get-total-count`, 10 messages; peer: `psql -c`",
                 compare(rounds(200), orvex(server().uri(name), {"get-total-count"}),
                         psql(name, {"-c", "SELECT count(*) FROM orvex.messages"})),
                 1.3);
    }

    void sharedList() {
        for (const std::uint64_t count : sharedSizes()) {
            const std::string name = sharedStore(count);
            const Command ours = orvex(server().uri(name), {"get-all-messages"});
            const Comparison comparison = compare(
                rounds(3), ours, psql(name, {"-x", "-c", "SELECT * FROM orvex.messages ORDER BY id"}));
            printRow("shared `get-all-messages`, " + std::to_string(count) + "; peer: `psql -x`", comparison,
                     0.6);
            printMemory(comparison, ours);
        }
    }

    /// The transactions of Orvex: under the lock of changes, 100 messages each.
    static std::string sharedDeletions(std::uint64_t count) {
        std::string sql;
        for (const std::vector<std::string>& batch : callsInBatches(count)) {
            sql += "BEGIN \\; SELECT pg_advisory_xact_lock(1332901496);\n"
                   "DELETE FROM orvex.messages WHERE record_uuid = ANY ('{";
            for (const std::string& recordUUID : batch) {
                sql += recordUUID + ",";
            }
            sql.back() = '}';
            sql += "');\nCOMMIT;\n";
        }
        return sql;
    }

    void sharedDeletion() {
        // psql is quickest if it does not align columns.
        const std::string list =
            "\\a\nSELECT * FROM orvex.messages WHERE provider = 2 AND type = 0 ORDER BY id;\n";
        for (const std::uint64_t count : sharedSizes()) {
            const std::string name = sharedStore(count);
            const auto copy = [&] {
                runSQL("postgres", {"DROP DATABASE IF EXISTS changed",
                                    "CREATE DATABASE changed TEMPLATE " + name + " STRATEGY file_copy"});
            };
            const std::string work = "shared `delete-message -a`, " +
                                     std::to_string(count / callDistance(count)) + " of " +
                                     std::to_string(count) + "; peer: `psql`, ";
            const std::string deletions = sharedDeletions(count);
            for (const auto& [peers, sql] : {std::pair("the transactions", deletions),
                                             std::pair("the list before them, too", list + deletions)}) {
                const Command peer = into("deletions", sql, psql("changed", {}));
                printRow(work + peers, compare(rounds(5), deletionFrom(server().uri("changed")), peer, copy),
                         1.0);
            }
            runSQL("postgres", {"DROP DATABASE changed"});
        }
    }

    void growth() {
        std::puts(
            "\n| Messages | List | By handle | Delete a tenth, each batch | Save |\n|---|---|---|---|---|");
        for (std::uint64_t count = 1000; count <= largest_; count *= 10) {
            const auto timeOf = [&](const Command& command) {
                std::vector<Cost> costs;
                for (int i = 0; i < 5; ++i) {
                    costs.push_back(Orvex::Bench::run(command));
                }
                return median(costs, &Cost::wall);
            };
            const double list = timeOf(orvex(store(count), {"get-all-messages"}));
            const double filter = timeOf(orvex(store(count), selectRare("handles")));
            const double batches = static_cast<double>(count) / 1000;
            const double deletion = median(deletionOf(count, 1).ours, &Cost::wall) / batches;
            const double save = median(saveInto(count, 20).ours, &Cost::wall);
            std::printf("| %lu | %s | %s | %s | %s |\n", count, timeText(list).c_str(),
                        timeText(filter).c_str(), timeText(deletion).c_str(), timeText(save).c_str());
            std::fflush(stdout);
        }
    }

    const std::string self_ = fs::read_symlink("/proc/self/exe").native();
    fs::path folder_;
    bool isQuick_;
    std::uint64_t largest_;
    std::optional<Orvex::Testing::PostgreSQLServer> server_;
};

} // namespace

/// scripts/bench runs `run`; the other actions are for child processes.
int main(int argc, char* argv[]) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    try {
        const std::string& action = words.at(0);
        const std::string& file = words.at(1);
        if (action == "run") {
            const bool isQuick = words.size() > 2 && words[2] == "--quick";
            Bench(fs::absolute(file), isQuick).run({words.begin() + (isQuick ? 3 : 2), words.end()});
        } else if (action == "make-store") {
            makeStore(file, std::stoull(words.at(2)));
        } else if (action == "make-lines") {
            makeLines(file, std::stoull(words.at(2)));
        } else if (action == "make-voicemails") {
            makeVoicemails(file, words.at(3), std::stoull(words.at(2)));
        } else if (action == "make-video") {
            makeVideo(file, std::stoull(words.at(2)));
        } else if (action == "strip") {
            stripTexts(file);
        } else if (action == "read") {
            readFiles(file);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvex_bench: %s\n", error.what());
        return 1;
    }
}
