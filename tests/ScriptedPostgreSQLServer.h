#pragma once

#include "Foundation/FileDescriptor.h"
#include "Support.h"
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Orvex::Testing {

/// Messages of a server: https://www.postgresql.org/docs/15/protocol-message-formats.html
namespace Wire {

[[nodiscard]] std::string message(char type, std::string_view body);
/// An answer without rows, behind which there may be others.
[[nodiscard]] std::string done(std::string_view tag);
/// The columns of what follows, by their types.
[[nodiscard]] std::string columns(const std::vector<std::uint32_t>& types, bool isBinary = true);
[[nodiscard]] std::string row(const std::vector<std::string>& values);
/// A row of one bigint in so many bytes.
[[nodiscard]] std::string integer(std::uint64_t value, int size = 8);
/// The end of the answers to what was sent at once.
[[nodiscard]] std::string ready();

inline constexpr std::uint32_t bigint = 20;
inline constexpr std::uint32_t bytea = 17;
inline constexpr std::uint32_t text = 25;

} // namespace Wire

/// A server that lets one client in, gives it one answer after another, whatever it asks, and leaves. The
/// first one belongs to the start: it is `ready()`, unless the client is to wait.
class ScriptedPostgreSQLServer {
  public:
    /// If it is endless, it gives the last answer again and again.
    explicit ScriptedPostgreSQLServer(std::vector<std::string> answers, bool isEndless = false);
    ~ScriptedPostgreSQLServer();
    ScriptedPostgreSQLServer(const ScriptedPostgreSQLServer&) = delete;
    ScriptedPostgreSQLServer& operator=(const ScriptedPostgreSQLServer&) = delete;

    [[nodiscard]] std::string uri() const;

  private:
    void talk();

    TemporaryFolder folder_;
    std::vector<std::string> answers_;
    bool isEndless_;
    FileDescriptor listener_;
    std::thread worker_;
};

} // namespace Orvex::Testing
