#include "PostgreSQLServer.h"

#include <chrono>
#include <libpq-fe.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace Orvex::Testing {

PostgreSQLServer::PostgreSQLServer(const std::filesystem::path& folder, std::vector<std::string> options)
    : folder_(folder), options_(std::move(options)) {
    start();
}

PostgreSQLServer::~PostgreSQLServer() {
    if (process_ > 0) {
        stop();
    }
}

void PostgreSQLServer::start() {
    std::vector<const char*> words = {ORVEX_POSTGRESQL_SERVER, folder_.c_str()};
    for (const std::string& option : options_) {
        words.push_back(option.c_str());
    }
    words.push_back(nullptr);
    process_ = fork();
    if (process_ == 0) {
        execv(words.front(), const_cast<char**>(words.data()));
        _exit(1);
    }
    for (int attempt = 0; PQping(uri().c_str()) != PQPING_OK; ++attempt) {
        constexpr int mostAttempts = 6000;
        if (attempt == mostAttempts || waitpid(process_, nullptr, WNOHANG) != 0) {
            throw std::runtime_error("the server does not start: see " + folder_.native() + "/log");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void PostgreSQLServer::stop(int signal) {
    this->signal(signal);
    waitpid(std::exchange(process_, -1), nullptr, 0);
}

void PostgreSQLServer::signal(int signal) const {
    kill(process_, signal);
}

std::string PostgreSQLServer::uri(const std::string& database) const {
    return "postgresql:///" + database + "?user=postgres&host=" + folder_.native();
}

} // namespace Orvex::Testing
