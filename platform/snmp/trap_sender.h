// Sending traps through Net-SNMP.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/config/snmp_settings.h"
#include "platform/snmp/host_addresses.h"

namespace quzo::platform {

struct Trap {
    std::uint32_t type = 0;
    std::string community;
    std::string text; // any bytes, any length
};

// Any thread: Net-SNMP, which keeps its users of version 3 without a lock, is used by one at a time.
// Nothing waits for the network.
class TrapSender {
public:
    explicit TrapSender(SnmpSettings settings);
    ~TrapSender();
    TrapSender(const TrapSender&) = delete;
    TrapSender& operator=(const TrapSender&) = delete;

    // Sends one datagram, and gives 0 when the system has taken it. kErrorInvalidArgument for what a trap of
    // the version cannot carry.
    int send(const Trap& trap, const HostAddress& receiver, std::uint16_t port);

private:
    struct Keys;

    std::size_t mostText(const Trap& trap) const;
    void* open(const Trap& trap, const std::string& peer) const;

    const SnmpSettings settings_;
    std::unique_ptr<Keys> keys_; // of version 3, made at the first trap
};

} // namespace quzo::platform
