#include "PostgreSQLServer.h"

#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <libpq-fe.h>
#include <memory>
#include <sched.h>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <thread>

namespace Orvex::Testing {

namespace {

constexpr uid_t nobody = 65534;

void runAsNobody(std::vector<std::string> command) {
    command.front() = ORVEX_POSTGRESQL_PROGRAMS + command.front();
    if (geteuid() == 0) {
        const std::string user = std::to_string(nobody);
        const std::string prefix[] = {"setpriv", "--reuid", user, "--regid", user, "--clear-groups"};
        command.insert(command.begin(), std::begin(prefix), std::end(prefix));
    }
    if (const ProgramRun run = runProgram(command); run.status != 0) {
        throw std::runtime_error(run.output + run.errors);
    }
}

/// For this process and its children.
bool mountSmallDisk(const std::string& folder) {
    std::string options = "size=512k";
    if (geteuid() == 0) {
        options += ",uid=" + std::to_string(nobody);
        if (unshare(CLONE_NEWNS) != 0) {
            return false;
        }
    } else {
        const std::string user = std::to_string(geteuid());
        const std::string group = std::to_string(getegid());
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            return false;
        }
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/uid_map", user + " " + user + " 1");
        writeFile("/proc/self/gid_map", group + " " + group + " 1");
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", folder.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

} // namespace

void PostgreSQLServer::makeFolder() const {
    if (geteuid() == 0 && chown(folder().c_str(), nobody, nobody) != 0) {
        throw std::runtime_error("cannot give a folder away");
    }
}

PostgreSQLServer::PostgreSQLServer(bool hasSmallDisk) : hasSmallDisk_(hasSmallDisk) {
    makeFolder();
    std::filesystem::create_directory(smallDisk());
    runAsNobody({"initdb", "-D", folder_ / "data", "-U", "postgres", "-A", "trust", "-E", "UTF8",
                 "--locale=C.UTF-8", "--no-sync", "--no-instructions"});
    start();
}

PostgreSQLServer::PostgreSQLServer(const PostgreSQLServer& primary) {
    makeFolder();
    runAsNobody({"pg_basebackup", "-h", primary.folder(), "-U", "postgres", "-D", folder_ / "data", "-R",
                 "-c", "fast", "--no-sync"});
    start();
}

PostgreSQLServer::~PostgreSQLServer() {
    if (process_ > 0) {
        stop();
    }
}

PostgreSQLServer& PostgreSQLServer::shared() {
    static PostgreSQLServer server;
    return server;
}

void PostgreSQLServer::start() {
    const pid_t parent = getpid();
    const std::string data = folder_ / "data";
    const std::string socketFolder = folder();
    process_ = fork();
    if (process_ == 0) {
        const int log = open((socketFolder + "/log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        dup2(log, STDOUT_FILENO);
        dup2(log, STDERR_FILENO);
        if (hasSmallDisk_ && !mountSmallDisk(smallDisk())) {
            perror("cannot mount a small disk");
            _exit(1);
        }
        if ((geteuid() == 0 && (setgid(nobody) != 0 || setuid(nobody) != 0)) ||
            prctl(PR_SET_PDEATHSIG, SIGQUIT) != 0 || getppid() != parent) {
            _exit(1);
        }
        // Nothing here loses power.
        execl(ORVEX_POSTGRESQL_PROGRAMS "postgres", "postgres", "-D", data.c_str(), "-k",
              socketFolder.c_str(), "-c", "listen_addresses=", "-c", "fsync=off", "-c", "autovacuum=off",
              nullptr);
        _exit(1);
    }
    const std::string uri = "postgresql:///postgres?user=postgres&host=" + socketFolder;
    for (int attempt = 0; PQping(uri.c_str()) != PQPING_OK; ++attempt) {
        constexpr int mostAttempts = 3000;
        if (attempt == mostAttempts || waitpid(process_, nullptr, WNOHANG) != 0) {
            throw std::runtime_error("the server does not start: " + readFile(socketFolder + "/log"));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void PostgreSQLServer::signal(int signal) const {
    kill(process_, signal);
}

void PostgreSQLServer::stop(int signal) {
    this->signal(signal);
    waitpid(std::exchange(process_, -1), nullptr, 0);
}

void PostgreSQLServer::promote() const {
    runAsNobody({"pg_ctl", "promote", "-D", folder_ / "data"});
}

std::string PostgreSQLServer::newDatabase() {
    const std::string name = "test" + std::to_string(++databases_);
    const auto uri = [&](const std::string& database) {
        return "postgresql:///" + database + "?user=postgres&host=" + folder();
    };
    runSQL(uri("postgres"), "CREATE DATABASE " + name);
    return uri(name);
}

void PostgreSQLServer::allow(std::string_view line) const {
    const std::string file = folder_ / "data/pg_hba.conf";
    writeFile(file, std::string(line) + "\n" + readFile(file));
    signal(SIGHUP);
}

std::string runSQL(const std::string& uri, const std::string& sql) {
    const std::unique_ptr<PGconn, decltype(&PQfinish)> connection(PQconnectdb(uri.c_str()), PQfinish);
    PQsetNoticeProcessor(
        connection.get(), [](void*, const char*) {}, nullptr);
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(connection.get(), sql.c_str()),
                                                               PQclear);
    if (PQresultStatus(result.get()) != PGRES_TUPLES_OK && PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
        throw std::runtime_error(PQerrorMessage(connection.get()));
    }
    return PQntuples(result.get()) > 0 ? PQgetvalue(result.get(), 0, 0) : "";
}

} // namespace Orvex::Testing
