#include "ScriptedPostgreSQLServer.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

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

ScriptedPostgreSQLServer::ScriptedPostgreSQLServer(std::vector<std::string> answers, bool isEndless)
    : answers_(std::move(answers)), isEndless_(isEndless), worker_([this] { talk(); }) {}

ScriptedPostgreSQLServer::~ScriptedPostgreSQLServer() {
    shutdown(listener_.socket.get(), SHUT_RDWR);
    worker_.join();
}

std::string ScriptedPostgreSQLServer::uri() const {
    return "postgresql://u@127.0.0.1:" + listener_.port + "/db?sslmode=disable&gssencmode=disable";
}

void ScriptedPostgreSQLServer::talk() {
    const FileDescriptor client = listener_.client();
    const auto say = [&](std::string_view bytes) {
        return send(client.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0;
    };
    bool isThere = say(Wire::message('R', std::string(4, '\0')));
    // The client asks in one piece, and waits for the answer.
    std::string heard(1U << 16U, ' ');
    for (auto answer = answers_.begin(); answer != answers_.end() && isThere; ++answer) {
        isThere = recv(client.get(), heard.data(), heard.size(), 0) > 0;
        do {
            isThere = isThere && say(*answer);
        } while (isEndless_ && answer + 1 == answers_.end() && isThere);
    }
}

} // namespace Orvex::Testing
