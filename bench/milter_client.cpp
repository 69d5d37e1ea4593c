// A mail server's side of the milter protocol, fast: for long runs and measurements without a mail server.
//
//     milter_client PATH MAIL MESSAGES SESSIONS RENEW SIGN...
//
// Hands the message in the file MAIL (LF or CRLF) over MESSAGES times, in SESSIONS threads with a connection
// each to the unix socket PATH. After RENEW messages a connection is dropped in the middle of a further one,
// and another takes its place. With RENEW 0 all sessions hand over their message but for its end, wait for
// one another, and then ask for the verdict at the same time.
//
// Every message must be accepted with a new body in which exactly one of the SIGNs stands, once. Prints how
// many had each SIGN, in their order; exits with 1 and the reason when a message was not right.
#include <arpa/inet.h>
#include <libmilter/mfapi.h>
#include <libmilter/mfdef.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

struct Job {
    std::string path;
    std::vector<std::string> header; // commands
    std::string body;                // with CRLF
    unsigned long messages = 0;
    unsigned long sessions = 0;
    unsigned long renew = 0;
    std::vector<std::string> signs;

    std::atomic<unsigned long> begun{0};
    std::vector<std::atomic<unsigned long>> seen; // of each sign
    std::mutex mutex;
    std::string fault; // guarded by the mutex; the first one
};

std::string number(std::uint32_t value) {
    value = htonl(value);
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

std::string text(std::string_view value) { return std::string(value) + '\0'; }

std::string command(char kind, std::string_view data = {}) {
    return number(static_cast<std::uint32_t>(data.size() + 1)) + kind + std::string(data);
}

class Connection {
public:
    explicit Connection(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            ::close(socket_);
            throw std::runtime_error("no connection to " + path);
        }
        add(command(SMFIC_OPTNEG,
                    number(SMFI_PROT_VERSION) + number(SMFI_CURR_ACTS) + number(SMFI_CURR_PROT)));
        const std::string answer = read();
        if (answer.size() < 13 || answer[0] != SMFIC_OPTNEG) {
            ::close(socket_);
            throw std::runtime_error("no agreement about the protocol");
        }
        std::uint32_t steps = 0;
        std::memcpy(&steps, answer.data() + 9, sizeof steps);
        steps_ = ntohl(steps);
        step(SMFIC_CONNECT, text("client.example") + "4" + std::string("\x04\x00", 2) + text("127.0.0.1"),
             SMFIP_NOCONNECT, SMFIP_NR_CONN);
    }
    ~Connection() { ::close(socket_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void begin(const Job& job) {
        step(SMFIC_MAIL, text("<a@out.example>"), SMFIP_NOMAIL, SMFIP_NR_MAIL);
        step(SMFIC_RCPT, text("<b@in.example>"), SMFIP_NORCPT, SMFIP_NR_RCPT);
        step(SMFIC_DATA, {}, SMFIP_NODATA, SMFIP_NR_DATA);
        for (const std::string& field : job.header) {
            step(SMFIC_HEADER, field, SMFIP_NOHDRS, SMFIP_NR_HDR);
        }
        step(SMFIC_EOH, {}, SMFIP_NOEOH, SMFIP_NR_EOH);
        for (std::size_t at = 0; at < job.body.size(); at += MILTER_CHUNK_SIZE) {
            step(SMFIC_BODY, std::string_view(job.body).substr(at, MILTER_CHUNK_SIZE), SMFIP_NOBODY,
                 SMFIP_NR_BODY);
        }
        send();
    }

    // The new body.
    std::string end() {
        add(command(SMFIC_BODYEOB));
        std::string body;
        for (;;) {
            const std::string answer = read();
            if (answer[0] == SMFIR_REPLBODY) {
                body += answer.substr(1);
            } else if (answer[0] == SMFIR_ACCEPT || answer[0] == SMFIR_CONTINUE) {
                return body;
            } else if (std::strchr("rtdy4", answer[0]) != nullptr) {
                throw std::runtime_error("a message was answered by " + answer);
            }
        }
    }

    void quit() {
        add(command(SMFIC_QUIT));
        send();
    }

private:
    void step(char kind, std::string_view data, unsigned long left, unsigned long silent) {
        if ((steps_ & left) == 0) {
            add(command(kind, data));
            if ((steps_ & silent) == 0 && read()[0] != SMFIR_CONTINUE) {
                throw std::runtime_error(std::string("no going on after ") + kind);
            }
        }
    }

    void add(const std::string& bytes) { out_ += bytes; }

    void send() {
        for (std::size_t at = 0; at < out_.size();) {
            const ssize_t sent = ::send(socket_, out_.data() + at, out_.size() - at, MSG_NOSIGNAL);
            if (sent <= 0) {
                throw std::runtime_error("the milter does not read");
            }
            at += static_cast<std::size_t>(sent);
        }
        out_.clear();
    }

    std::string read() {
        send();
        std::uint32_t size = 0;
        fill(4);
        std::memcpy(&size, in_.data(), sizeof size);
        size = ntohl(size);
        fill(4 + std::size_t{size});
        std::string answer = in_.substr(4, size);
        in_.erase(0, 4 + std::size_t{size});
        if (answer.empty()) {
            throw std::runtime_error("an empty answer");
        }
        return answer;
    }

    void fill(std::size_t size) {
        char piece[1 << 16];
        while (in_.size() < size) {
            const ssize_t got = ::recv(socket_, piece, sizeof piece, 0);
            if (got <= 0) {
                throw std::runtime_error("the milter says nothing more");
            }
            in_.append(piece, static_cast<std::size_t>(got));
        }
    }

    int socket_;
    unsigned long steps_ = 0;
    std::string in_;
    std::string out_;
};

void judge(Job& job, const std::string& body) {
    std::size_t found = 0;
    for (std::size_t i = 0; i < job.signs.size(); ++i) {
        for (std::size_t at = 0; (at = body.find(job.signs[i], at)) != std::string::npos; ++at) {
            ++found;
            ++job.seen[i];
        }
    }
    if (found != 1) {
        throw std::runtime_error(std::to_string(found) + " signs in a body of " +
                                 std::to_string(body.size()) + " bytes");
    }
}

void session(Job& job, std::barrier<>& together) {
    try {
        auto connection = std::make_unique<Connection>(job.path);
        for (unsigned long count = 1; job.begun++ < job.messages; ++count) {
            connection->begin(job);
            if (job.renew == 0) {
                together.arrive_and_wait();
            } else if (count % job.renew == 0) { // this one is never finished
                connection = std::make_unique<Connection>(job.path);
                connection->begin(job);
            }
            judge(job, connection->end());
        }
        connection->quit();
    } catch (const std::exception& error) {
        const std::scoped_lock lock(job.mutex);
        job.fault = job.fault.empty() ? error.what() : job.fault;
        together.arrive_and_drop();
    }
}

void readMail(const char* path, Job& job) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error(std::string("no file ") + path);
    }
    std::string line;
    while (std::getline(file, line) && !line.empty() && line != "\r") {
        line.resize(line.size() - (line.ends_with('\r') ? 1 : 0));
        const std::size_t colon = line.find(':');
        if (line.starts_with(' ') || line.starts_with('\t')) {
            job.header.back().insert(job.header.back().size() - 1, "\n" + line);
        } else {
            job.header.push_back(text(line.substr(0, colon)) + text(line.substr(colon + 1)));
        }
    }
    while (std::getline(file, line)) {
        line.resize(line.size() - (line.ends_with('\r') ? 1 : 0));
        job.body.append(line).append("\r\n");
    }
}

int run(int count, char** arguments) {
    if (count < 7) {
        std::cerr << "usage: milter_client PATH MAIL MESSAGES SESSIONS RENEW SIGN...\n";
        return 64;
    }
    Job job;
    job.path = arguments[1];
    readMail(arguments[2], job);
    job.messages = std::stoul(arguments[3]);
    job.sessions = std::stoul(arguments[4]);
    job.renew = std::stoul(arguments[5]);
    job.signs.assign(arguments + 6, arguments + count);
    job.seen = std::vector<std::atomic<unsigned long>>(job.signs.size());
    std::barrier together(static_cast<std::ptrdiff_t>(job.sessions));
    {
        std::vector<std::jthread> threads;
        for (unsigned long i = 0; i < job.sessions; ++i) {
            threads.emplace_back([&] { session(job, together); });
        }
    }
    for (const auto& seen : job.seen) {
        std::cout << seen << ' ';
    }
    std::cout << '\n';
    if (!job.fault.empty()) {
        std::cerr << "milter_client: " << job.fault << '\n';
    }
    return job.fault.empty() ? 0 : 1;
}

} // namespace

int main(int count, char** arguments) {
    try {
        return run(count, arguments);
    } catch (const std::exception& error) {
        std::cerr << "milter_client: " << error.what() << '\n';
        return 66;
    }
}
