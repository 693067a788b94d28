#include "FailingSystemCalls.h"
#include "SMTPServer.h"
#include "SMTPTransport/SMTPSendingService.h"
#include "Support.h"
#include <cerrno>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <tuple>

namespace Orvex::Testing {
namespace {

using std::filesystem::path;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const std::string silence = SMTPServer::silence;
const std::string drop = SMTPServer::drop;
const std::vector<std::string> toThree = {"ann@example.com", "bob@example.com", "cat@example.com"};

class SMTPTransportTest : public testing::Test {
  protected:
    SMTPTransportTest() { writeFile(video, "moving pictures"); }

    [[nodiscard]] VideoMessageRequest request(const std::vector<std::string>& destinations = toThree) const {
        return {.recordUUID = UUID::random(),
                .senderHandle = "me@example.com",
                .destinationHandles = destinations,
                .videoURL = FileURL::fromPath(video.native())};
    }

    /// The error that sending ends with, or nothing.
    std::string errorOfSending(const VideoMessageRequest& message, const std::string& url) {
        using std::chrono::seconds;
        try {
            SMTPSendingService service(url, outbox, {.connecting = seconds(1), .step = seconds(1)});
            wait(service.sendVideoMessage(message));
        } catch (const SendingServiceError& error) {
            return error.what();
        }
        return "";
    }
    std::string errorOfSending(const VideoMessageRequest& message) {
        return errorOfSending(message, server.url());
    }

    /// In `new/` or in `cur/`; fails where it is in both or in neither.
    path entryOf(const UUID& recordUUID) {
        const path unfinished = outbox / "new" / recordUUID.text();
        const path finished = outbox / "cur" / recordUUID.text();
        EXPECT_NE(exists(unfinished), exists(finished));
        return exists(finished) ? finished : unfinished;
    }

    /// The first letter of each destination's state.
    std::string statesOf(const UUID& recordUUID) {
        std::string states;
        const auto json = nlohmann::json::parse(readFile(entryOf(recordUUID) / "request.json"));
        for (const auto& delivery : json.at("deliveries")) {
            states += delivery.at("state").get<std::string>().front();
        }
        return states;
    }

    std::vector<std::string> recipients() {
        std::vector<std::string> named;
        for (const std::string& command : server.commands()) {
            if (command.starts_with("RCPT TO:<")) {
                named.push_back(command.substr(9, 3));
            }
        }
        return named;
    }

    TemporaryFolder folder;
    path video = folder / "my video.MOV";
    path outbox = folder / "outbox";
    SMTPServer server;
};

TEST_F(SMTPTransportTest, KnowsWhatHasBecomeOfTheMessageWhereverTheServerFails) {
    struct Case {
        SMTPServer::Script script;
        /// Accepted, refused, deferred or unknown, by destination.
        std::string states;
        /// What the error says of the first destination that was not accepted.
        std::string answer;
        /// Who is tried again when the server is well.
        std::vector<std::string> again{};
        bool isLarge = false;
    };
    const std::vector<std::string> all = {"ann", "bob", "cat"};
    const Case cases[] = {
        {{}, "aaa", ""},
        {{{"QUIT", silence}}, "aaa", ""},
        {{{"RCPT ", "251 will forward"}, {".", "250-taken\r\n250 as 7"}}, "aaa", ""},
        {{{"EHLO ", "500 what?"}, {"HELO ", "250 hello"}}, "aaa", ""},
        {{{"", "554 go away"}}, "ddd", "554 go away", all},
        {{{"", drop}}, "ddd", "", all},
        {{{"", silence}}, "ddd", "", all},
        {{{"EHLO ", drop}}, "ddd", "", all},
        {{{"EHLO ", "250-here\r\n250-SIZE 500\r\n250 HELP"}}, "rrr", "the message has "},
        {{{"EHLO ", "250-here\r\n250 SIZE 5000"}}, "aaa", ""},
        {{{"MAIL ", "552 too large"}}, "rrr", "552 too large"},
        {{{"MAIL ", "550-not\r\n550 you"}}, "rrr", "550-not you"},
        {{{"MAIL ", "450 \x1b[2Jlater\xff"}}, "ddd", R"(450 \u{1B}[2Jlater\xFF)", all},
        {{{"MAIL ", drop}}, "ddd", "", all},
        {{{"MAIL ", silence}}, "ddd", "", all},
        {{{"RCPT TO:<bob", "550 no bob"}}, "ara", "550 no bob"},
        {{{"RCPT TO:<cat", "550 no cat"}}, "aar", "550 no cat"},
        {{{"RCPT TO:<ann", "451 not now"}, {"RCPT TO:<bob", "550 no bob"}}, "dra", "451 not now", {"ann"}},
        {{{"RCPT ", "550 nobody"}}, "rrr", "550 nobody"},
        {{{"RCPT ", "421 full"}}, "ddd", "421 full", all},
        {{{"RCPT TO:<bob", drop}}, "ddd", "", all},
        {{{"RCPT TO:<ann", "550 no ann"}, {"RCPT TO:<bob", silence}}, "rdd", "550 no ann", {"bob", "cat"}},
        {{{"DATA", "451 not now"}}, "ddd", "451 not now", all},
        {{{"DATA", "554 never"}}, "rrr", "554 never"},
        {{{"DATA", drop}}, "ddd", "", all},
        {{{"DATA", silence}}, "ddd", "", all},
        {{{"body", drop}}, "ddd", "", all, true},
        {{{"body", silence}}, "ddd", "", all, true},
        {{{".", "554 spam"}, {"RCPT TO:<ann", "451 not now"}}, "drr", "451 not now", {"ann"}},
        {{{".", "452 no room"}}, "ddd", "452 no room", all},
        {{{".", drop}}, "uuu", ""},
        {{{".", silence}, {"RCPT TO:<bob", "450 later"}}, "udu", "", {"bob"}},
        {{{".", "what?"}}, "uuu", ""},
    };
    for (const Case& each : cases) {
        std::string trace = each.states;
        for (const auto& [command, answer] : each.script) {
            trace += " " + command + ": " + answer;
        }
        SCOPED_TRACE(trace);
        remove_all(outbox);
        writeFile(video, "moving pictures");
        if (each.isLarge) {
            constexpr std::uintmax_t moreThanFitsUnderway = std::uintmax_t{12} << 20U;
            resize_file(video, moreThanFitsUnderway);
        }
        const VideoMessageRequest message = request();
        server.follow(each.script);
        const std::string error = errorOfSending(message);
        EXPECT_EQ(statesOf(message.recordUUID), each.states);
        EXPECT_EQ(error.empty(), each.states == "aaa") << error;
        if (!error.empty()) {
            const char* const words[] = {" accepted (250 taken)", " deferred (", " refused (", " unknown ("};
            for (std::size_t i = 0; i < toThree.size(); ++i) {
                const std::string word = words[std::string_view("adru").find(each.states[i])];
                EXPECT_THAT(error, testing::HasSubstr("\"" + toThree[i] + "\"" + word));
            }
            EXPECT_THAT(error, testing::HasSubstr("(" + each.answer));
        }
        const bool isDeferred = each.states.find('d') != std::string::npos;
        EXPECT_EQ(entryOf(message.recordUUID).parent_path().filename(), isDeferred ? "new" : "cur");
        EXPECT_EQ(server.messages().size(), each.states.find('a') != std::string::npos ? 1U : 0U);

        // The next message takes along what is deferred, and nothing else.
        server.follow({});
        writeFile(video, "more pictures");
        EXPECT_EQ(errorOfSending(request({"dan@example.com"})), "");
        std::vector<std::string> expected = each.again;
        expected.emplace_back("dan");
        EXPECT_EQ(recipients(), expected);
        std::string states = each.states;
        std::replace(states.begin(), states.end(), 'd', 'a');
        EXPECT_EQ(statesOf(message.recordUUID), states);
        EXPECT_EQ(entryOf(message.recordUUID).parent_path().filename(), "cur");
    }
}

} // namespace
} // namespace Orvex::Testing
