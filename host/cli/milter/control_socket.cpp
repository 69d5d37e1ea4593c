// See control_socket.h. A request is a line; the answer is text, and the exit code in a line of its own at
// the end, without which it is not whole.
#include "host/cli/milter/control_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "host/base/exit_code.h"
#include "platform/base/numbers.h"
#include "platform/base/owner_of_new_file.h"

namespace quzo::host {
namespace {

constexpr std::string_view kEnd = "exit=";
constexpr std::size_t kMostRequest = 64;           // bytes
constexpr std::size_t kMostAnswer = 1024UL * 1024; // bytes
constexpr int kRequestSeconds = 2;
constexpr int kAnswerSeconds = 120;

bool addressOf(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

Fault tooLong(const std::string& path) {
    return {kExitConfiguration, path, "the path is too long for a socket",
            "set control in [milter] to one of at most 107 bytes"};
}

FileDescriptor unixSocket(int flags = 0) {
    return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
}

void waitAtMost(int seconds, const FileDescriptor& socket) {
    const timeval most{seconds, 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &most, sizeof most);
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &most, sizeof most);
}

bool connectTo(const FileDescriptor& socket, const sockaddr_un& address) {
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// Makes the socket at that path, for its owner alone: of an unbound socket the mode is that of what bind()
// makes. False, with errno, when it cannot be.
bool bindTo(const FileDescriptor& socket, const std::string& path, const sockaddr_un& address) {
    if (::fchmod(socket.get(), S_IRUSR | S_IWUSR) != 0) {
        return false;
    }
    const platform::AsOwner owner(AT_FDCWD, path.c_str());
    if (owner.error() != 0) {
        errno = owner.error();
        return false;
    }
    return ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// Adds what comes until `over` says that it is enough, the other side has finished, or time is up.
template <typename Over>
void receive(int socket, std::string& into, std::size_t most, Over&& over) {
    char piece[4096];
    while (into.size() < most && !over(into)) {
        const ssize_t got = ::recv(socket, piece, std::min(sizeof piece, most - into.size()), 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return;
        }
        into.append(piece, static_cast<std::size_t>(got));
    }
}

bool sendAll(int socket, std::string_view text) {
    while (!text.empty()) {
        const ssize_t sent = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(sent > 0 ? static_cast<std::size_t>(sent) : 0);
    }
    return true;
}

// Removes what a dead process has left there; false when somebody answers, or it is no socket.
bool removeStale(const std::string& path, const sockaddr_un& address) {
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0 || !S_ISSOCK(found.st_mode)) {
        return false;
    }
    const FileDescriptor caller = unixSocket();
    return !connectTo(caller, address) && errno == ECONNREFUSED && ::unlink(path.c_str()) == 0;
}

} // namespace

std::string controlPathOf(const platform::IniSettings& settings) {
    const std::string set = settings.milter().control;
    const std::string spool = settings.platform().spool;
    return !set.empty() || spool.empty() ? set : spool + "/milter.control";
}

ControlSocket::~ControlSocket() {
    if (!path_.empty()) {
        ::unlink(path_.c_str());
    }
}

MaybeFault ControlSocket::open(const std::string& path) {
    sockaddr_un address;
    if (!addressOf(path, address)) {
        return tooLong(path);
    }
    // What keeps it from that, bind() says too.
    platform::makeDirectoryAsOwner(AT_FDCWD, path.substr(0, path.rfind('/')).c_str(), S_IRWXU);
    const auto bound = [&](const FileDescriptor& socket) { return bindTo(socket, path, address); };
    FileDescriptor made = unixSocket(SOCK_NONBLOCK);
    if (!bound(made)) {
        const bool taken = errno == EADDRINUSE;
        if (taken && !removeStale(path, address)) {
            return Fault{kExitCannotCreate, path, "another milter listens there, or it is no socket",
                         "give each milter its own control in [milter]"};
        }
        if (!taken || !bound(made)) {
            return systemFault(kExitCannotCreate, path, "cannot be made", errno);
        }
    }
    path_ = path;
    if (::listen(made.get(), 4) != 0) {
        return systemFault(kExitCannotCreate, path, "cannot be used", errno);
    }
    listener_ = std::move(made);
    return std::nullopt;
}

void ControlSocket::serve(const std::function<ControlAnswer(std::string_view request)>& answer) {
    const FileDescriptor caller(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (caller.get() < 0) {
        return;
    }
    waitAtMost(kRequestSeconds, caller);
    std::string request;
    receive(caller.get(), request, kMostRequest,
            [](const std::string& text) { return text.find('\n') != std::string::npos; });
    const std::size_t end = request.find('\n');
    if (end == std::string::npos) {
        return;
    }
    const ControlAnswer given = answer(std::string_view(request).substr(0, end));
    sendAll(caller.get(), given.text + std::string(kEnd) + std::to_string(given.exitCode) + "\n");
}

MaybeFault askMilter(const std::string& path, std::string_view request, ControlAnswer& answer) {
    sockaddr_un address;
    if (!addressOf(path, address)) {
        return tooLong(path);
    }
    const FileDescriptor caller = unixSocket();
    waitAtMost(kAnswerSeconds, caller);
    if (!connectTo(caller, address)) {
        return errno == ENOENT || errno == ECONNREFUSED
                   ? Fault{kExitTryAgain, path, "no milter listens there",
                           "start it, or name its settings with -c"}
                   : systemFault(kExitInputOutput, path, "cannot be reached", errno);
    }
    std::string text;
    if (sendAll(caller.get(), std::string(request) + "\n")) {
        receive(caller.get(), text, kMostAnswer, [](const std::string& /*whole*/) { return false; });
    }
    const std::size_t last = text.rfind(kEnd);
    const auto exitCode = last == std::string::npos || !text.ends_with('\n')
                              ? std::nullopt
                              : platform::parseNumber<int>(std::string_view(text).substr(
                                    last + kEnd.size(), text.size() - last - kEnd.size() - 1));
    if (!exitCode) {
        return Fault{kExitTryAgain, path, "the milter gives no whole answer",
                     "look at its log, and try again"};
    }
    answer = {text.substr(0, last), *exitCode};
    return std::nullopt;
}

} // namespace quzo::host
