// See smtp_sender.h.
#include "platform/mta/smtp/smtp_sender.h"

#include <csignal>
#include <numeric>
#include <optional>

#include "platform/base/host_name.h"
#include "platform/base/utf8.h"
#include "platform/message/values/mailbox.h"
#include "platform/mta/smtp/smtp_transaction.h"

namespace quzo::platform {
namespace {

using Fate = RecipientAnswer::Fate;

// Writing to a connection that is gone raises SIGPIPE, which would end the program. While one lives it does
// not come; one that comes in that time was ours.
class PipeSignalHeld {
public:
    PipeSignalHeld() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        waiting_ = waiting();
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~PipeSignalHeld() {
        if (!waiting_ && waiting()) {
            int number = 0;
            sigwait(&pipe_, &number);
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    PipeSignalHeld(const PipeSignalHeld&) = delete;
    PipeSignalHeld& operator=(const PipeSignalHeld&) = delete;

private:
    static bool waiting() {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t pipe_{};
    sigset_t before_{};
    bool waiting_ = false;
};

// Stricter than the address's own rules: blanks in a quoted local part are not worth what a server might make
// of them.
bool maySend(const std::string& address) {
    return validAddress(address) && address.find(' ') == std::string::npos;
}

void answerAll(const std::vector<std::size_t>& places, Fate fate, const std::string& text,
               std::vector<RecipientAnswer>& answers) {
    for (const std::size_t place : places) {
        answers[place] = {fate, text};
    }
}

} // namespace

SmtpSender::~SmtpSender() { rest(); }

void SmtpSender::rest() {
    if (connection_ != nullptr) {
        const PipeSignalHeld held;
        connection_->quit();
        connection_.reset();
    }
}

SendResult SmtpSender::send(const SendJob& job) {
    SendResult result;
    result.answers.resize(job.recipients.size());
    std::vector<std::size_t> places(job.recipients.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    std::string host;
    if (!job.sender.empty() && !maySend(job.sender)) {
        answerAll(places, Fate::Refused, "the sender is no address that mail can come from", result.answers);
        return result;
    }
    if (!readHostName(job.hop.host, host)) {
        answerAll(places, Fate::Refused, "the server's name is no host name", result.answers);
        return result;
    }
    std::erase_if(places, [&](std::size_t place) {
        const bool usable = maySend(job.recipients[place]);
        if (!usable) {
            result.answers[place] = {Fate::Refused, "it is no address that mail can be sent to"};
        }
        return !usable;
    });
    if (!places.empty()) {
        const PipeSignalHeld held;
        transfer(job, places, result);
    }
    return result;
}

// A connection that was kept may have been closed meanwhile: that is seen before the server has looked at the
// message, and then a new one is made.
void SmtpSender::transfer(const SendJob& job, const std::vector<std::size_t>& places, SendResult& result) {
    WireFacts facts;
    if (!measureMessage(job.message, facts)) {
        answerAll(places, Fate::Later, "the message could not be read", result.answers);
        return;
    }
    if (connection_ != nullptr && !(hop_ == job.hop)) {
        rest();
    }
    for (bool fresh = connection_ == nullptr;; fresh = true) {
        // Not kept, should anything go wrong.
        std::unique_ptr<SmtpConnection> connection = std::move(connection_);
        std::string problem;
        if (connection == nullptr) {
            connection = SmtpConnection::open(job.hop, options_, problem);
        }
        if (connection == nullptr) {
            answerAll(places, Fate::Later, problem, result.answers);
            result.unreachable = true;
            return;
        }
        const std::vector<std::size_t> wanted =
            fitting(job, facts.size, connection->server(), places, result.answers);
        SmtpTransaction transaction(*connection, options_.timeout, job, facts);
        const auto end =
            wanted.empty() ? SmtpTransaction::End::Clean : transaction.run(wanted, result.answers);
        if (end == SmtpTransaction::End::Unused && !fresh) {
            continue;
        }
        if (end == SmtpTransaction::End::Unused) {
            answerAll(wanted, Fate::Later, transaction.trouble(), result.answers);
        }
        if (end == SmtpTransaction::End::Clean) {
            hop_ = job.hop;
            connection_ = std::move(connection);
        }
        return;
    }
}

std::vector<std::size_t> SmtpSender::fitting(const SendJob& job, std::uint64_t size,
                                             const ServerGreeting& server, std::vector<std::size_t> places,
                                             std::vector<RecipientAnswer>& answers) {
    constexpr const char* kNoUtf8 = "the server does not take addresses beyond ASCII (no SMTPUTF8)";
    if (server.maxSize() != 0 && size > server.maxSize()) {
        answerAll(places, Fate::Refused,
                  "it has " + std::to_string(size) + " bytes, and the server takes " +
                      std::to_string(server.maxSize()) + " at most",
                  answers);
        return {};
    }
    if (server.utf8()) {
        return places;
    }
    if (!isAscii(job.sender)) {
        answerAll(places, Fate::Refused, kNoUtf8, answers);
        return {};
    }
    std::erase_if(places, [&](std::size_t place) {
        const bool plain = isAscii(job.recipients[place]);
        if (!plain) {
            answers[place] = {Fate::Refused, kNoUtf8};
        }
        return !plain;
    });
    return places;
}

} // namespace quzo::platform
