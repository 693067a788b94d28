#include "ScriptedPostgreSQLServer.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
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
    : answers_(std::move(answers)),
      isEndless_(isEndless),
      listener_(loop_, Protocol::endpoint((folder_ / ".s.PGSQL.5432").native())),
      worker_([this] { talk(); }) {}

ScriptedPostgreSQLServer::~ScriptedPostgreSQLServer() {
    shutdown(listener_.native_handle(), SHUT_RDWR);
    worker_.join();
}

std::string ScriptedPostgreSQLServer::uri() const {
    return "postgresql:///db?user=u&host=" + (folder_ / ".").native();
}

void ScriptedPostgreSQLServer::talk() {
    const std::string letsIn = Wire::message('R', std::string(4, '\0'));
    boost::system::error_code fault;
    Protocol::socket client = listener_.accept(fault);
    write(client, boost::asio::buffer(letsIn), fault);
    // The client asks in one piece, and waits for the answer.
    std::string heard(1U << 16U, ' ');
    for (auto answer = answers_.begin(); answer != answers_.end() && !fault; ++answer) {
        client.read_some(boost::asio::buffer(heard), fault);
        do {
            write(client, boost::asio::buffer(*answer), fault);
        } while (isEndless_ && answer + 1 == answers_.end() && !fault);
    }
}

} // namespace Orvex::Testing
