// Connecting a datagram socket only asks for the route.
#include "platform/snmp/local_address.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace quzo::platform {

std::array<unsigned char, 4> localAddressFor(const HostAddress& receiver, std::uint16_t port) {
    std::array<unsigned char, 4> own{};
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (receiver.ipv6 || ::inet_pton(AF_INET, receiver.text.c_str(), &address.sin_addr) != 1) {
        return own;
    }
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0) {
        return own;
    }
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::connect(socket, generic, length) == 0 && ::getsockname(socket, generic, &length) == 0) {
        std::memcpy(own.data(), &address.sin_addr, own.size());
    }
    ::close(socket);
    return own;
}

} // namespace quzo::platform
