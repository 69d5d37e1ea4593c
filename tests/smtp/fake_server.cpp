// See fake_server.h.
#include "tests/smtp/fake_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <optional>

namespace quzo::platform::test {
namespace {

using Clock = std::chrono::steady_clock;

// The client's side of a conversation, by lines.
class Wire {
public:
    Wire(int socket, const std::atomic<bool>& over) : socket_(socket), over_(over) {}

    std::optional<std::string> line() {
        std::size_t end = 0;
        while ((end = bytes_.find('\n')) == std::string::npos) {
            if (!more()) {
                return std::nullopt;
            }
        }
        std::string text = bytes_.substr(0, end + 1);
        bytes_.erase(0, end + 1);
        return text;
    }

    // False when the client has gone or time is up.
    bool more() {
        const Clock::time_point end = Clock::now() + std::chrono::seconds(10);
        while (!over_ && Clock::now() < end) {
            pollfd descriptor{socket_, POLLIN, 0};
            if (::poll(&descriptor, 1, 20) > 0) {
                char piece[65536];
                const ssize_t got = ::recv(socket_, piece, sizeof piece, 0);
                bytes_.append(piece, got > 0 ? static_cast<std::size_t>(got) : 0);
                return got > 0;
            }
        }
        return false;
    }

    void say(const std::string& text) const { ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL); }

private:
    int socket_;
    const std::atomic<bool>& over_;
    std::string bytes_;
};

// The message behind DATA; none when the client goes before its end.
std::optional<std::string> readMessage(Wire& wire) {
    std::string text;
    for (;;) {
        std::optional<std::string> line = wire.line();
        if (!line) {
            return std::nullopt;
        }
        if (*line == ".\r\n") {
            return text;
        }
        text += line->starts_with('.') ? line->substr(1) : *line;
    }
}

// Carries an answer out; false when the conversation is over.
bool carryOut(const std::string& answer, Wire& wire) {
    if (answer == kDrop) {
        return false;
    }
    if (answer == kDropInside) {
        wire.say("354 go on\r\n");
        wire.more();
        return false;
    }
    if (answer == kHang) {
        while (wire.more()) {
        }
        return false;
    }
    wire.say(answer.starts_with(kRaw) ? answer.substr(kRaw.size()) : answer + "\r\n");
    return true;
}

} // namespace

FakeServer::FakeServer(Script script)
    : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), script_(std::move(script)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    static_cast<void>(::bind(listener_, reinterpret_cast<sockaddr*>(&address), size));
    ::listen(listener_, 16);
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

FakeServer::~FakeServer() {
    over_ = true;
    thread_.join();
    ::close(listener_);
}

void FakeServer::setScript(Script script) {
    const std::scoped_lock lock(mutex_);
    script_ = std::move(script);
}

void FakeServer::setExtensions(std::vector<std::string> extensions) {
    const std::scoped_lock lock(mutex_);
    extensions_ = std::move(extensions);
}

std::vector<ServerMessage> FakeServer::messages() const {
    const std::scoped_lock lock(mutex_);
    return messages_;
}

std::vector<std::string> FakeServer::commands() const {
    const std::scoped_lock lock(mutex_);
    return commands_;
}

void FakeServer::serve() {
    while (!over_) {
        pollfd descriptor{listener_, POLLIN, 0};
        if (::poll(&descriptor, 1, 20) > 0) {
            const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (client >= 0) {
                const int yes = 1;
                ::setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
                ++connections_;
                talk(client);
                ::close(client);
            }
        }
    }
}

// The scripted answer, or the usual one.
std::string FakeServer::answer(const ServerStep& step, bool wanted) {
    const std::scoped_lock lock(mutex_);
    if (std::string scripted = script_ ? script_(step) : std::string(); !scripted.empty()) {
        return scripted;
    }
    if (step.verb == "GREET") {
        return "220 fake";
    }
    if (step.verb == "DATA") {
        return wanted ? "354 go on" : "554 nobody to give it to";
    }
    if (step.verb == "RCPT" && !wanted) {
        return "503 MAIL first";
    }
    if (step.verb != "EHLO") {
        return step.verb == "QUIT" ? "221 bye" : "250 fine";
    }
    std::string text = "250-fake";
    for (const std::string& extension : extensions_) {
        text += "\r\n250-" + extension;
    }
    return text + "\r\n250 HELP";
}

void FakeServer::talk(int client) {
    Wire wire(client, over_);
    const int number = connections_;
    if (!carryOut(answer({number, "GREET", {}}), wire)) {
        return;
    }
    ServerMessage message;
    bool mail = false;
    while (std::optional<std::string> line = wire.line()) {
        {
            const std::scoped_lock lock(mutex_);
            commands_.push_back(*line);
        }
        line->erase(line->find_last_not_of("\r\n") + 1);
        const std::string verb = line->substr(0, line->find(' '));
        const std::string argument = line->substr(std::min(verb.size() + 1, line->size()));
        const bool wanted = verb == "DATA" ? !message.recipients.empty() : mail;
        const std::string said = answer({number, verb, argument}, wanted);
        if (!carryOut(said, wire) || verb == "QUIT") {
            return;
        }
        const bool yes = said.starts_with('2');
        if (verb == "MAIL" || verb == "RSET") {
            message = {};
            mail = verb == "MAIL" && yes;
        }
        if (verb == "MAIL" && yes) {
            message = {argument.substr(argument.find(':') + 1), {}, {}};
        } else if (verb == "RCPT" && yes) {
            message.recipients.push_back(argument.substr(argument.find(':') + 1));
        } else if (verb == "DATA" && said.starts_with("354")) {
            const std::optional<std::string> text = readMessage(wire);
            if (!text) {
                return;
            }
            message.text = *text;
            const std::string end = answer({number, "END", *text});
            if (end.starts_with('2') && !message.recipients.empty()) {
                const std::scoped_lock lock(mutex_);
                messages_.push_back(message);
            }
            mail = false;
            message = {};
            if (!carryOut(end, wire)) {
                return;
            }
        }
    }
}

} // namespace quzo::platform::test
