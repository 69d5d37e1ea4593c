// See smtp_connection.h. Only this file speaks to libcurl.
#include "platform/mta/smtp/smtp_connection.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "platform/base/host_name.h"
#include "platform/base/visible_text.h"
#include "platform/mta/smtp/curl_library.h"

namespace quzo::platform {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = std::size_t{16} << 10U; // bytes that are read at once
constexpr std::chrono::seconds kGoodbye{1};

// The server's lines before the first message. Nothing may be thrown through libcurl.
std::size_t takeLine(char* text, std::size_t one, std::size_t size, void* greeting) {
    try {
        static_cast<ServerGreeting*>(greeting)->line({text, one * size});
        return one * size;
    } catch (const std::exception&) {
        return 0; // ends the connection
    }
}

bool isIpAddress(const std::string& name) {
    return name.find(':') != std::string::npos || name.find_first_not_of("0123456789.") == std::string::npos;
}

std::string urlOf(const NextHop& hop, const std::string& hostname) {
    std::string own;
    if (!readHostName(hostname, own)) {
        own = "localhost";
    } else if (isIpAddress(own)) {
        own = "%5B" + (own.find(':') != std::string::npos ? "IPv6:" + own : own) + "%5D";
    }
    const std::string host = hop.host.find(':') != std::string::npos ? "[" + hop.host + "]" : hop.host;
    return (hop.alwaysTls ? "smtps://" : "smtp://") + host + ":" + std::to_string(hop.port) + "/" + own;
}

bool isTlsTrouble(CURLcode code) {
    return code == CURLE_SSL_CONNECT_ERROR || code == CURLE_SSL_CIPHER ||
           code == CURLE_PEER_FAILED_VERIFICATION;
}

} // namespace

struct SmtpConnection::Handle {
    Handle() : curl(curlLibrary()->easyInit()) {
        if (curl == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~Handle() { curlLibrary()->easyCleanup(curl); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    CURL* curl;
    curl_socket_t socket = CURL_SOCKET_BAD;
};

SmtpConnection::SmtpConnection() = default;
SmtpConnection::~SmtpConnection() = default;

std::unique_ptr<SmtpConnection> SmtpConnection::open(const NextHop& hop, const SmtpOptions& options,
                                                     std::string& problem) {
    if (curlLibrary() == nullptr) {
        problem = "libcurl cannot be loaded: install it";
        return nullptr;
    }
    std::unique_ptr<SmtpConnection> connection(new SmtpConnection);
    bool tlsFailed = false;
    if (connection->connect(hop, options, options.tls, problem, tlsFailed)) {
        return connection;
    }
    if (tlsFailed && options.tls == SmtpTls::Try && !hop.alwaysTls) {
        connection = std::unique_ptr<SmtpConnection>(new SmtpConnection);
        if (connection->connect(hop, options, SmtpTls::Off, problem, tlsFailed)) {
            return connection;
        }
    }
    return nullptr;
}

bool SmtpConnection::connect(const NextHop& hop, const SmtpOptions& options, SmtpTls tls,
                             std::string& problem, bool& tlsFailed) {
    handle_ = std::make_unique<Handle>();
    CURL* curl = handle_->curl;
    const auto set = [curl](CURLoption option, auto value) {
        curlLibrary()->easySetopt(curl, option, value);
    };
    set(CURLOPT_URL, urlOf(hop, options.hostname).c_str());
    set(CURLOPT_PROTOCOLS_STR, "smtp,smtps");
    set(CURLOPT_PROXY, ""); // whatever the environment says
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_CONNECT_ONLY, 1L);
    set(CURLOPT_CONNECTTIMEOUT_MS,
        static_cast<long>(std::chrono::duration_cast<milliseconds>(options.timeout).count()));
    set(CURLOPT_HEADERFUNCTION, &takeLine);
    set(CURLOPT_HEADERDATA, static_cast<void*>(&greeting_));
    const bool checked = tls == SmtpTls::Require;
    set(CURLOPT_USE_SSL, static_cast<long>(checked               ? CURLUSESSL_ALL
                                           : tls == SmtpTls::Try ? CURLUSESSL_TRY
                                                                 : CURLUSESSL_NONE));
    set(CURLOPT_SSL_VERIFYPEER, checked ? 1L : 0L);
    set(CURLOPT_SSL_VERIFYHOST, checked ? 2L : 0L);
    if (!options.caFile.empty()) {
        set(CURLOPT_CAINFO, options.caFile.c_str());
        set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    if (!hop.user.empty()) {
        set(CURLOPT_USERNAME, hop.user.c_str());
        set(CURLOPT_PASSWORD, hop.password.c_str());
    }
    const CURLcode code = curlLibrary()->easyPerform(curl);
    if (code == CURLE_OK &&
        curlLibrary()->easyGetinfo(curl, CURLINFO_ACTIVESOCKET, &handle_->socket) == CURLE_OK &&
        handle_->socket != CURL_SOCKET_BAD) {
        return true;
    }
    tlsFailed = isTlsTrouble(code);
    problem = "no connection to " + hop.host + " port " + std::to_string(hop.port) + ": ";
    problem += code == CURLE_USE_SSL_FAILED ? "it offers no TLS, which is required"
                                            : curlLibrary()->easyStrerror(code);
    if (code != CURLE_COULDNT_CONNECT && !greeting_.lastAnswer().empty()) {
        problem += " (its last answer: " + greeting_.lastAnswer() + ")";
    }
    return false;
}

bool SmtpConnection::wait(short events, Time deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            return false;
        }
        pollfd descriptor{handle_->socket, events, 0};
        const int ready = ::poll(&descriptor, 1, static_cast<int>(std::min<std::int64_t>(left, 60000)));
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return ready > 0;
        }
    }
}

bool SmtpConnection::send(std::string_view bytes, Time deadline) {
    while (!bytes.empty()) {
        std::size_t sent = 0;
        const CURLcode code = curlLibrary()->easySend(handle_->curl, bytes.data(), bytes.size(), &sent);
        if (code == CURLE_OK) {
            bytes.remove_prefix(sent);
        } else if (code != CURLE_AGAIN || !wait(POLLOUT, deadline)) {
            return false;
        }
    }
    return true;
}

SmtpConnection::Got SmtpConnection::receive(SmtpReply& out, Time deadline) {
    for (;;) {
        switch (replies_.next(out)) {
            case ReplyReader::State::Whole:
                return Got::Reply;
            case ReplyReader::State::Broken:
                return Got::Garbage;
            case ReplyReader::State::More:
                break;
        }
        char piece[kPiece];
        std::size_t got = 0;
        const CURLcode code = curlLibrary()->easyRecv(handle_->curl, piece, sizeof piece, &got);
        if (code == CURLE_OK && got > 0) {
            replies_.feed({piece, got});
        } else if (code != CURLE_AGAIN) {
            return Got::Closed;
        } else if (!wait(POLLIN, deadline)) {
            return Got::TimedOut;
        }
    }
}

bool SmtpConnection::quiet() {
    char piece[kPiece];
    std::size_t got = 0;
    if (replies_.pending()) {
        return false;
    }
    const CURLcode code = curlLibrary()->easyRecv(handle_->curl, piece, sizeof piece, &got);
    replies_.feed({piece, code == CURLE_OK ? got : 0});
    return code == CURLE_AGAIN;
}

void SmtpConnection::quit() {
    SmtpReply ignored;
    const Time deadline = Clock::now() + kGoodbye;
    if (send("QUIT\r\n", deadline)) {
        receive(ignored, deadline);
    }
}

} // namespace quzo::platform
