#pragma once

#include <csignal>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Orvex::Testing {

/// A PostgreSQL server that `scripts/postgresql-server` runs. It ends with this process. Benchmarks use it as
/// well.
class PostgreSQLServer {
  public:
    /// Starts a server in `folder`, which is created if it does not exist, with these options of `postgres`.
    explicit PostgreSQLServer(const std::filesystem::path& folder, std::vector<std::string> options = {});
    ~PostgreSQLServer();
    PostgreSQLServer(const PostgreSQLServer&) = delete;
    PostgreSQLServer& operator=(const PostgreSQLServer&) = delete;

    void start();
    /// SIGTERM waits for the clients, SIGINT disconnects them, and SIGQUIT ends the server as a crash would.
    void stop(int signal = SIGINT);
    void signal(int signal) const;

    /// The URI of a database, for the administrator.
    [[nodiscard]] std::string uri(const std::string& database = "postgres") const;

  private:
    std::filesystem::path folder_;
    std::vector<std::string> options_;
    pid_t process_ = -1;
};

} // namespace Orvex::Testing
