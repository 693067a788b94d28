#include "Orvex/arguments/Tool.h"
#include "Orvex/commands/AllCommands.h"
#include "Outbox/OutboxSendingService.h"
#include "Support.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvex::Testing {
namespace {

using std::filesystem::path;
using std::filesystem::perms;

/// A store and an outbox in folders that do not exist yet.
class PrivacyTest : public testing::Test {
  protected:
    PrivacyTest() {
        writeFile(folder / "video.mov", "moving pictures");
        permissions(folder / "video.mov", perms(0644));
    }

    void save() const { wait(SQLiteMessageStore(store).saveMessage(newMessage())); }
    void send() const {
        wait(OutboxSendingService(outbox).sendVideoMessage(
            {.recordUUID = UUID::random(),
             .senderHandle = "me",
             .destinationHandles = {"you"},
             .videoURL = FileURL::fromPath((folder / "video.mov").native())}));
    }

    TemporaryFolder folder;
    path store = folder / "made/inner/messages.db";
    path outbox = folder / "made/inner/outbox";
};

TEST_F(PrivacyTest, WhatIsMadeIsForItsOwnerAlone) {
    std::filesystem::permissions(folder / "", perms::all);
    const struct {
        mode_t mask;
        /// True for the program, which sets a umask of its own.
        bool isProgram;
    } cases[] = {{0, false}, {0, true}, {0277, true}, {0777, true}};
    for (const auto& [mask, isProgram] : cases) {
        const auto make = [&] {
            save();
            send();
            _exit(0);
        };
        const auto act = [&, mask = mask, isProgram = isProgram](int) {
            // Modes do not bind root: be somebody else.
            if (geteuid() == 0 && setuid(65534) != 0) {
                throw std::runtime_error("still root");
            }
            umask(mask);
            if (!isProgram) {
                make();
            }
            Tool tool;
            tool.subcommands = allCommands();
            tool.prepare = make;
            const std::string_view command[] = {"get-total-count"};
            _exit(static_cast<int>(run(tool, command)));
        };
        EXPECT_THAT(runInProcesses(1, act), testing::ElementsAre(0));
        std::size_t made = 1;
        EXPECT_EQ(status(folder / "made").permissions(), perms::owner_all);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "made")) {
            const perms expected = entry.is_directory() ? perms::owner_all : perms(0600);
            EXPECT_EQ(entry.status().permissions(), expected) << entry << mask;
            ++made;
        }
        // Two folders, the store and its journal; three folders of the outbox, the entry and its two files.
        EXPECT_EQ(made, 10U);
        remove_all(folder / "made");
    }
}

TEST_F(PrivacyTest, ModesThatWereChosenStay) {
    save();
    send();
    for (const path& each : {store, store.parent_path(), outbox, outbox / "new"}) {
        permissions(each, perms(0750));
    }
    save();
    send();
    for (const path& each : {store, store.parent_path(), outbox, outbox / "new"}) {
        EXPECT_EQ(status(each).permissions(), perms(0750)) << each;
    }
    EXPECT_EQ(status(path(store) += "-journal").permissions(), status(store).permissions());
}

TEST_F(PrivacyTest, NoLinkLeadsAWriteElsewhere) {
    const path elsewhere = folder / "elsewhere";
    save();
    const std::string contents[] = {readFile(store), "", "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7"};
    for (const std::string suffix : {"", "-journal", "-wal"}) {
        for (const std::string& content : contents) {
            for (const bool isStore : {true, false}) {
                remove_all(folder / "made");
                if (isStore) {
                    save();
                }
                const path link = path(store) += suffix;
                create_directories(link.parent_path());
                std::filesystem::remove(link);
                writeFile(elsewhere, content);
                create_symlink(elsewhere, link);
                EXPECT_THROW(save(), MessageStoreError) << suffix << isStore;
                EXPECT_EQ(readFile(elsewhere), content) << suffix << isStore;
            }
        }
    }
    create_directory_symlink(folder / "made", folder / "alias");
    store = folder / "alias/inner/messages.db";
    remove_all(folder / "made/inner");
    EXPECT_NO_THROW(save());
}

} // namespace
} // namespace Orvex::Testing
