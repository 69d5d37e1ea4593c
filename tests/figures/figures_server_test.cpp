// The port of the figures: what is answered, and that clients which dawdle are in nobody's way.
#include "host/figures/figures_server.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <new>

namespace quzo::host::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Client {
public:
    explicit Client(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        constexpr timeval kMost{60, 0}; // so that a server that says nothing fails the test
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &kMost, sizeof kMost);
        connected_ = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~Client() { ::close(socket_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool connected() const { return connected_; }

    void say(const std::string& text) const { ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL); }

    // All that comes until the server closes.
    std::string answer() const {
        std::string all;
        char buffer[4096];
        for (ssize_t count = 0; (count = ::recv(socket_, buffer, sizeof buffer, 0)) > 0;) {
            all.append(buffer, static_cast<std::size_t>(count));
        }
        return all;
    }

private:
    int socket_;
    bool connected_ = false;
};

class FiguresServerTest : public testing::Test {
protected:
    FiguresServerTest() {
        auto started = FiguresServer::start({"127.0.0.1", 0}, {.figures =
                                                                   [this] {
                                                                       if (figures.empty()) {
                                                                           throw std::bad_alloc();
                                                                       }
                                                                       return figures;
                                                                   },
                                                               .faults = [this] { return faults; }});
        EXPECT_TRUE(started);
        server = std::move(*started);
    }

    std::string ask(const std::string& line) const {
        const Client client(server->port());
        client.say(line + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        return client.answer();
    }

    std::string figures = "a 1\n"; // empty: memory runs out
    std::vector<std::string> faults;
    std::unique_ptr<FiguresServer> server;
};

TEST_F(FiguresServerTest, AnswersTwoQuestions) {
    const struct {
        const char* line;
        const char* status;
        const char* end;
    } rows[] = {{"GET /metrics", "HTTP/1.1 200 ", "\r\n\r\na 1\n"},
                {"HEAD /metrics", "HTTP/1.1 200 ", "\r\n\r\n"},
                {"GET /health", "HTTP/1.1 200 ", "\r\n\r\nok\n"},
                {"GET /health?x=/metrics", "HTTP/1.1 200 ", "\r\n\r\nok\n"},
                {"POST /metrics", "HTTP/1.1 405 ", ".\n"},
                {"PUT /health", "HTTP/1.1 405 ", ".\n"},
                {"GET /", "HTTP/1.1 404 ", ".\n"},
                {"GET /../../etc/passwd", "HTTP/1.1 404 ", ".\n"}};
    for (const auto& row : rows) {
        const std::string answer = ask(row.line);
        EXPECT_THAT(answer, StartsWith(row.status)) << row.line;
        EXPECT_THAT(answer, testing::EndsWith(row.end)) << row.line;
    }
    EXPECT_THAT(ask("GET /metrics"), HasSubstr("Content-Type: text/plain; version=0.0.4; charset=utf-8\r\n"));
    faults = {"one", "two"};
    EXPECT_THAT(ask("GET /health"),
                testing::AllOf(StartsWith("HTTP/1.1 503 "), HasSubstr("\r\n\r\none\ntwo\n")));
    figures.clear();
    EXPECT_THAT(ask("GET /metrics"), StartsWith("HTTP/1.1 500 "));
    EXPECT_THAT(ask(std::string(100000, 'x')), testing::Not(HasSubstr("200 OK")));
    EXPECT_THAT(ask("GET /health"), StartsWith("HTTP/1.1 503 ")) << "it is still there";
}

TEST_F(FiguresServerTest, ClientsThatDawdleKeepNobodyWaiting) {
    figures = std::string(std::size_t{32} << 20U, '#'); // more than a connection holds
    std::vector<std::unique_ptr<Client>> dawdlers;
    const auto dawdle = [&](const char* said) {
        dawdlers.push_back(std::make_unique<Client>(server->port()));
        dawdlers.back()->say(said);
    };
    for (int i = 0; i < 3; ++i) {
        dawdle("");
        dawdle("GET /metrics HTTP/1.1\r\nHost: "); // and no more
    }
    dawdle("GET /metrics HTTP/1.1\r\n\r\n"); // and reads nothing
    EXPECT_THAT(ask("GET /health"), HasSubstr("\r\n\r\nok\n"));

    // More than are answered at once: others wait for seconds, and not for ever.
    for (int i = 0; i < 10; ++i) {
        dawdle("GET /metrics HTTP/1.1\r\n\r\n");
    }
    EXPECT_THAT(ask("GET /health"), HasSubstr("\r\n\r\nok\n"));
    const auto second = FiguresServer::start({"127.0.0.1", server->port()}, {});
    ASSERT_FALSE(second); // the port has an owner
    EXPECT_THAT(second.fault().line(), HasSubstr("see to figures_address"));
}

} // namespace
} // namespace quzo::host::test
