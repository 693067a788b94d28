#include "SMTPServer.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace Orvex::Testing {

namespace {

/// The next whole line, without its end. Absent if the client has gone.
std::optional<std::string> nextLine(std::FILE* client) {
    std::array<char, 4096> bytes{};
    if (std::fgets(bytes.data(), bytes.size(), client) == nullptr) {
        return std::nullopt;
    }
    const std::string_view line = bytes.data();
    return line.ends_with("\r\n") ? std::optional(std::string(line, 0, line.size() - 2)) : std::nullopt;
}

} // namespace

SMTPServer::SMTPServer() : worker_([this] { work(); }) {}

SMTPServer::~SMTPServer() {
    follow({});
    shutdown(listener_.socket.get(), SHUT_RDWR);
    worker_.join();
}

std::string SMTPServer::url(const std::string& host) const {
    return "smtp://" + host + ":" + listener_.port;
}

void SMTPServer::follow(Script script) {
    {
        const std::lock_guard lock(mutex_);
        script_ = std::move(script);
    }
    changed_.notify_all();
    const auto lock = whenNobodyTalks();
    commands_.clear();
    messages_.clear();
}

std::vector<std::string> SMTPServer::commands() {
    const auto lock = whenNobodyTalks();
    return commands_;
}

std::vector<std::string> SMTPServer::messages() {
    const std::lock_guard lock(mutex_);
    return messages_;
}

std::unique_lock<std::mutex> SMTPServer::whenNobodyTalks() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !isTalking_; });
    return lock;
}

void SMTPServer::work() {
    while (true) {
        const FileDescriptor client = listener_.client();
        if (client.get() < 0) {
            return;
        }
        Script script;
        {
            const std::lock_guard lock(mutex_);
            script = script_;
            isTalking_ = true;
        }
        // `insert` does not replace the entries of the script.
        script.insert({{"", "220 here"},
                       {"EHLO ", "250 SIZE"},
                       {"MAIL ", "250 sender"},
                       {"RCPT ", "250 recipient"},
                       {"DATA", "354 go ahead"},
                       {".", "250 taken"},
                       {"QUIT", "221 bye"}});
        talk(client.get(), script);
        {
            const std::lock_guard lock(mutex_);
            isTalking_ = false;
        }
        changed_.notify_all();
    }
}

void SMTPServer::talk(int client, const Script& script) {
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> input(fdopen(dup(client), "r"), std::fclose);
    // Returns false at the end of the connection.
    const auto answer = [&](const std::string& text) {
        if (text == silence) {
            while (nextLine(input.get())) {
            }
        }
        const std::string line = text + "\r\n";
        return text != drop && text != silence && send(client, line.data(), line.size(), MSG_NOSIGNAL) > 0;
    };
    for (std::optional<std::string> command = ""; command; command = nextLine(input.get())) {
        // The longest prefix in the script wins.
        std::string text = "500 what?";
        for (const auto& [beginning, each] : script) {
            if (command->starts_with(beginning) && (!beginning.empty() || command->empty())) {
                text = each;
            }
        }
        note(commands_, *command);
        if (!answer(text) || command->starts_with("QUIT")) {
            return;
        }
        if (!text.starts_with("354")) {
            continue;
        }
        std::string message;
        std::optional<std::string> line;
        while ((line = nextLine(input.get())) && *line != ".") {
            message += *line + "\n";
            constexpr std::size_t middle = 2000;
            if (const auto fate = script.find("body"); fate != script.end() && message.size() > middle) {
                // Reads no more, so that the client's buffers stay full.
                std::unique_lock lock(mutex_);
                changed_.wait_for(lock, std::chrono::seconds(fate->second == silence ? 60 : 0),
                                  [this] { return !script_.contains("body"); });
                return;
            }
        }
        if (line && script.at(".").starts_with("250")) {
            note(messages_, message);
        }
        if (!line || !answer(script.at("."))) {
            return;
        }
    }
}

void SMTPServer::note(std::vector<std::string>& list, const std::string& text) {
    const std::lock_guard lock(mutex_);
    list.push_back(text);
}

} // namespace Orvex::Testing
