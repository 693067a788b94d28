#include "ScriptedPostgreSQLServer.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace Orvex::Testing {

namespace Wire {

std::string message(char type, std::string_view body) {
    return type + bigEndian(4 + body.size()) + std::string(body);
}

std::string done(std::string_view tag) {
    return message('C', std::string(tag) + '\0');
}

std::string columns(const std::vector<std::uint32_t>& types, bool isBinary) {
    std::string body = bigEndian(types.size(), 2);
    for (const std::uint32_t type : types) {
        const std::string tableAndColumn(6, '\0');
        const std::string sizeAndModifier(6, '\xff');
        body += std::string("value\0", 6) + tableAndColumn + bigEndian(type) + sizeAndModifier +
                bigEndian(isBinary ? 1 : 0, 2);
    }
    return message('T', body);
}

std::string row(const std::vector<std::string>& values) {
    std::string body = bigEndian(values.size(), 2);
    for (const std::string& value : values) {
        body += bigEndian(value.size()) + value;
    }
    return message('D', body);
}

std::string integer(std::uint64_t value, int size) {
    return row({bigEndian(value, size)});
}

std::string ready() {
    return message('Z', "I");
}

} // namespace Wire

namespace {

/// A socket that listens at a path.
FileDescriptor listenAt(const std::string& path) {
    FileDescriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener.get(), 1), 0);
    return listener;
}

bool sendAll(int client, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

ScriptedPostgreSQLServer::ScriptedPostgreSQLServer(std::vector<std::string> answers, bool isEndless)
    : answers_(std::move(answers)),
      isEndless_(isEndless),
      listener_(listenAt(folder_ / ".s.PGSQL.5432")),
      worker_([this] { talk(); }) {}

ScriptedPostgreSQLServer::~ScriptedPostgreSQLServer() {
    shutdown(listener_.get(), SHUT_RDWR);
    worker_.join();
}

std::string ScriptedPostgreSQLServer::uri() const {
    return "postgresql:///db?user=u&host=" + (folder_ / ".").native();
}

void ScriptedPostgreSQLServer::talk() {
    const FileDescriptor client(accept(listener_.get(), nullptr, nullptr));
    bool isThere = sendAll(client.get(), Wire::message('R', std::string(4, '\0')));
    // The client asks in one piece, and waits for the answer.
    std::string heard(1U << 16U, ' ');
    for (auto answer = answers_.begin(); answer != answers_.end() && isThere; ++answer) {
        isThere = recv(client.get(), heard.data(), heard.size(), 0) > 0;
        do {
            isThere = isThere && sendAll(client.get(), *answer);
        } while (isEndless_ && answer + 1 == answers_.end() && isThere);
    }
}

} // namespace Orvex::Testing
