#pragma once

#include "Support.h"
#include <csignal>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace Orvex::Testing {

/// A PostgreSQL server in a temporary folder, run by an unprivileged user, reached through a socket in that
/// folder. It ends with this process, whatever ends that.
class PostgreSQLServer {
  public:
    /// A new server. If it has a small disk, that is what it alone sees at `smallDisk`: half a megabyte.
    explicit PostgreSQLServer(bool hasSmallDisk = false);
    /// A standby of another one.
    explicit PostgreSQLServer(const PostgreSQLServer& primary);
    ~PostgreSQLServer();
    PostgreSQLServer& operator=(const PostgreSQLServer&) = delete;

    /// The one server that will do for most tests of a process.
    static PostgreSQLServer& shared();

    void start();
    /// SIGTERM waits for the clients, SIGINT does not, and SIGQUIT ends it as a crash would.
    void stop(int signal = SIGQUIT);
    void signal(int signal) const;
    /// Makes a standby a server of its own.
    void promote() const;

    /// Makes an empty database and returns its URI.
    [[nodiscard]] std::string newDatabase();
    [[nodiscard]] std::string folder() const { return folder_ / "."; }
    [[nodiscard]] std::string smallDisk() const { return folder_ / "small"; }
    /// Puts a line in front of the file that says who may connect how.
    void allow(std::string_view line) const;

  private:
    void makeFolder() const;

    TemporaryFolder folder_;
    bool hasSmallDisk_ = false;
    pid_t process_ = -1;
    int databases_ = 0;
};

/// Runs SQL as the administrator and returns the first value of its last statement.
std::string runSQL(const std::string& uri, const std::string& sql);

} // namespace Orvex::Testing
