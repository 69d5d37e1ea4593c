// A network of IP addresses, such as 192.0.2.0/24 or 2001:db8::/32.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace quzo::platform {

// Immutable; a plain value.
class Network {
public:
    // Reads "ADDRESS/BITS" or "ADDRESS", which is a network of one. Address and length are in decimal (or
    // hexadecimal for IPv6) as inet_pton(3) reads them, without blanks, brackets or a zone. Nothing for any
    // other text, an address with bits behind the length among them: who writes 10.0.0.1/8 means something
    // else than 10.0.0.0/8.
    static std::optional<Network> parse(std::string_view text);

    // Whether it has that address. An IPv4 address that stands in an IPv6 one (::ffff:192.0.2.1), as sockets
    // for both have it, is in the networks of either form. False for other families than AF_INET and
    // AF_INET6, and for what is shorter than an address of its family.
    bool contains(const sockaddr& address, socklen_t length) const;

    // The same with a text as inet_pton(3) reads it; false when it is no address.
    bool contains(std::string_view address) const;

    friend bool operator==(const Network&, const Network&) = default;

private:
    using Bytes = std::array<std::uint8_t, 16>; // of IPv4 mapped into IPv6

    static std::optional<Bytes> read(std::string_view text, bool& isV4);
    bool contains(const Bytes& address) const;

    Bytes bytes_{};
    unsigned bits_ = 0; // of all 128
};

using Networks = std::vector<Network>;

} // namespace quzo::platform
