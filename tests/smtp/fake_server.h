// A mail server on the loopback that answers as it is told.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quzo::platform::test {

// Something that the server may answer to.
struct ServerStep {
    int connection = 0; // from 1
    std::string verb;   // GREET, EHLO, MAIL, RCPT, DATA, RSET, QUIT, another command, or END: of the message
    std::string argument; // what stands behind the verb; of END the message as it came
};

struct ServerMessage {
    std::string sender; // behind FROM:, with its parameters
    std::vector<std::string> recipients;
    std::string text; // dots taken back, line ends as they came
};

// What to answer: one line or several with line breaks between them; empty for the usual answer; kDrop to
// hang up, kHang to say nothing until the client goes. A text behind kRaw goes out as it is.
inline const std::string kDrop = "\1drop";
inline const std::string kHang = "\1hang";
inline const std::string kRaw = "\1raw";
// In answer to DATA: takes the first bytes of the message and hangs up.
inline const std::string kDropInside = "\1inside";

// One connection at a time, and a silent client is left after ten seconds. Stops when it goes.
class FakeServer {
public:
    using Script = std::function<std::string(const ServerStep&)>;

    explicit FakeServer(Script script = nullptr);
    ~FakeServer();
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;

    std::uint16_t port() const { return port_; }

    // From now on; the first line of an EHLO answer is there already.
    void setScript(Script script);
    void setExtensions(std::vector<std::string> extensions);

    int connections() const { return connections_; }
    std::vector<ServerMessage> messages() const; // for somebody, to which it said yes
    std::vector<std::string> commands() const;   // as lines
    std::size_t messageCount() const { return messages().size(); }

private:
    void serve();
    void talk(int client);
    std::string answer(const ServerStep& step, bool wanted = true);

    int listener_;
    std::uint16_t port_ = 0;
    std::atomic<bool> over_ = false;
    std::atomic<int> connections_ = 0;
    mutable std::mutex mutex_; // of what follows
    Script script_;
    std::vector<std::string> extensions_ = {"PIPELINING", "8BITMIME", "SIZE 0"};
    std::vector<ServerMessage> messages_;
    std::vector<std::string> commands_;
    std::thread thread_;
};

} // namespace quzo::platform::test
