#include "TestServers.h"

#include "Foundation/UUID.h"
#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <libpq-fe.h>
#include <memory>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>

namespace Orvex::Testing {

namespace {

/// Root runs the server as nobody.
std::filesystem::path inOpenFolder(const std::filesystem::path& path) {
    permissions(path.parent_path(), std::filesystem::perms(0711));
    return path;
}

} // namespace

LocalListener::LocalListener(int bufferSize) : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (bufferSize != 0) {
        setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const anyAddress = reinterpret_cast<sockaddr*>(&address);
    if (bind(socket.get(), anyAddress, size) != 0 || listen(socket.get(), SOMAXCONN) != 0 ||
        getsockname(socket.get(), anyAddress, &size) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot listen");
    }
    port = std::to_string(ntohs(address.sin_port));
}

FileDescriptor LocalListener::client() const {
    return FileDescriptor(accept4(socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

TemporaryServer::TemporaryServer() : server_(inOpenFolder(folder()), {"-c", "fsync=off"}) {}

std::string runSQL(const std::string& uri, const std::string& sql) {
    const std::unique_ptr<PGconn, decltype(&PQfinish)> connection(PQconnectdb(uri.c_str()), PQfinish);
    PQsetNoticeProcessor(
        connection.get(), [](void*, const char*) {}, nullptr);
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(connection.get(), sql.c_str()),
                                                               PQclear);
    if (PQresultStatus(result.get()) != PGRES_TUPLES_OK && PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
        throw std::runtime_error(PQerrorMessage(connection.get()) + (" in: " + sql));
    }
    return PQntuples(result.get()) > 0 ? PQgetvalue(result.get(), 0, 0) : "";
}

std::string newDatabase(const std::string& uri) {
    std::string server = uri;
    if (const char* const folder = std::getenv("ORVEX_TEST_SERVER"); uri.empty() && folder != nullptr) {
        // CTest's is a link, since a socket's path has to be short.
        server = "postgresql:///postgres?user=postgres&host=" + std::filesystem::canonical(folder).native();
    } else if (uri.empty()) {
        static TemporaryServer own;
        server = own->uri();
    }
    std::string name = "test";
    const UUID unique = UUID::random();
    for (const unsigned char byte : unique.bytes()) {
        name += std::to_string(byte);
    }
    runSQL(server, "CREATE DATABASE " + name);
    return server.replace(server.find("/postgres?"), 9, "/" + name);
}

void makeCertificate(const TemporaryFolder& folder, const std::string& alternativeNames) {
    const std::string script =
        "cd '" + (folder / "").native() +
        "' && openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out certificate.pem "
        "-subj /CN=localhost -addext subjectAltName=" +
        alternativeNames + " && cat key.pem certificate.pem >both.pem";
    if (const ProgramRun run = runProgram({"sh", "-c", script}); run.status != 0) {
        throw std::runtime_error(run.errors);
    }
}

} // namespace Orvex::Testing
