// One connection to a mail server, greeted and, as far as it is asked for, encrypted.
//
// libcurl makes it: it looks up the name, connects, reads the greeting, says EHLO, turns TLS on, checks the
// certificate and logs in. What goes over it then is the caller's (smtp_transaction.h).
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/base/next_hop.h"
#include "platform/mta/smtp/reply_reader.h"
#include "platform/mta/smtp/server_greeting.h"

namespace quzo::platform {

enum class SmtpTls : std::uint8_t {
    Off,     // none, but for a hop whose connection begins with it
    Try,     // where the server offers it, whoever it says it is; without it when that fails
    Require, // with a certificate that is good for the host's name, or not at all
};

struct SmtpOptions {
    std::string hostname; // ours; one that is no host name is "localhost" to the server
    SmtpTls tls = SmtpTls::Try;
    std::string caFile{}; // certificates that are trusted in place of the system's; empty: the system's
    std::chrono::seconds timeout{
        300}; // for the connection, for each answer, and for a message that stands still
};

// For one thread. Nothing throws but std::bad_alloc.
class SmtpConnection {
public:
    using Time = std::chrono::steady_clock::time_point;

    // Null when there is none; `problem` then says why, for people.
    static std::unique_ptr<SmtpConnection> open(const NextHop& hop, const SmtpOptions& options,
                                                std::string& problem);

    SmtpConnection(const SmtpConnection&) = delete;
    SmtpConnection& operator=(const SmtpConnection&) = delete;
    ~SmtpConnection();

    const ServerGreeting& server() const { return greeting_; }

    // Sends all of it. False when the connection is lost or `deadline` has passed.
    bool send(std::string_view bytes, Time deadline);

    enum class Got : std::uint8_t { Reply, Closed, TimedOut, Garbage };
    Got receive(SmtpReply& out, Time deadline);

    // Whether the server has said nothing that nobody asked for, so that its next answer is one.
    bool quiet();

    // Says goodbye, without waiting long for an answer. Nothing may be sent afterwards.
    void quit();

private:
    struct Handle;
    SmtpConnection();
    bool connect(const NextHop& hop, const SmtpOptions& options, SmtpTls tls, std::string& problem,
                 bool& tlsFailed);
    bool wait(short events, Time deadline);

    std::unique_ptr<Handle> handle_;
    ServerGreeting greeting_;
    ReplyReader replies_;
};

} // namespace quzo::platform
