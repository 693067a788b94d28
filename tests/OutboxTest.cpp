#include "Faults.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/JSON.h"
#include "Outbox/Folder.h"
#include "Outbox/OutboxSendingService.h"
#include "Support.h"
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvex::Testing {
namespace {

using std::filesystem::path;
using testing::IsEmpty;

class OutboxTest : public testing::Test {
  protected:
    OutboxTest() { writeFile(video, "moving pictures"); }

    [[nodiscard]] VideoMessageRequest request() const {
        return {.recordUUID = UUID::random(),
                .senderHandle = "+15550100",
                .destinationHandles = {"ann@example.com", "+15550101"},
                .videoURL = FileURL::fromPath(video.native())};
    }

    /// The error that ends sending; empty if it succeeds.
    std::string errorOfSending(const VideoMessageRequest& message, const Fault& fault = {}) const {
        const Faults faults(fault);
        return errorOf<SendingServiceError>(
            [&] { wait(OutboxSendingService(outbox).sendVideoMessage(message)); });
    }
    [[nodiscard]] std::string errorOfSending(const Fault& fault = {}) const {
        return errorOfSending(request(), fault);
    }

    /// Has another program do something at each system call of the sender in turn.
    static int interrupt(const std::function<void()>& interruption,
                         const std::function<void(const Fault&)>& attempt) {
        return atEachCall({.effect = Effect::interruption, .interruption = interruption}, attempt);
    }

    static std::vector<path> entries(const path& folder) {
        std::vector<path> names;
        std::error_code missing;
        for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
            names.push_back(entry.path());
        }
        return names;
    }

    /// Expects `count` published entries, each of them whole.
    void expectWhole(std::size_t count) {
        const std::vector<path> published = entries(outbox / "new");
        EXPECT_EQ(published.size(), count);
        for (const path& entry : published) {
            const auto json = nlohmann::json::parse(readFile(entry / "request.json"));
            EXPECT_EQ(json.at("recordUUID"), entry.filename().native());
            EXPECT_EQ(readFile(entry / json.at("video")), readFile(video));
            EXPECT_EQ(json.at("size"), file_size(video));
        }
    }

    /// An outbox with another message, and an entry whose writer died.
    void makeOutbox() {
        remove_all(outbox.parent_path());
        create_directories(outbox / "new");
        create_directories(outbox / "tmp" / abandoned);
        permissions(outbox / "tmp", std::filesystem::perms::owner_all);
        writeFile(outbox / "tmp" / abandoned / "video.MOV", "moving");
    }

    enum Outcome { died, failed, mayBeSent, succeeded, wrong };

    /// Sends with a fault, sends again without it if that fails, and lets power fail.
    [[nodiscard]] Outcome outcomeOf(const Fault& fault) const {
        watchDisk(folder / "");
        const std::string error = errorOfSending(fault);
        Outcome outcome = succeeded;
        if (!error.empty()) {
            const std::string rest = "; the message may be sent all the same";
            outcome = error.ends_with(rest) ? mayBeSent : failed;
            EXPECT_THAT(error, testing::MatchesRegex(
                                   R"(cannot (send the video|put the video message into the outbox ".*": )"
                                   R"(cannot .*) ".*": (it cannot be read: )?)" +
                                   std::generic_category().message(fault.error) + "(" + rest + ")?"));
            EXPECT_EQ(entries(outbox / "new").size(), outcome == mayBeSent ? 1U : 0U);
            if (fault.times == 1) {
                EXPECT_THAT(entries(outbox / "tmp"), testing::IsSubsetOf({outbox / "tmp" / abandoned}));
            }
            EXPECT_EQ(errorOfSending({.copyError = fault.copyError}), "");
        }
        losePower(fault.loss);
        return HasFailure() ? wrong : outcome;
    }

    TemporaryFolder folder;
    const std::string abandoned = UUID::random().text();
    path video = folder / "my video.MOV";
    path outbox = folder / "a/outbox";
};

/// JSON in the form that the outbox has always had, by a writer that is not ours.
std::string indented(const std::string& json) {
    return nlohmann::ordered_json::parse(json).dump(2) + "\n";
}

TEST(JSON, IsWrittenAsAnotherWriterDoes) {
    std::string all = "\u0080é\u2028😀";
    for (char c = 0; c != 0x7F; ++c) {
        all += c;
    }
    EXPECT_EQ(jsonString(all + '\x7F'), nlohmann::json(all + '\x7F').dump());
    const std::string object = jsonObject({{"s", jsonString("")}, {"a", jsonArray({"1", "[]"}, 2)}}, 1);
    const std::string whole = jsonObject({{"none", jsonArray({}, 1)}, {"object", object}}) + "\n";
    EXPECT_EQ(whole, indented(whole));
}

TEST_F(OutboxTest, KeepsTheVideoAndTheRequest) {
    const path notOurs[] = {outbox / "tmp/thesis/chapter1", outbox / "tmp" / abandoned / "chapter1",
                            outbox / "tmp" / UUID::random().text()};
    create_directories(notOurs[0]);
    create_directories(notOurs[1]);
    permissions(outbox / "tmp", std::filesystem::perms::owner_all);
    writeFile(notOurs[2], "");
    const VideoMessageRequest message = request();
    ASSERT_EQ(errorOfSending(message), "");
    const path entry = outbox / "new" / message.recordUUID.text();
    EXPECT_THAT(entries(outbox / "new"), testing::ElementsAre(entry));
    EXPECT_EQ(entries(outbox / "tmp").size(), std::size(notOurs));
    for (const path& each : notOurs) {
        EXPECT_TRUE(exists(each)) << each;
    }
    EXPECT_EQ(readFile(entry / "video.MOV"), "moving pictures");
    auto json = nlohmann::json::parse(readFile(entry / "request.json"));
    EXPECT_EQ(readFile(entry / "request.json"), indented(readFile(entry / "request.json")));
    EXPECT_THAT(json.at("created").get<std::string>(), testing::EndsWith("Z"));
    json.erase("created");
    EXPECT_EQ(json, (nlohmann::json{{"recordUUID", message.recordUUID.text()},
                                    {"sender", "+15550100"},
                                    {"destinations", {"ann@example.com", "+15550101"}},
                                    {"provider", 2},
                                    {"originalURL", message.videoURL.text()},
                                    {"video", "video.MOV"},
                                    {"size", 15}}));
}

TEST_F(OutboxTest, KeepsOrdinaryExtensionsAlone) {
    const std::pair<std::string_view, std::string_view> cases[] = {{"v", "video"},
                                                                   {"v.", "video"},
                                                                   {".mov", "video"},
                                                                   {"v.m4v", "video.m4v"},
                                                                   {"v.m v", "video"},
                                                                   {"v.\x1b", "video"},
                                                                   {"v.abcdefghijklmnopq", "video"}};
    for (const auto& [name, expected] : cases) {
        rename(video, folder / name);
        video = folder / name;
        const VideoMessageRequest message = request();
        ASSERT_EQ(errorOfSending(message), "");
        EXPECT_TRUE(exists(outbox / "new" / message.recordUUID.text() / expected)) << name;
    }
}

TEST_F(OutboxTest, RefusesWhatCannotBeSentAndLeavesNothing) {
    const auto expectError = [&](const VideoMessageRequest& message, const std::string& error) {
        EXPECT_EQ(errorOfSending(message), "cannot send the video" + error);
        EXPECT_FALSE(exists(outbox));
    };
    const std::string unfit = " has a control character, or bytes that are not UTF-8";
    const std::pair<std::string, std::string> handles[] = {
        {"", "is empty"},
        {"a\nb", R"("a\nb")" + unfit},
        {"\x7f", R"("\u{7F}")" + unfit},
        {"\u0085", R"("\u{85}")" + unfit},
        {"\xff", R"("\xFF")" + unfit},
    };
    for (const auto& [handle, fault] : handles) {
        VideoMessageRequest message = request();
        message.senderHandle = handle;
        expectError(message, " message: the sender's handle " + fault);
        message = request();
        message.destinationHandles.push_back(handle);
        expectError(message, " message: the destination handle " + fault);
    }
    VideoMessageRequest toNobody = request();
    toNobody.destinationHandles.clear();
    expectError(toNobody, " message: there is no destination");

    const std::string itself = " \"" + video.native() + "\": it ";
    writeFile(video, "");
    expectError(request(), itself + "is empty");
    std::filesystem::remove(video);
    expectError(request(), itself + "cannot be read: No such file or directory");
    create_directory(video);
    expectError(request(), itself + "is a folder, not a file");
}

TEST_F(OutboxTest, CopiesThroughMemoryWhereTheKernelCannot) {
    std::string large;
    for (int i = 0; i < 1200000; ++i) {
        large += static_cast<char>(i * 31 % 251);
    }
    writeFile(video, large);
    for (const int error : {EXDEV, EINVAL, ENOSYS, EOPNOTSUPP, EPERM, -1}) {
        EXPECT_EQ(errorOfSending({.copyError = error}), "");
    }
    expectWhole(6);
}

TEST_F(OutboxTest, IsWholeOrNotThereWhicheverStepFailsOrIsTheLast) {
    using enum Effect;
    const Fault faults[] = {
        {.effect = error, .error = ENOSPC, .loss = everything},
        {.effect = error, .error = EIO, .loss = contents, .copyError = EXDEV},
        {.effect = error, .error = EIO, .times = 2, .loss = halfOfContents},
        {.effect = error, .error = ENOSPC, .times = Fault::fromThenOn, .loss = everything},
        {.effect = processEnds},
        {.effect = processEndsHalfway, .copyError = EXDEV},
        {.effect = processEndsHalfway},
        {.effect = powerFails, .loss = everything},
        {.effect = powerFails, .loss = contents},
        {.effect = powerFails, .loss = halfOfContents},
    };
    std::map<int, int> outcomes;
    for (const Fault& each : faults) {
        for (const bool isThere : {false, true}) {
            const auto attempt = [&](const Fault& fault) {
                remove_all(outbox.parent_path());
                if (isThere) {
                    makeOutbox();
                }
                const int outcome = runInProcesses(1, [&](int) { _exit(outcomeOf(fault)); })[0];
                ++outcomes[outcome];
                ASSERT_LT(outcome, wrong);
                const std::size_t left = entries(outbox / "new").size();
                if (outcome == died) {
                    EXPECT_LE(left, 1U);
                } else {
                    EXPECT_EQ(left, outcome == mayBeSent ? 2U : 1U);
                }

                ASSERT_EQ(errorOfSending(), "");
                EXPECT_THAT(entries(outbox / "tmp"), IsEmpty());
                expectWhole(left + 1);
            };
            EXPECT_GE(atEachCall(each, attempt), 40);
        }
    }
    for (const Outcome outcome : {died, failed, mayBeSent, succeeded}) {
        EXPECT_GT(outcomes[outcome], 0) << outcome;
    }
}

TEST_F(OutboxTest, TakesAnotherMessageAtEveryStepOfOne) {
    ASSERT_EQ(errorOfSending(), "");
    std::size_t sent = 1;
    int waits = 0;
    const auto sendAnother = [&] {
        const FileDescriptor tmp(open((outbox / "tmp").c_str(), O_RDONLY | O_DIRECTORY));
        if (flock(tmp.get(), LOCK_SH | LOCK_NB) == 0) {
            flock(tmp.get(), LOCK_UN);
            EXPECT_EQ(errorOfSending(), "");
            ++sent;
        } else {
            ++waits;
        }
    };
    interrupt(sendAnother, [&](const Fault& fault) {
        EXPECT_EQ(errorOfSending(fault), "");
        ++sent;
    });
    EXPECT_GT(sent, 70U);
    // Only while an entry is made: copying a video takes longer than others can wait.
    EXPECT_LT(waits, 10);
    expectWhole(sent);
    EXPECT_THAT(entries(outbox / "tmp"), IsEmpty());
}

TEST_F(OutboxTest, LeavesAnEntryThatIsPublishedAtAnyStep) {
    const path published = outbox / "new" / abandoned;
    FileDescriptor writer;
    const auto publish = [&] {
        rename(outbox / "tmp" / abandoned, published);
        writer = FileDescriptor();
    };
    interrupt(publish, [&](const Fault& fault) {
        makeOutbox();
        writer = FileDescriptor(open((outbox / "tmp" / abandoned).c_str(), O_RDONLY | O_DIRECTORY));
        ASSERT_EQ(flock(writer.get(), LOCK_EX), 0);
        EXPECT_EQ(errorOfSending(fault), "");
        EXPECT_EQ(readFile((Faults::happened() ? published : outbox / "tmp" / abandoned) / "video.MOV"),
                  "moving");
    });
}

TEST_F(OutboxTest, LinksLeadNowhereAtAnyStep) {
    const path elsewhere = folder / "elsewhere";
    const path moved = folder / "moved";
    const path places[] = {outbox, outbox / "tmp", outbox / "new", outbox / "tmp" / abandoned};
    for (const path& place : places) {
        for (const bool changesVideo : {false, true}) {
            const auto swap = [&] {
                if (exists(place)) {
                    rename(place, moved);
                }
                create_directory_symlink(elsewhere, place);
                if (changesVideo) {
                    resize_file(video, 20);
                }
            };
            interrupt(swap, [&](const Fault& fault) {
                SCOPED_TRACE(place);
                remove_all(moved);
                remove_all(elsewhere);
                makeOutbox();
                resize_file(video, 15);
                const VideoMessageRequest message = request();
                std::vector<path> kept;
                for (const path& inner : {elsewhere, elsewhere / "tmp", elsewhere / "new"}) {
                    for (const std::string& name : {abandoned, message.recordUUID.text()}) {
                        create_directories(inner / name);
                        kept.push_back(inner / name / "video.MOV");
                        writeFile(kept.back(), "kept");
                    }
                }
                const std::string error = errorOfSending(message, fault);
                if (fault.number == 0) {
                    EXPECT_EQ(error.empty(), place == places[3]) << error;
                }
                const auto left = std::filesystem::recursive_directory_iterator(elsewhere);
                EXPECT_EQ(std::distance(begin(left), end(left)), 14);
                for (const path& each : kept) {
                    EXPECT_EQ(readFile(each), "kept");
                }
            });
        }
    }
}

TEST_F(OutboxTest, BelongsToTheSender) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give folders away";
    }
    constexpr uid_t another = 65534;
    for (const path& place : {outbox, outbox / "tmp", outbox / "new"}) {
        makeOutbox();
        ASSERT_EQ(chown(place.c_str(), another, another), 0);
        EXPECT_EQ(errorOfSending(),
                  "cannot put the video message into the outbox \"" + outbox.native() + "\": \"" +
                      place.native() +
                      "\" belongs to user 65534; an outbox, its tmp/ and its new/ must belong to the user "
                      "who sends, 0");
        EXPECT_EQ(readFile(outbox / "tmp" / abandoned / "video.MOV"), "moving");
    }
}

TEST_F(OutboxTest, NobodyElseCanKeepAMessageFromBeingSent) {
    const path tmp = outbox / "tmp";
    ASSERT_EQ(errorOfSending(), "");
    const std::pair<mode_t, bool> modes[] = {{0740, false}, {0710, false}, {0704, false},
                                             {0701, false}, {02700, true}, {0700, true}};
    for (const auto& [mode, isPrivate] : modes) {
        ASSERT_EQ(chmod(tmp.c_str(), mode), 0);
        EXPECT_EQ(errorOfSending(), isPrivate ? ""
                                              : "cannot put the video message into the outbox \"" +
                                                    outbox.native() + "\": \"" + tmp.native() +
                                                    "\" is open to others, who could keep messages from "
                                                    "being sent; close it: chmod go= \"" +
                                                    tmp.native() + "\"")
            << mode;
    }
    // A process that opened it before its mode was changed may keep a lock.
    FileDescriptor stranger(open(tmp.c_str(), O_RDONLY | O_DIRECTORY));
    ASSERT_EQ(flock(stranger.get(), LOCK_SH), 0);
    const Folder locked(tmp);
    constexpr std::chrono::milliseconds patience{20};
    EXPECT_THROW(locked.lock(patience), SendingServiceError);
    stranger = FileDescriptor();
    EXPECT_NO_THROW(locked.lock(patience));
}

TEST_F(OutboxTest, SaysThatALinkIsOne) {
    for (const path& place : {outbox, outbox / "tmp", outbox / "new"}) {
        remove_all(outbox.parent_path());
        create_directories(place.parent_path());
        create_directory_symlink(folder / "", place);
        EXPECT_THAT(errorOfSending(), testing::EndsWith(": \"" + place.native() +
                                                        "\" is a symbolic link, which may lead messages "
                                                        "elsewhere; put a folder in its place"));
    }
}

TEST_F(OutboxTest, SendsNoVideoThatChangesMeanwhile) {
    const timespec past[] = {{.tv_sec = 1000000000, .tv_nsec = 0}, {.tv_sec = 1000000000, .tv_nsec = 0}};
    const auto stampOf = [&] {
        utimensat(AT_FDCWD, video.c_str(), &past[0], 0);
        struct stat status {};
        stat(video.c_str(), &status);
        return std::pair(status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
    };
    struct Case {
        std::string_view text;
        /// The modification time (mtime) is set back, so that only the ctime shows the change.
        bool isHidden = false;
    };
    for (const Case& change : {Case{"moving pictures and more"}, Case{"moving"}, Case{"moving PICTURES"},
                               Case{"moving PICTURES", true}}) {
        int errors = 0;
        std::pair<time_t, long> before;
        const auto write = [&] {
            writeFile(video, change.text);
            // The clock of file times ticks every few milliseconds.
            while (change.isHidden && stampOf() == before) {
            }
        };
        interrupt(write, [&](const Fault& fault) {
            remove_all(outbox);
            writeFile(video, "moving pictures");
            before = stampOf();
            const std::string error = errorOfSending(fault);
            if (error.empty()) {
                const std::string sent = readFile(entries(outbox / "new").at(0) / "video.MOV");
                EXPECT_TRUE(sent == "moving pictures" || sent == change.text) << sent;
            } else {
                EXPECT_EQ(error, "cannot send the video \"" + video.native() +
                                     "\": it changed while it was copied; send it again when it is complete");
                ++errors;
            }
        });
        EXPECT_GT(errors, 20);
    }
}

} // namespace
} // namespace Orvex::Testing
