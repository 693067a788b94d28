#include "SMTPServer.h"

#include <array>
#include <chrono>
#include <optional>
#include <sys/socket.h>
#include <utility>

namespace Orvex::Testing {

namespace {

/// Lines from a client.
class Lines {
  public:
    explicit Lines(int client) : client_(client) {}

    /// Without its end. Absent when the client has gone.
    std::optional<std::string> next() {
        std::size_t end = 0;
        while ((end = unread_.find("\r\n")) == std::string::npos) {
            std::array<char, 4096> bytes{};
            const ssize_t size = recv(client_, bytes.data(), bytes.size(), 0);
            if (size <= 0) {
                return std::nullopt;
            }
            unread_.append(bytes.data(), static_cast<std::size_t>(size));
        }
        std::string line = unread_.substr(0, end);
        unread_.erase(0, end + 2);
        return line;
    }

  private:
    int client_;
    std::string unread_;
};

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
        // The entries of the script come first: a map does not replace what it has.
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
    Lines lines(client);
    // False when that was the end.
    const auto answer = [&](const std::string& text) {
        if (text == silence) {
            while (lines.next()) {
            }
        }
        const std::string line = text + "\r\n";
        return text != drop && text != silence && send(client, line.data(), line.size(), MSG_NOSIGNAL) > 0;
    };
    for (std::optional<std::string> command = ""; command; command = lines.next()) {
        // The longest beginning that is in the script.
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
        while ((line = lines.next()) && *line != ".") {
            message += *line + "\n";
            constexpr std::size_t middle = 2000;
            if (const auto fate = script.find("body"); fate != script.end() && message.size() > middle) {
                // Not a byte more is read: nothing tells when the client has gone.
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
