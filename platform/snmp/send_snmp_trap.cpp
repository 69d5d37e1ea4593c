// SendSNMPTrap: what the arguments may be, the receiver's addresses, and one after the other until the system
// takes the datagram for one.
#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/config/known_keys.h"
#include "platform/snmp/host_addresses.h"
#include "platform/snmp/snmp.h"
#include "platform/snmp/trap_sender.h"
#include "platform/snmp/trap_server.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"
#include "quzo/core/snmp.h"

namespace quzo {
namespace {

using platform::TrapSender;

constexpr std::size_t kMostCommunity = 255;

thread_local bool trapsHeld = false;

std::string defaultCommunity() {
    return std::string(platform::findKnownKey("General-Notification", "Community")->usual);
}

struct Configured {
    std::mutex mutex;
    std::shared_ptr<TrapSender> sender;
};

Configured& configured() {
    static Configured instance;
    return instance;
}

std::shared_ptr<TrapSender> configuredSender() {
    Configured& current = configured();
    const std::scoped_lock lock(current.mutex);
    if (current.sender == nullptr) {
        current.sender = std::make_shared<TrapSender>(platform::SnmpSettings());
    }
    return current.sender;
}

// Receivers compare it byte by byte and show it to people.
bool isCommunity(const std::string& text) {
    constexpr unsigned char kDelete = 0x7F;
    return text.size() <= kMostCommunity && std::all_of(text.begin(), text.end(), [](char c) {
               const auto byte = static_cast<unsigned char>(c);
               return byte >= ' ' && byte != kDelete;
           });
}

int sendTrap(const char* server, unsigned type, const char* community, const char* text) {
    const auto target = server != nullptr ? platform::parseTrapServer(server) : std::nullopt;
    platform::Trap trap;
    trap.type = type;
    trap.community = community != nullptr && *community != '\0' ? std::string(community) : defaultCommunity();
    if (!target || text == nullptr || !isCommunity(trap.community)) {
        return kErrorInvalidArgument;
    }
    if (trapsHeld) {
        return kErrorNone;
    }
    trap.text = text;
    std::vector<platform::HostAddress> addresses;
    int error = platform::findHostAddresses(target->host, addresses);
    if (error != 0) {
        return error;
    }
    const auto sender = configuredSender();
    for (const platform::HostAddress& address : addresses) {
        error = sender->send(trap, address, target->port);
        if (error != kErrorInputOutput) {
            break;
        }
    }
    return error;
}

} // namespace

void platform::configureSnmp(SnmpSettings settings) {
    Configured& current = configured();
    const std::scoped_lock lock(current.mutex);
    current.sender = std::make_shared<TrapSender>(std::move(settings));
}

platform::HeldTraps::HeldTraps(bool held) : before_(trapsHeld) { trapsHeld = held || before_; }

platform::HeldTraps::~HeldTraps() { trapsHeld = before_; }

int SendSNMPTrap(const char* server, unsigned trapType, const char* community, const char* text,
                 int /*reserved*/) {
    return guarded("SendSNMPTrap", static_cast<int>(kErrorNoMemory),
                   [&] { return sendTrap(server, trapType, community, text); });
}

} // namespace quzo
