#pragma once

#include "Process.h"

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Orvex::Bench {

/// A PostgreSQL server with the settings of the package, but without replication, and without the vacuuming
/// that would come in between. It is reached through a socket in its folder, and stops when this process
/// ends.
class Server {
  public:
    /// Makes the server where there is no such folder, and starts it.
    explicit Server(const std::filesystem::path& folder);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] std::string uri(const std::string& database) const;
    /// psql itself, without the package's wrapper and anybody's settings.
    [[nodiscard]] Command psql(const std::string& database, const std::vector<std::string>& words) const;

  private:
    std::string folder_;
    pid_t process_ = -1;
};

} // namespace Orvex::Bench
