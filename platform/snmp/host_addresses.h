// From the name of a host to its addresses, in bounded time.
#pragma once

#include <string>
#include <vector>

namespace quzo::platform {

struct HostAddress {
    bool ipv6 = false;
    std::string text; // as numbers; an IPv6 address without brackets
};

// The addresses of a host in the order in which they should be tried; at least one when the result is 0.
// Asking the system takes 2 seconds at most; what it answers holds for a minute, and that it does not know or
// answer for half a minute, so that a name server that is down costs its wait once and not for each message.
// An address that was known once is used on when the name cannot be asked for again. Otherwise an error
// number: kErrorNotFound when there is no such host. Any thread; those that ask at the same time wait for
// one another.
int findHostAddresses(const std::string& host, std::vector<HostAddress>& addresses);

} // namespace quzo::platform
