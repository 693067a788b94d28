#pragma once

#include "Foundation/FileDescriptor.h"
#include "PostgreSQLServer.h"
#include "Support.h"
#include <string>

namespace Orvex::Testing {

/// A socket that listens on a port of this machine.
struct LocalListener {
    /// With a receive buffer of this size in bytes, unless it is 0.
    explicit LocalListener(int bufferSize = 0);
    /// Waits for a client. Negative once the socket was shut down.
    [[nodiscard]] FileDescriptor client() const;

    FileDescriptor socket;
    std::string port;
};

/// A PostgreSQL server for a test that stops it.
class TemporaryServer {
  public:
    TemporaryServer();
    PostgreSQLServer* operator->() { return &server_; }
    [[nodiscard]] std::filesystem::path folder() const { return folder_ / "server"; }

  private:
    TemporaryFolder folder_;
    PostgreSQLServer server_;
};

/// Runs SQL as the administrator and returns the first value of its last statement.
std::string runSQL(const std::string& uri, const std::string& sql);

/// Creates an empty database and returns its URI. It is on the server at `uri`, or else on the one whose
/// folder the variable ORVEX_TEST_SERVER names, or else on one that runs as long as this process.
[[nodiscard]] std::string newDatabase(const std::string& uri = "");

/// Makes a self-signed certificate for localhost and these alternative names, `certificate.pem` in the
/// folder, and puts it behind its key in `both.pem`.
void makeCertificate(const TemporaryFolder& folder, const std::string& alternativeNames = "DNS:localhost");

} // namespace Orvex::Testing
