#include "Foundation/Async.h"
#include "Fuzzing.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sqlite3.h>
#include <stdexcept>
#include <utility>

namespace Orvex::Fuzzing {

namespace {

using std::filesystem::path;

/// A folder in memory where there is one, gone with the process.
class WorkingFolder {
  public:
    WorkingFolder() {
        const path memory = "/dev/shm";
        std::string name =
            ((exists(memory) ? memory : std::filesystem::temp_directory_path()) / "orvex-fuzz-XXXXXX")
                .native();
        expect(mkdtemp(name.data()) != nullptr, "there is a folder to work in");
        path_ = name;
    }
    ~WorkingFolder() { std::filesystem::remove_all(path_); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

    [[nodiscard]] path operator/(std::string_view name) const { return path_ / name; }

  private:
    path path_;
};

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
                          // Of the first message, one that needs pages of its own.
                          .from = std::string(number == 0 ? 5000 : 20, 'x'),
                          .provider = isVoicemail ? MessageProvider::Telephony : MessageProvider::Zelvo,
                          .recipient = "+15550100",
                          .simID = "SIM"};
    message.recordUUID = numberedUUID(number);
    return message;
}

/// Awaits one operation of the store, which may be refused.
template <class T>
Async<void> attempt(Async<T> operation) {
    try {
        static_cast<void>(co_await std::move(operation));
    } catch (const MessageStoreError& error) {
        expect(isHarmless(error.what()), "no byte of a store is obeyed by a terminal");
    }
}
Async<void> attempt(Async<void> operation) {
    try {
        co_await std::move(operation);
    } catch (const MessageStoreError& error) {
        expect(isHarmless(error.what()), "no byte of a store is obeyed by a terminal");
    }
}

template <class T>
void tryOperation(Async<T> operation) {
    runToCompletion(attempt(std::move(operation)));
}

/// The bytes of a store with some messages, the same in every run.
std::string validStore(const path& file) {
    constexpr unsigned char messages = 40;
    SQLiteMessageStore store(file);
    for (unsigned char number = 0; number < messages; ++number) {
        tryOperation(store.saveMessage(numberedMessage(number)));
    }
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    sqlite3_exec(database, "UPDATE messages SET created = 1700000000000 + id", nullptr, nullptr, nullptr);
    sqlite3_close(database);
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Applies patches of three bytes each: where, in two of them, and what to put there. One behind the end cuts
/// the store short instead.
std::string patched(std::string store, std::string_view patches) {
    const std::size_t size = store.size();
    for (; patches.size() >= 3; patches.remove_prefix(3)) {
        const std::size_t where = std::size_t{static_cast<unsigned char>(patches[0])} << 8U |
                                  static_cast<unsigned char>(patches[1]);
        if (where < store.size()) {
            store[where] = patches[2];
        } else if (where >= size) {
            store.resize(std::min(store.size(), (where - size) * 16 + 1));
        }
    }
    return store;
}

} // namespace

/// The input says what is changed in the file of a valid store.
void tryInput(std::string_view input) {
    static const WorkingFolder folder;
    static const std::string valid = validStore(folder / "valid.db");
    static const path file = folder / "messages.db";
    std::ofstream(file, std::ios::binary) << patched(valid, input);

    SQLiteMessageStore store(file);
    tryOperation(store.isTranscriptionEnabled());
    tryOperation(store.messageCount());
    tryOperation(store.accountStatus());
    tryOperation(store.allMessages());
    tryOperation(store.voicemailMessages(MessageProvider::Telephony, MessageType::audio));
    tryOperation(store.messages(std::vector{numberedUUID(0), numberedUUID(1)}));
    tryOperation(store.messages(std::vector<std::string>{std::string(20, 'x')}));
    tryOperation(store.messages(std::vector{MessageProvider::Zelvo}, std::vector{MessageType::video}));
    tryOperation(store.messages(MessageQuery{.voicemailIDs = {1, 2}}, 1, 1));
    tryOperation(store.saveMessage(numberedMessage(0xFE)));
    tryOperation(
        store.updateMessage({{.recordUUID = numberedUUID(3), .provider = MessageProvider::Telephony}}));
    tryOperation(store.deleteMessages({numberedUUID(4)}));
    std::filesystem::remove(path(file) += "-journal");
    std::filesystem::remove(path(file) += "-wal");
}

} // namespace Orvex::Fuzzing
