// The server runs as a child that is told to stop when this program ends, however it ends.
#include "private_postgres.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <libpq-fe.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

fs::path findPrograms() {
    fs::path found;
    std::error_code none;
    for (const auto& version : fs::directory_iterator("/usr/lib/postgresql", none)) {
        if (access((version.path() / "bin/postgres").c_str(), X_OK) == 0 && version.path() > found) {
            found = version.path();
        }
    }
    return found.empty() ? found : found / "bin";
}

bool lookUp(const char* name, uid_t& user, gid_t& group) {
    std::vector<char> buffer(4096);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwnam_r(name, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return false;
    }
    user = entry.pw_uid;
    group = entry.pw_gid;
    return true;
}

int freePort() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, generic, size) != 0 || getsockname(listener, generic, &size) != 0) {
        throw std::runtime_error("no free port");
    }
    close(listener);
    return ntohs(address.sin_port);
}

// Starts a program as another user, its output in `log`.
pid_t spawn(const Strings& command, const fs::path& log, uid_t user, gid_t group) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    const bool dropped = geteuid() != 0 || (setgid(group) == 0 && setuid(user) == 0);
    prctl(PR_SET_PDEATHSIG, SIGQUIT); // after setuid(), which clears it
    if (dropped && getppid() == parent) {
        execv(arguments[0], arguments.data());
    }
    _exit(127);
}

// Waits for a child, at most that long; true when it has ended.
bool reap(pid_t child, std::chrono::seconds patience, int& status) {
    for (const auto end = std::chrono::steady_clock::now() + patience;;) {
        if (waitpid(child, &status, WNOHANG) == child) {
            return true;
        }
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

} // namespace

PrivatePostgres* PrivatePostgres::instance() {
    static const fs::path programs = findPrograms();
    static const std::unique_ptr<PrivatePostgres> server(programs.empty() ? nullptr
                                                                          : new PrivatePostgres(programs));
    return server.get();
}

PrivatePostgres::PrivatePostgres(fs::path programs)
    : programs_(std::move(programs)), user_(geteuid()), group_(getegid()) {
    if (geteuid() == 0) { // the server refuses to run as root
        if (!lookUp("postgres", user_, group_) && !lookUp("nobody", user_, group_)) {
            throw std::runtime_error("no user to run PostgreSQL as");
        }
    }
    std::string pattern = fs::temp_directory_path() / "quzo-pg-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr || chown(pattern.c_str(), user_, group_) != 0) {
        throw std::runtime_error("cannot make " + pattern);
    }
    folder_ = pattern;
    port_ = freePort();
    int status = -1;
    const pid_t child = spawn({programs_ / "initdb", "-D", folder_ / "data", "-U", "owner", "-E", "UTF8",
                               "--locale=C.UTF-8", "-A", "trust", "--no-sync"},
                              folder_ / "log", user_, group_);
    if (!reap(child, std::chrono::seconds(60), status) || status != 0) {
        throw std::runtime_error("initdb failed, see " + (folder_ / "log").string());
    }
    std::ofstream(folder_ / "data/pg_hba.conf") << "local all all trust\n"
                                                   "host all all 127.0.0.1/32 scram-sha-256\n";
    start();
}

PrivatePostgres::~PrivatePostgres() {
    stop();
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

void PrivatePostgres::start() {
    server_ =
        spawn({programs_ / "postgres", "-D", folder_ / "data", "-k", folder_, "-p", std::to_string(port_),
               "-c", "listen_addresses=127.0.0.1", "-c", "fsync=off", "-c", "max_connections=40"},
              folder_ / "log", user_, group_);
    for (int attempt = 0; !answers(); ++attempt) {
        int status = 0;
        if (attempt == 600 || waitpid(server_, &status, WNOHANG) == server_) {
            throw std::runtime_error("PostgreSQL does not start, see " + (folder_ / "log").string());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

void PrivatePostgres::stop() {
    int status = 0;
    for (const int signal : {SIGINT, SIGQUIT, SIGKILL}) {
        if (server_ > 0) {
            kill(server_, signal);
            server_ = reap(server_, std::chrono::seconds(10), status) ? -1 : server_;
        }
    }
}

bool PrivatePostgres::answers() const { return PQping(connection().c_str()) == PQPING_OK; }

std::string PrivatePostgres::connection(const std::string& database) const {
    return "host=" + folder_.string() + " port=" + std::to_string(port_) + " user=owner dbname=" + database;
}

std::string PrivatePostgres::connectionByPassword(const std::string& user) const {
    return "host=127.0.0.1 port=" + std::to_string(port_) + " dbname=postgres user=" + user;
}

std::string PrivatePostgres::execute(const std::string& statements, const std::string& options) const {
    const std::unique_ptr<PGconn, decltype(&PQfinish)> session(
        PQconnectdb((connection() + " " + options).c_str()), &PQfinish);
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(session.get(), statements.c_str()),
                                                               &PQclear);
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        throw std::runtime_error(PQerrorMessage(session.get()));
    }
    return PQntuples(result.get()) > 0 ? PQgetvalue(result.get(), 0, 0) : "";
}

} // namespace quzo::test
