// glibc's getaddrinfo_a asks in a thread of its own, which can be left behind when it does not come back in
// time. What such a question works on stays allocated until it is answered.
#include "platform/snmp/host_addresses.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>

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

// One question to the system.
class Question {
public:
    explicit Question(std::string host) : host_(std::move(host)) {
        request_.ar_name = host_.c_str();
        request_.ar_request = &hints_;
    }

    int ask() {
        gaicb* list[] = {&request_};
        return ::getaddrinfo_a(GAI_NOWAIT, list, 1, nullptr);
    }

    // Whether it is answered by then.
    bool wait(Clock::time_point end) const {
        while (::gai_error(request()) == EAI_INPROGRESS) {
            const auto left = end - Clock::now();
            if (left <= Clock::duration::zero()) {
                return false;
            }
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
            const timespec timeout{seconds.count(), std::chrono::nanoseconds(left - seconds).count()};
            const gaicb* const list[] = {&request_};
            ::gai_suspend(list, 1, &timeout);
        }
        return true;
    }

    bool cancel() { return ::gai_cancel(&request_) != EAI_NOTCANCELED; }

    // When it is answered, once.
    int take(Addresses& addresses) {
        const int error = ::gai_error(&request_);
        const AddressList list(request_.ar_result, &::freeaddrinfo);
        request_.ar_result = nullptr;
        addresses = error == 0 ? readAddresses(list.get()) : Addresses();
        if (error == 0) {
            return addresses.empty() ? kErrorNotFound : kErrorNone;
        }
        return error == EAI_NONAME || error == EAI_NODATA ? kErrorNotFound : kErrorInputOutput;
    }

private:
    gaicb* request() const { return const_cast<gaicb*>(&request_); }

    std::string host_;
    addrinfo hints_ = wanted(AI_ADDRCONFIG);
    gaicb request_{};
};

struct KnownHost {
    Addresses addresses;
    int error = 0; // of the last question
    Clock::time_point until{};
    std::unique_ptr<Question> open; // not answered yet
};

struct KnownHosts {
    std::mutex mutex;
    std::map<std::string, KnownHost> hosts;
};

// Never destroyed: a question that is not answered when the program ends is still written to.
KnownHosts& knownHosts() {
    static KnownHosts& hosts = *std::make_unique<KnownHosts>().release();
    return hosts;
}

void askAgain(const std::string& name, KnownHost& host) {
    int error = kErrorInputOutput;
    if (host.open == nullptr) {
        auto question = std::make_unique<Question>(name);
        if (question->ask() == 0) {
            host.open = std::move(question);
        }
    }
    if (host.open != nullptr && host.open->wait(Clock::now() + kPatience)) {
        Addresses found;
        error = host.open->take(found);
        host.open.reset();
        if (error == 0) {
            host.addresses = std::move(found);
        }
    } else if (host.open != nullptr && host.open->cancel()) {
        host.open.reset();
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
