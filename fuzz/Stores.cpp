#include "Stores.h"

#include "Foundation/Async.h"
#include "Fuzzing.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sqlite3.h>
#include <utility>
#include <vector>

namespace Orvex::Fuzzing {

using std::filesystem::path;

namespace {

const std::string commonSender(20, 'x');

UUID numberedUUID(unsigned char number) {
    return UUID({0xA0, 0xB1, 0xC2, 0xD3, 0xE4, 0xF5, 0x46, 7, 0x88, 9, 10, 11, 12, 13, 14, number});
}

StoredMessage numberedMessage(unsigned char number) {
    const bool isVoicemail = number % 2 == 0;
    StoredMessage message{.conversationID = numberedUUID(0xFF),
                          .messageFile = FileURL::fromPath("/media/file.mov"),
                          .thumbnail = FileURL::fromPath("/media/thumbnail.png"),
                          .type = isVoicemail ? MessageType::audio : MessageType::video,
                          .transcriptURL = FileURL::fromPath("/media/transcript.plist"),
                          // The first sender needs overflow pages.
                          .from = number == 0 ? std::string(5000, 'x') : commonSender,
                          .provider = isVoicemail ? MessageProvider::Telephony : MessageProvider::Zelvo,
                          .recipient = "+15550100",
                          .simID = "SIM"};
    message.recordUUID = numberedUUID(number);
    return message;
}

std::string shown(bool value) {
    return value ? "true" : "false";
}
std::string shown(std::int64_t number) {
    return std::to_string(number);
}
std::string shown(AccountStatus status) {
    return std::to_string(static_cast<std::int64_t>(status));
}
std::string shown(const StoredMessage& message) {
    return message.recordUUID.text() + "\n";
}
std::string shown(const std::vector<StoredMessage>& messages) {
    std::string identifiers;
    for (const StoredMessage& message : messages) {
        identifiers += shown(message);
    }
    return identifiers;
}
std::string records(const std::vector<StoredMessage>& messages) {
    std::string text;
    for (const StoredMessage& message : messages) {
        text += message.description() + "\n";
    }
    expect(isHarmlessRecord(text), "no text of a store is obeyed or ends its line");
    return text;
}

/// Keeps the result of an operation, or nothing if the store refuses it, and its text.
template <class T>
Async<void> attempt(Async<T> operation, std::optional<T>& result, std::string& said) {
    try {
        result = co_await std::move(operation);
        said = shown(*result);
    } catch (const MessageStoreError& error) {
        expect(isHarmlessLine(error.what()), "no byte of a store is obeyed by a terminal");
        said = error.what();
    }
}
template <class T>
std::optional<T> yieldOf(Async<T> operation, std::string& said) {
    std::optional<T> result;
    std::string saidNow;
    runToCompletion(attempt(std::move(operation), result, saidNow));
    said += saidNow + "\n";
    return result;
}

Async<bool> done(Async<void> operation) {
    co_await std::move(operation);
    co_return true;
}

/// True if SQLite finds nothing wrong in the file, for instance in an index. It does not touch the file.
bool isSound(const path& file) {
    sqlite3* database = nullptr;
    sqlite3_open_v2(("file:" + file.native() + "?immutable=1").c_str(), &database,
                    SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    std::string found;
    sqlite3_exec(
        database, "PRAGMA integrity_check",
        [](void* text, int, char** values, char**) {
            return static_cast<std::string*>(text)->append(values[0]), 0;
        },
        &found, nullptr);
    sqlite3_close(database);
    return found == "ok";
}

/// Reads a store in every way and returns all results as text. If the file is sound, lookups must agree with
/// lists.
std::string reading(const path& file, bool sound) {
    SQLiteMessageStore store(file);
    std::string said;
    yieldOf(store.isTranscriptionEnabled(), said);
    yieldOf(store.accountStatus(), said);
    const auto count = yieldOf(store.messageCount(), said);
    const auto all = yieldOf(store.allMessages(), said);
    const auto expectFound = [&](Async<std::vector<StoredMessage>> operation, auto isMeant) {
        const auto found = yieldOf(std::move(operation), said);
        if (all && sound) {
            std::vector<StoredMessage> meant;
            std::copy_if(all->begin(), all->end(), std::back_inserter(meant), isMeant);
            expect(found && shown(*found) == shown(meant), "of what is listed, what is looked up is found");
        }
    };
    said += records(all.value_or(std::vector<StoredMessage>{}));
    expect(!all || !sound || count == std::ssize(*all), "as many messages are listed as are counted");
    expectFound(store.voicemailMessages(MessageProvider::Telephony, MessageType::audio),
                [](const StoredMessage& each) { return each.voicemailID.has_value(); });
    expectFound(store.messages(std::vector{numberedUUID(0), numberedUUID(1)}), [](const StoredMessage& each) {
        return each.recordUUID == numberedUUID(0) || each.recordUUID == numberedUUID(1);
    });
    expectFound(store.messages(std::vector<std::string>{commonSender}),
                [](const StoredMessage& each) { return each.from == commonSender; });
    expectFound(store.messages(std::vector{MessageProvider::Zelvo}, std::vector{MessageType::video}),
                [](const StoredMessage& each) {
                    return each.provider == MessageProvider::Zelvo && each.type == MessageType::video;
                });
    expectFound(store.messages(MessageQuery{.voicemailIDs = {1, 2}}, 2, 0),
                [](const StoredMessage& each) { return each.voicemailID == 1 || each.voicemailID == 2; });
    return said;
}

void check(const path& file) {
    // The first operation rolls the journal back. If that is damaged, later operations may fail.
    std::string said;
    yieldOf(SQLiteMessageStore(file).messageCount(), said);
    const bool sound = isSound(file);
    expect(reading(file, sound) == reading(file, sound), "what is read twice is the same");
}

} // namespace

WorkingFolder::WorkingFolder() {
    const path memory = "/dev/shm";
    std::string name =
        ((exists(memory) ? memory : std::filesystem::temp_directory_path()) / "orvex-fuzz-XXXXXX").native();
    expect(mkdtemp(name.data()) != nullptr, "there is a folder to work in");
    path_ = name;
}

WorkingFolder::~WorkingFolder() {
    std::filesystem::remove_all(path_);
}

std::string bytesOf(const path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void writeBytes(const path& file, std::string_view bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

ValidStores::ValidStores(const path& file) {
    {
        constexpr unsigned char messages = 40;
        SQLiteMessageStore store(file);
        for (unsigned char number = 0; number < messages; ++number) {
            std::string said;
            expect(yieldOf(store.saveMessage(numberedMessage(number)), said).has_value(), said.c_str());
        }
    }
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    // The stored count would be believed, although the fuzzer changes the messages.
    sqlite3_exec(database,
                 "UPDATE messages SET created = 1700000000000 + id;"
                 "DELETE FROM settings WHERE name LIKE 'messageCount%'",
                 nullptr, nullptr, nullptr);
    whole = {bytesOf(file), ""};
    sqlite3_exec(database, "PRAGMA journal_mode = TRUNCATE; BEGIN; UPDATE messages SET sender = 'changed'",
                 nullptr, nullptr, nullptr);
    sqlite3_db_cacheflush(database);
    interrupted = {bytesOf(file), bytesOf(path(file) += "-journal")};
    sqlite3_close(database);
    expect(interrupted.store != whole.store && !interrupted.journal.empty(), "the change was interrupted");
}

void tryStore(const path& file) {
    check(file);
    std::string said;
    {
        SQLiteMessageStore store(file);
        yieldOf(store.saveMessage(numberedMessage(0xFE)), said);
        yieldOf(done(store.updateMessage(
                    {{.recordUUID = numberedUUID(3), .provider = MessageProvider::Telephony}})),
                said);
        yieldOf(done(store.deleteMessages({numberedUUID(4)})), said);
    }
    check(file);
}

} // namespace Orvex::Fuzzing
