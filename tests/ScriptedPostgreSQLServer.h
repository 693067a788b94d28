#pragma once

#include "TestServers.h"
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Orvex::Testing {

/// Messages of a server: https://www.postgresql.org/docs/15/protocol-message-formats.html
namespace Wire {

[[nodiscard]] std::string message(char type, std::string_view body);
/// The end of one answer; others may follow.
[[nodiscard]] std::string done(std::string_view tag);
/// The types of the columns that follow.
[[nodiscard]] std::string columns(const std::vector<std::uint32_t>& types, bool isBinary = true);
[[nodiscard]] std::string row(const std::vector<std::string>& values);
/// A row of one integer of `size` bytes.
[[nodiscard]] std::string integer(std::uint64_t value, int size = 8);
/// The end of the answers to what was sent at once.
[[nodiscard]] std::string ready();

inline constexpr std::uint32_t bigint = 20;
inline constexpr std::uint32_t bytea = 17;
inline constexpr std::uint32_t text = 25;

} // namespace Wire

/// A server that lets one client in, gives it one answer after another, whatever it asks, and leaves. The
/// first answer ends the start of the session: `ready()`, unless the client has to wait.
class ScriptedPostgreSQLServer {
  public:
    /// An endless server repeats the last answer.
    explicit ScriptedPostgreSQLServer(std::vector<std::string> answers, bool isEndless = false);
    ~ScriptedPostgreSQLServer();
    ScriptedPostgreSQLServer(const ScriptedPostgreSQLServer&) = delete;
    ScriptedPostgreSQLServer& operator=(const ScriptedPostgreSQLServer&) = delete;

    [[nodiscard]] std::string uri() const;

  private:
    void talk();

    std::vector<std::string> answers_;
    bool isEndless_;
    LocalListener listener_;
    std::thread worker_;
};

} // namespace Orvex::Testing
