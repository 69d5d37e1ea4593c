// The sender's own address in a trap of version 1.
#pragma once

#include <array>
#include <cstdint>

#include "platform/snmp/host_addresses.h"

namespace quzo::platform {

// The IPv4 address from which this host reaches the receiver; 0.0.0.0, which stands for none, when there is
// no way to it and for an IPv6 receiver. Sends nothing.
std::array<unsigned char, 4> localAddressFor(const HostAddress& receiver, std::uint16_t port);

} // namespace quzo::platform
