#include "Generator.h"

#include "Orvex/model/StoredMessage.h"
#include "VoxArchive/VMVoicemailTranscript.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string_view>

namespace Orvex::Bench {

namespace {

/// The SplitMix64 hash of a number.
std::uint64_t scattered(std::uint64_t number) {
    std::uint64_t z = (number + 1) * 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
}

UUID uuid(std::uint64_t number) {
    UUID::Bytes bytes{};
    const std::array<std::uint64_t, 2> halves = {scattered(2 * number), scattered(2 * number + 1)};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(halves[i / 8] >> (i % 8 * 8));
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0FU) | 0x40U);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3FU) | 0x80U);
    return UUID(bytes);
}

// The first numbers of UUIDs of conversations and calls.
constexpr std::uint64_t conversations = std::uint64_t{1} << 40U;
constexpr std::uint64_t calls = std::uint64_t{1} << 41U;

std::string sender(std::uint64_t number, std::uint64_t count) {
    constexpr std::uint64_t hits = 100;
    const std::uint64_t distance = count / hits;
    if (distance > 9 && number % distance == 7) {
        return rareSender;
    }
    // Several thousand people, with telephone numbers or addresses; some have letters outside of ASCII.
    const std::uint64_t person = scattered(number) % 9000;
    if (person % 3 == 0) {
        return "+1555" + std::to_string(1000000 + person);
    }
    return (person % 50 == 1 ? "zo\u00eb." : "caller.") + std::to_string(person) + "@example.com";
}

class Insertion {
  public:
    explicit Insertion(const std::filesystem::path& file) {
        sqlite3* database = nullptr;
        const int code = sqlite3_open(file.c_str(), &database);
        database_.reset(database);
        check(code);
        execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA cache_size = -400000; BEGIN");
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(database,
                                 ("INSERT INTO messages (" + std::string(columns) +
                                  ") VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)")
                                     .c_str(),
                                 -1, &statement, nullptr));
        statement_.reset(statement);
    }

    Insertion& operator<<(std::int64_t value) {
        check(sqlite3_bind_int64(statement_.get(), ++parameter_, value));
        return *this;
    }
    Insertion& operator<<(double value) {
        check(sqlite3_bind_double(statement_.get(), ++parameter_, value));
        return *this;
    }
    Insertion& operator<<(const std::string& value) {
        check(sqlite3_bind_text(statement_.get(), ++parameter_, value.data(), static_cast<int>(value.size()),
                                SQLITE_TRANSIENT));
        return *this;
    }
    Insertion& operator<<(const UUID& value) {
        check(sqlite3_bind_blob(statement_.get(), ++parameter_, value.bytes().data(),
                                static_cast<int>(value.bytes().size()), SQLITE_TRANSIENT));
        return *this;
    }
    Insertion& operator<<(std::nullptr_t) {
        check(sqlite3_bind_null(statement_.get(), ++parameter_));
        return *this;
    }

    void endRow() {
        if (sqlite3_step(statement_.get()) != SQLITE_DONE) {
            throw std::runtime_error(sqlite3_errmsg(database_.get()));
        }
        sqlite3_reset(statement_.get());
        parameter_ = 0;
    }

    void execute(const std::string& sql) {
        check(sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr));
    }

  private:
    void check(int code) {
        if (code != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(database_.get()));
        }
    }

    struct Closer {
        void operator()(sqlite3* database) const { sqlite3_close(database); }
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    std::unique_ptr<sqlite3, Closer> database_;
    std::unique_ptr<sqlite3_stmt, Closer> statement_;
    int parameter_ = 0;
};

/// Lines for COPY. No text of these messages needs escapes.
class Lines {
  public:
    explicit Lines(const std::filesystem::path& file) : file_(file) {}

    Lines& operator<<(const std::string& field) {
        line_ += field + '\t';
        return *this;
    }
    Lines& operator<<(std::int64_t value) { return *this << std::to_string(value); }
    Lines& operator<<(double value) { return *this << std::to_string(value); }
    Lines& operator<<(const UUID& value) { return *this << value.text(); }
    Lines& operator<<(std::nullptr_t) { return *this << std::string("\\N"); }

    void endRow() {
        line_.back() = '\n';
        file_ << line_;
        line_.clear();
    }

    void finish() {
        if (!file_.flush()) {
            throw std::runtime_error("cannot write the lines");
        }
    }

  private:
    std::ofstream file_;
    std::string line_;
};

template <class Row>
void insert(Row& row, std::uint64_t number, std::uint64_t count, std::int64_t& lastVoicemailID) {
    const bool isRareCall = number % 1000 == 0;
    const bool isCall = number % callDistance(count) == 5;
    const bool isVoicemail = number % 5 == 3;
    const bool isVideo = !isRareCall && !isCall && !isVoicemail;
    const std::uint64_t random = scattered(number ^ 0xABCDEFU);
    const std::string path =
        "file:///var/lib/messages/2026/" + std::to_string(random % 366) + "/" + recordUUIDText(number);
    row << uuid(number);
    isVoicemail ? row << ++lastVoicemailID : row << nullptr;
    row << uuid(conversations + number / 7);
    random % 2 == 0 ? row << uuid(calls + number) : row << nullptr;
    row << std::int64_t{isVideo ? 2 : isVoicemail ? 1 : 0};
    row << std::int64_t{isRareCall || isVoicemail ? 1 : 2};
    row << static_cast<std::int64_t>(random % 16 == 0 ? 2 : 0) << sender(number, count);
    random % 8 < 6 ? row << std::string("+15550100") : row << nullptr;
    constexpr std::int64_t spring = 1772323200000;
    row << spring + static_cast<std::int64_t>(number * 1733 + random % 1000);
    row << static_cast<double>(random % 90000) / 1000.0;
    row << static_cast<std::int64_t>(random / 16 % 2) << std::int64_t{0} << std::int64_t{0};
    row << std::int64_t{isVoicemail ? 4 : 0} << path + (isVideo ? ".mov" : ".m4a");
    isVideo ? row << path + "-thumbnail.jpg" : row << nullptr;
    isVoicemail ? row << path + "-transcript.plist" : row << nullptr;
    row << std::string("59C5063D-14E9-455A-8509-59D607362C9D") << static_cast<std::int64_t>(random / 32 % 3);
    row.endRow();
}

/// Creates a missing store, and has the store write its own settings, such as the count of messages.
void change(const std::filesystem::path& file) {
    SQLiteMessageStore store(file);
    const StoredMessage message{
        .conversationID = uuid(0), .messageFile = FileURL::fromPath("/video"), .from = "", .simID = ""};
    runToCompletion([](SQLiteMessageStore& made, StoredMessage first) -> Async<void> {
        const StoredMessage saved = co_await made.saveMessage(std::move(first));
        std::vector<UUID> all(1, saved.recordUUID);
        co_await made.deleteMessages(std::move(all));
    }(store, message));
}

/// A text of `size` bytes with the words of speech and all letters.
std::string speech(std::uint64_t number, std::size_t size) {
    constexpr std::array<std::string_view, 12> words = {"hello",  "this",      "is",          "about",
                                                        "the",    "quick",     "appointment", "on",
                                                        "Friday", "afternoon", "jazz",        "vex"};
    std::string text;
    while (text.size() < size) {
        number = scattered(number);
        text += words[number % words.size()];
        text += ' ';
    }
    text.resize(size);
    return text;
}

} // namespace

std::string recordUUIDText(std::uint64_t number) {
    return uuid(number).text();
}

std::uint64_t callDistance(std::uint64_t count) {
    return std::max(count / 100'000, std::uint64_t{10});
}

void makeLines(const std::filesystem::path& file, std::uint64_t count) {
    Lines row(file);
    std::int64_t lastVoicemailID = 0;
    for (std::uint64_t number = 0; number < count; ++number) {
        insert(row, number, count, lastVoicemailID);
    }
    row.finish();
}

void makeStore(const std::filesystem::path& file, std::uint64_t count) {
    std::filesystem::remove(file);
    change(file);
    {
        Insertion row(file);
        std::int64_t lastVoicemailID = 0;
        for (std::uint64_t number = 0; number < count; ++number) {
            insert(row, number, count, lastVoicemailID);
        }
        row.execute("UPDATE settings SET value = " + std::to_string(lastVoicemailID) +
                    " WHERE name = 'lastVoicemailID'; COMMIT");
    }
    change(file);
}

void makeVoicemails(const std::filesystem::path& file, const std::filesystem::path& folder,
                    std::uint64_t count) {
    makeStore(file, count * 5);
    std::filesystem::create_directories(folder);
    Insertion row(file);
    row.execute("DELETE FROM messages WHERE voicemail_id IS NULL");
    row.execute("UPDATE messages SET transcript = 'file://" + folder.native() +
                "/' || voicemail_id || '.plist'; COMMIT");
    for (std::uint64_t number = 1; number <= count; ++number) {
        // Six segments; the text fills the rest of 2 KB.
        VMVoicemailTranscript transcript{
            .text = speech(number, 1000), .locale = "en_US", .confidence = 0.875, .segments = {}};
        for (std::uint64_t segment = 0; segment < 6; ++segment) {
            const Seconds start(static_cast<double>(segment) * 1.5);
            transcript.segments.push_back({.text = transcript.text->substr(segment * 20, 20),
                                           .timestamp = start,
                                           .duration = Seconds(1.5),
                                           .confidence = 0.5});
        }
        const std::string archive = encodeTranscript(transcript, ArchiveForm::binary);
        constexpr std::size_t size = 2048;
        transcript.text = speech(number, transcript.text->size() + size - std::min(size, archive.size()));
        std::ofstream(folder / (std::to_string(number) + ".plist"))
            << encodeTranscript(transcript, ArchiveForm::binary);
    }
}

void makeVideo(const std::filesystem::path& file, std::uint64_t size) {
    std::ofstream video(file);
    std::array<std::uint64_t, 8192> block{};
    for (std::uint64_t written = 0; written < size; written += sizeof block) {
        for (std::size_t i = 0; i < block.size(); ++i) {
            block[i] = scattered(written + i);
        }
        video.write(reinterpret_cast<const char*>(block.data()), sizeof block);
    }
    if (!video.flush()) {
        throw std::runtime_error("cannot write " + file.native());
    }
}

} // namespace Orvex::Bench
