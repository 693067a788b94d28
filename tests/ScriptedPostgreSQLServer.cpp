#include "ScriptedPostgreSQLServer.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/endian/conversion.hpp>
#include <cstddef>
#include <sys/socket.h>

namespace Orvex::Testing {

namespace {

template <class Integer>
std::string bytesOf(Integer value) {
    boost::endian::native_to_big_inplace(value);
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

} // namespace

namespace Wire {

std::string message(char type, std::string_view body) {
    return type + bytesOf(static_cast<std::int32_t>(body.size() + sizeof(std::int32_t))) + std::string(body);
}

std::string done(std::string_view tag) {
    return message('C', std::string(tag) + '\0');
}

std::string columns(const std::vector<std::int32_t>& types, bool isBinary) {
    std::string body = bytesOf(static_cast<std::int16_t>(types.size()));
    for (const std::int32_t type : types) {
        body += std::string("value\0", 6) + bytesOf(std::int32_t{0}) + bytesOf(std::int16_t{0}) +
                bytesOf(type) + bytesOf(std::int16_t{-1}) + bytesOf(std::int32_t{-1}) +
                bytesOf(static_cast<std::int16_t>(isBinary));
    }
    return message('T', body);
}

std::string row(const std::vector<std::string>& values) {
    std::string body = bytesOf(static_cast<std::int16_t>(values.size()));
    for (const std::string& value : values) {
        body += bytesOf(static_cast<std::int32_t>(value.size())) + value;
    }
    return message('D', body);
}

std::string integer(std::int64_t value, std::size_t size) {
    return row({bytesOf(value).substr(sizeof value - size)});
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
    boost::system::error_code fault;
    Protocol::socket client = listener_.accept(fault);
    // The types of messages behind which a client waits, and of the first one, which has none.
    std::string waits;
    const auto hear = [&] {
        const std::size_t typeSize = waits.empty() ? 0 : 1;
        std::string head(typeSize + sizeof(std::int32_t), ' ');
        read(client, boost::asio::buffer(head), fault);
        if (!fault) {
            const auto* const count = reinterpret_cast<const unsigned char*>(&head[typeSize]);
            std::string body(boost::endian::load_big_u32(count) - sizeof(std::int32_t), ' ');
            read(client, boost::asio::buffer(body), fault);
        }
        return head.substr(0, typeSize);
    };
    const auto say = [&](const std::string& answer) { write(client, boost::asio::buffer(answer), fault); };
    hear();
    waits = "QS";
    say(Wire::message('R', std::string(sizeof(std::int32_t), '\0')) +
        (answers_.size() > 1 ? Wire::ready() : ""));
    for (auto answer = answers_.begin(); answer != answers_.end() && !fault; ++answer) {
        while (answers_.size() > 1 && !fault && waits.find(hear()) == std::string::npos) {
        }
        say(*answer);
        while (isEndless_ && answer + 1 == answers_.end() && !fault) {
            say(*answer);
        }
    }
}

} // namespace Orvex::Testing
