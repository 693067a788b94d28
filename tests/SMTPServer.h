#pragma once

#include "TestServers.h"
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Orvex::Testing {

/// A mail server on this machine that takes one connection after another, and fails where its script says so.
/// It makes no system calls that `FailingSystemCalls` counts.
class SMTPServer {
  public:
    /// Answers by the beginning of the command: "" for the greeting, "body" for the middle of the message,
    /// "." for its end. `drop` ends the connection instead, `silence` keeps it until the client has gone, or
    /// in the middle of the message until there is another script.
    using Script = std::map<std::string, std::string>;
    inline static const std::string drop = "drop";
    inline static const std::string silence = "silence";

    SMTPServer();
    ~SMTPServer();
    SMTPServer(const SMTPServer&) = delete;
    SMTPServer& operator=(const SMTPServer&) = delete;

    [[nodiscard]] std::string url(const std::string& host = "127.0.0.1") const;

    /// For the connections from now on; what was noted before is forgotten.
    void follow(Script script);

    /// The commands, behind an empty one for each connection, and the messages that were taken.
    [[nodiscard]] std::vector<std::string> commands();
    [[nodiscard]] std::vector<std::string> messages();

  private:
    /// A client does not wait for the answer to its goodbye, and the server may not have read that.
    [[nodiscard]] std::unique_lock<std::mutex> whenNobodyTalks();
    void work();
    void talk(int client, const Script& script);
    void note(std::vector<std::string>& list, const std::string& text);

    // The small buffer keeps the middle of a message apart from its end.
    LocalListener listener_{4096};
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isTalking_ = false;
    Script script_;
    std::vector<std::string> commands_;
    std::vector<std::string> messages_;
    std::thread worker_;
};

} // namespace Orvex::Testing
