#include "SendingService/OutboxSendingService.h"
#include "Support.h"
#include "ZelvoMessageStore/SQLiteMessageStore.h"
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvex::Testing {
namespace {

using std::filesystem::path;
using std::filesystem::perms;

/// A store and an outbox beside it, in folders that are still to be made.
class PrivacyTest : public testing::Test {
  protected:
    PrivacyTest() { writeFile(folder / "video.mov", "moving pictures"); }

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

TEST_F(PrivacyTest, WhatIsMadeIsForItsOwnerAloneWhateverTheUmask) {
    std::filesystem::permissions(folder / "", perms::all);
    for (const mode_t mask : {0U, 0277U, 0777U}) {
        EXPECT_THAT(runInProcesses(1,
                                   [&](int) {
                                       // What root may do does not depend on modes: be somebody else.
                                       if (geteuid() == 0 && setuid(65534) != 0) {
                                           throw std::runtime_error("still root");
                                       }
                                       umask(mask);
                                       save();
                                       send();
                                   }),
                    testing::ElementsAre(0));
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
    const std::pair<path, perms> chosen[] = {{store, perms(0644)},
                                             {store.parent_path(), perms(0755)},
                                             {outbox, perms(0750)},
                                             {outbox / "new", perms(0770)}};
    for (const auto& [each, mode] : chosen) {
        permissions(each, mode);
    }
    save();
    send();
    for (const auto& [each, mode] : chosen) {
        EXPECT_EQ(status(each).permissions(), mode) << each;
    }
    EXPECT_EQ(status(path(store) += "-journal").permissions(), status(store).permissions());
}

TEST_F(PrivacyTest, NoLinkLeadsAWriteElsewhere) {
    const path elsewhere = folder / "elsewhere";
    struct Case {
        std::string link;
        /// The bytes of the file that the link leads to; a folder with a file in it where there are none.
        std::optional<std::string> content;
    };
    std::vector<Case> cases = {
        {"outbox", {}}, {"outbox/tmp", {}}, {"outbox/new", {}}, {"outbox/tmp/entry", {}}};
    save();
    for (const std::string suffix : {"", "-journal", "-wal"}) {
        for (const std::string& content :
             {readFile(store), std::string(), std::string("\xd9\xd5\x05\xf9\x20\xa1\x63\xd7")}) {
            cases.push_back({"messages.db" + suffix, content});
        }
    }
    for (const Case& each : cases) {
        for (const bool isStore : {true, false}) {
            remove_all(folder / "made");
            remove_all(elsewhere);
            if (isStore) {
                save();
            }
            const path link = store.parent_path() / each.link;
            create_directories(link.parent_path());
            std::filesystem::remove(link);
            if (each.content) {
                writeFile(elsewhere, *each.content);
                create_symlink(elsewhere, link);
            } else {
                create_directory(elsewhere);
                writeFile(elsewhere / "kept", "");
                create_directory_symlink(elsewhere, link);
            }
            bool succeeds = true;
            try {
                each.content ? save() : send();
            } catch (const std::runtime_error&) {
                succeeds = false;
            }
            // An entry that was abandoned is no reason not to send.
            EXPECT_EQ(succeeds, each.link == "outbox/tmp/entry") << each.link << isStore;
            if (each.content) {
                EXPECT_EQ(readFile(elsewhere), *each.content) << each.link << isStore;
            } else {
                const auto entries = std::filesystem::recursive_directory_iterator(elsewhere);
                EXPECT_EQ(std::distance(begin(entries), end(entries)), 1) << each.link;
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
