#include "Server.h"

#include <csignal>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace Orvex::Bench {

namespace {

constexpr const char* programs = ORVEX_POSTGRESQL_PROGRAMS;

/// A command of the server's own, which refuses to run as root.
Command asServer(const std::string& program, const std::vector<std::string>& words) {
    Command command{.words = {"setpriv", "--pdeathsig", "INT"}};
    if (geteuid() == 0) {
        command.words.insert(command.words.end(),
                             {"--reuid", "nobody", "--regid", "nogroup", "--clear-groups"});
    }
    command.words.push_back(programs + program);
    command.words.insert(command.words.end(), words.begin(), words.end());
    return command;
}

void make(const std::filesystem::path& folder) {
    const std::filesystem::path unfinished = folder.native() + "-unfinished";
    std::filesystem::remove_all(unfinished);
    std::filesystem::create_directory(unfinished);
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && chown(unfinished.c_str(), nobody, nobody) != 0) {
        throw std::runtime_error("cannot give a folder away");
    }
    run(asServer("initdb", {"-D", unfinished, "-U", "postgres", "-A", "trust", "-E", "UTF8",
                            "--locale=C.UTF-8", "--no-instructions"}));
    std::filesystem::rename(unfinished, folder);
}

} // namespace

Server::Server(const std::filesystem::path& folder) : folder_(folder) {
    if (!std::filesystem::exists(folder)) {
        make(folder);
    }
    // What is not logged while a store is filled need not be kept.
    process_ = start(asServer("postgres", {"-D", folder_, "-k", folder_, "-c", "listen_addresses=", "-c",
                                           "autovacuum=off", "-c", "wal_level=minimal", "-c",
                                           "max_wal_senders=0", "-c", "log_min_messages=fatal"}));
    run({.words = {"timeout", "60", "sh", "-c", "until \"$0\" -q -h \"$1\" -U postgres; do sleep 0.1; done",
                   std::string(programs) + "pg_isready", folder_}});
}

Server::~Server() {
    kill(process_, SIGINT);
    waitpid(process_, nullptr, 0);
}

std::string Server::uri(const std::string& database) const {
    return "postgresql:///" + database + "?user=postgres&host=" + folder_;
}

Command Server::psql(const std::string& database, const std::vector<std::string>& words) const {
    Command command{.words = {std::string(programs) + "psql", "-X", "-v", "ON_ERROR_STOP=1", uri(database)}};
    command.words.insert(command.words.end(), words.begin(), words.end());
    return command;
}

} // namespace Orvex::Bench
