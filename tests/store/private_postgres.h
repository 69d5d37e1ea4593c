// A PostgreSQL server of the tests' own: in a temporary folder, on a Unix socket and a loopback port, as an
// unprivileged user. It ends with the program, also when that is killed.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace quzo::test {

class PrivatePostgres {
public:
    // The one server of this program, started at the first call; null when the server's programs are not
    // installed. Throws std::runtime_error when they are and it does not start.
    static PrivatePostgres* instance();

    ~PrivatePostgres();
    PrivatePostgres(const PrivatePostgres&) = delete;
    PrivatePostgres& operator=(const PrivatePostgres&) = delete;

    void start();
    void stop();

    // "host=... port=... user=owner dbname=...": trusted over the socket.
    std::string connection(const std::string& database = "postgres") const;
    // The same over TCP, where a password is asked for.
    std::string connectionByPassword(const std::string& user) const;

    // Runs statements outside of any store; throws std::runtime_error with the server's message. Returns the
    // first column of the first row, or nothing.
    std::string execute(const std::string& statements, const std::string& options = "") const;

private:
    explicit PrivatePostgres(std::filesystem::path programs);
    bool answers() const;

    std::filesystem::path programs_;
    std::filesystem::path folder_;
    uid_t user_;
    gid_t group_;
    int port_ = 0;
    pid_t server_ = -1;
};

} // namespace quzo::test
