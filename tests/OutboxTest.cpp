#include "FailingSystemCalls.h"
#include "Foundation/FileDescriptor.h"
#include "SendingService/OutboxSendingService.h"
#include "Support.h"
#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvex::Testing {
namespace {

using std::filesystem::path;
using testing::HasSubstr;
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

    /// The error that sending ends with, or nothing.
    std::string errorOfSending(const VideoMessageRequest& message) {
        try {
            wait(OutboxSendingService(outbox).sendVideoMessage(message));
        } catch (const SendingServiceError& error) {
            return error.what();
        }
        return "";
    }
    std::string errorOfSending() { return errorOfSending(request()); }

    static std::vector<path> entries(const path& folder) {
        std::vector<path> names;
        std::error_code missing;
        for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
            names.push_back(entry.path());
        }
        return names;
    }

    /// What is in a whole entry.
    void expectWhole(const path& entry) {
        const auto json = nlohmann::json::parse(readFile(entry / "request.json"));
        EXPECT_EQ(json.at("recordUUID"), entry.filename().native());
        EXPECT_EQ(readFile(entry / json.at("video")), readFile(video));
        EXPECT_EQ(json.at("size"), file_size(video));
    }

    TemporaryFolder folder;
    path video = folder / "my video.MOV";
    path outbox = folder / "a/outbox";
};

TEST_F(OutboxTest, KeepsTheVideoAndTheRequest) {
    const VideoMessageRequest message = request();
    ASSERT_EQ(errorOfSending(message), "");
    const path entry = outbox / "new" / message.recordUUID.text();
    EXPECT_THAT(entries(outbox / "new"), testing::ElementsAre(entry));
    EXPECT_THAT(entries(outbox / "tmp"), IsEmpty());
    EXPECT_EQ(readFile(entry / "video.MOV"), "moving pictures");
    auto json = nlohmann::json::parse(readFile(entry / "request.json"));
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
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"v", "video"},
        {"v.", "video"},
        {".mov", "video"},
        {"v.m4v", "video.m4v"},
        {"v.m v", "video"},
        {"v.\x1b", "video"},
        {"v.abcdefghijklmnopq", "video"},
    };
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
        EXPECT_EQ(errorOfSending(message), error);
        EXPECT_FALSE(exists(outbox));
    };
    const std::pair<std::string, std::string> handles[] = {
        {"", "is empty"},
        {"a\nb", R"("a\nb" has a control character, or bytes that are no UTF-8)"},
        {"\x7f", R"("\u{7F}" has a control character, or bytes that are no UTF-8)"},
        {"\u0085", R"("\u{85}" has a control character, or bytes that are no UTF-8)"},
        {"\xff", R"("\xFF" has a control character, or bytes that are no UTF-8)"},
    };
    for (const auto& [handle, fault] : handles) {
        VideoMessageRequest message = request();
        message.senderHandle = handle;
        expectError(message, "cannot send the video message: the sender's handle " + fault);
        message = request();
        message.destinationHandles.push_back(handle);
        expectError(message, "cannot send the video message: the destination handle " + fault);
    }
    VideoMessageRequest toNobody = request();
    toNobody.destinationHandles.clear();
    expectError(toNobody, "cannot send the video message: there is no destination");

    const std::string prefix = "cannot send the video \"" + video.native() + "\": ";
    writeFile(video, "");
    expectError(request(), prefix + "it is empty");
    std::filesystem::remove(video);
    expectError(request(), prefix + "it cannot be read: No such file or directory");
    mkfifo(video.c_str(), 0600);
    expectError(request(), prefix + "it is no regular file");
    std::filesystem::remove(video);
    create_directory(video);
    expectError(request(), prefix + "it is a folder, not a file");
}

TEST_F(OutboxTest, CopiesThroughMemoryWhereTheKernelCannot) {
    std::string large;
    for (int i = 0; i < 3000000; ++i) {
        large += static_cast<char>(i * 31 % 251);
    }
    writeFile(video, large);
    for (const int error : {EXDEV, EINVAL, ENOSYS, EOPNOTSUPP, EPERM, -1}) {
        const FailingSystemCalls failing(error);
        EXPECT_EQ(errorOfSending(), "");
    }
    for (const path& entry : entries(outbox / "new")) {
        expectWhole(entry);
    }
    const FailingSystemCalls failing(EIO);
    EXPECT_THAT(errorOfSending(), HasSubstr("Input/output error"));
}

TEST_F(OutboxTest, LeavesNothingWhicheverStepFails) {
    int number = 0;
    while (true) {
        outbox = folder / ("outbox" + std::to_string(number));
        std::string error;
        {
            const FailingSystemCalls failing(number, FailingSystemCalls::Effect::error, ENOSPC);
            error = errorOfSending();
            if (!FailingSystemCalls::happened()) {
                break;
            }
        }
        EXPECT_THAT(error,
                    testing::StartsWith("cannot put the video message into the outbox \"" + outbox.native()));
        EXPECT_THAT(error, testing::EndsWith(": No space left on device")) << number;
        EXPECT_THAT(entries(outbox / "new"), IsEmpty()) << number;
        EXPECT_THAT(entries(outbox / "tmp"), IsEmpty()) << number;
        // One that is not on the disk for sure must not seem to be there: every folder above is tried, then
        // the outbox made, then the folder above synced.
        EXPECT_EQ(exists(outbox), number > std::distance(outbox.begin(), outbox.end())) << number;
        ++number;
    }
    EXPECT_GT(number, 15);
}

TEST_F(OutboxTest, IsWholeWheneverTheProcessDiesOrPowerFails) {
    using Effect = FailingSystemCalls::Effect;
    for (const Effect effect : {Effect::processEnds, Effect::processEndsHalfway, Effect::powerFails}) {
        int number = 0;
        for (bool isSent = false; !isSent; ++number) {
            outbox = folder / ("outbox" + std::to_string(number));
            std::filesystem::remove_all(outbox);
            constexpr int sent = 2;
            const int status = runInProcesses(1, [&](int) {
                const FailingSystemCalls failing(number, effect);
                wait(OutboxSendingService(outbox).sendVideoMessage(request()));
                FailingSystemCalls::losePower();
                _exit(sent);
            })[0];
            isSent = status == sent;
            ASSERT_TRUE(isSent || status == 0);
            const std::size_t left = entries(outbox / "new").size();
            EXPECT_TRUE(left == 1 || (left == 0 && !isSent)) << number;

            ASSERT_EQ(errorOfSending(), "");
            EXPECT_THAT(entries(outbox / "tmp"), IsEmpty()) << number;
            EXPECT_EQ(entries(outbox / "new").size(), left + 1);
            for (const path& entry : entries(outbox / "new")) {
                expectWhole(entry);
            }
        }
        EXPECT_GT(number, 15);
    }
}

TEST_F(OutboxTest, TakesAnotherMessageAtEveryStepOfOne) {
    ASSERT_EQ(errorOfSending(), "");
    std::size_t sent = 1;
    const auto sendAnother = [&] {
        const FileDescriptor tmp(open((outbox / "tmp").c_str(), O_RDONLY | O_DIRECTORY));
        if (flock(tmp.get(), LOCK_EX | LOCK_NB) == 0) {
            flock(tmp.get(), LOCK_UN);
            EXPECT_EQ(errorOfSending(), "");
            ++sent;
        }
    };
    bool happened = true;
    for (int number = 0; happened; ++number, ++sent) {
        const FailingSystemCalls failing(number, FailingSystemCalls::Effect::interruption, 0, sendAnother);
        EXPECT_EQ(errorOfSending(), "") << number;
        happened = FailingSystemCalls::happened();
    }
    EXPECT_GT(sent, 20U);
    EXPECT_EQ(entries(outbox / "new").size(), sent);
    EXPECT_THAT(entries(outbox / "tmp"), IsEmpty());
}

TEST_F(OutboxTest, SendsNoVideoThatChangesMeanwhile) {
    for (const std::string_view changed : {"moving pictures and more", "moving"}) {
        int errors = 0;
        bool happened = true;
        for (int number = 0; happened; ++number) {
            writeFile(video, "moving pictures");
            outbox = folder / (std::to_string(changed.size()) + "-" + std::to_string(number));
            const FailingSystemCalls failing(number, FailingSystemCalls::Effect::interruption, 0,
                                             [&] { writeFile(video, changed); });
            const std::string error = errorOfSending();
            happened = FailingSystemCalls::happened();
            if (error.empty()) {
                EXPECT_EQ(readFile(entries(outbox / "new").at(0) / "video.MOV"), "moving pictures");
            } else {
                EXPECT_THAT(error, HasSubstr("the video changed while it was copied"));
                ++errors;
            }
        }
        EXPECT_GT(errors, 0);
    }
}

} // namespace
} // namespace Orvex::Testing
