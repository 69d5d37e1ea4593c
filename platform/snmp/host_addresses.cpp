// The system is asked in a thread of its own, which is left behind when it does not come back in time: there
// is no way to stop it. Each host has one such thread at most, and what it works on is the question's, which
// lives until both sides are done with it.
#include "platform/snmp/host_addresses.h"

#include <netdb.h>
#include <sys/socket.h>

#include <chrono>
#include <condition_variable>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

using Clock = std::chrono::steady_clock;
using Addresses = std::vector<HostAddress>;

constexpr std::chrono::seconds kPatience{2};
constexpr std::chrono::seconds kKnownFor{60};
constexpr std::chrono::seconds kUnknownFor{30};
constexpr std::size_t kMostHosts = 64; // settings name one

addrinfo wanted(int flags) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = flags;
    return hints;
}

Addresses readAddresses(const addrinfo* first) {
    Addresses addresses;
    for (const addrinfo* info = first; info != nullptr; info = info->ai_next) {
        char text[NI_MAXHOST] = "";
        const bool known = info->ai_family == AF_INET || info->ai_family == AF_INET6;
        if (known && ::getnameinfo(info->ai_addr, info->ai_addrlen, text, sizeof text, nullptr, 0,
                                   NI_NUMERICHOST) == 0) {
            addresses.push_back({info->ai_family == AF_INET6, text});
        }
    }
    return addresses;
}

using AddressList = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

int errorOf(int lookup) {
    return lookup == 0 || lookup == EAI_NONAME || lookup == EAI_NODATA ? kErrorNotFound : kErrorInputOutput;
}

// One question to the system, for the side that asks and the thread that answers.
class Question {
public:
    explicit Question(std::string host) : host_(std::move(host)) {}

    // In the thread.
    void answer() noexcept {
        Addresses found;
        int error = kErrorInputOutput;
        try {
            const addrinfo hints = wanted(AI_ADDRCONFIG);
            addrinfo* first = nullptr;
            const int lookup = ::getaddrinfo(host_.c_str(), nullptr, &hints, &first);
            const AddressList list(first, &::freeaddrinfo);
            found = readAddresses(lookup == 0 ? first : nullptr);
            error = found.empty() ? errorOf(lookup) : kErrorNone;
        } catch (const std::exception&) {
            found.clear();
        }
        const std::scoped_lock lock(mutex_);
        addresses_ = std::move(found);
        error_ = error;
        answered_ = true;
        change_.notify_all();
    }

    // Waits for the answer, not without end. False when there is none yet.
    bool take(int& error, Addresses& addresses) {
        std::unique_lock lock(mutex_);
        if (!change_.wait_for(lock, kPatience, [&] { return answered_; })) {
            return false;
        }
        error = error_;
        addresses = std::move(addresses_);
        return true;
    }

private:
    const std::string host_;
    std::mutex mutex_;
    std::condition_variable change_;
    bool answered_ = false; // these three are guarded by the mutex
    int error_ = 0;
    Addresses addresses_;
};

struct KnownHost {
    Addresses addresses;
    int error = 0; // of the last question
    Clock::time_point until{};
    std::shared_ptr<Question> open; // not answered yet
};

struct KnownHosts {
    std::mutex mutex;
    std::map<std::string, KnownHost> hosts;
};

KnownHosts& knownHosts() {
    static KnownHosts hosts;
    return hosts;
}

// Null when the system has no thread left.
std::shared_ptr<Question> ask(const std::string& name) {
    auto question = std::make_shared<Question>(name);
    try {
        std::thread([question] { question->answer(); }).detach();
    } catch (const std::system_error&) {
        return nullptr;
    }
    return question;
}

void askAgain(const std::string& name, KnownHost& host) {
    if (host.open == nullptr) {
        host.open = ask(name);
    }
    Addresses found;
    int error = kErrorInputOutput;
    if (host.open != nullptr && host.open->take(error, found)) {
        host.open.reset();
    }
    if (error == 0) {
        host.addresses = std::move(found);
    }
    host.error = error;
    host.until = Clock::now() + (error == 0 ? kKnownFor : kUnknownFor);
}

bool readNumbers(const std::string& host, Addresses& addresses) {
    const addrinfo hints = wanted(AI_NUMERICHOST);
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) {
        return false;
    }
    const AddressList list(found, &::freeaddrinfo);
    addresses = readAddresses(list.get());
    return !addresses.empty();
}

} // namespace

int findHostAddresses(const std::string& host, Addresses& addresses) {
    if (readNumbers(host, addresses)) {
        return kErrorNone;
    }
    KnownHosts& known = knownHosts();
    const std::scoped_lock lock(known.mutex);
    if (known.hosts.size() >= kMostHosts) {
        std::erase_if(known.hosts, [](const auto& entry) { return entry.second.open == nullptr; });
    }
    if (known.hosts.size() >= kMostHosts && known.hosts.count(host) == 0) {
        return kErrorLimit;
    }
    KnownHost& entry = known.hosts[host];
    if (Clock::now() >= entry.until) {
        askAgain(host, entry);
    }
    addresses = entry.addresses;
    return addresses.empty() ? entry.error : kErrorNone;
}

} // namespace quzo::platform
