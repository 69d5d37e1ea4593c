// Every address is kept in 16 bytes, IPv4 mapped into IPv6 (RFC 4291, 2.5.5.2), so that one comparison does
// for both. 0.0.0.0/0 is then ::ffff:0:0/96, and ::/0 has IPv4 too.
#include "platform/base/network.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/base/numbers.h"

namespace quzo::platform {
namespace {

constexpr unsigned kBits = 128;
constexpr unsigned kV4Bits = 32;
constexpr std::size_t kV4At = 12; // where an IPv4 address begins in the 16 bytes

std::array<std::uint8_t, 16> mapped(const in_addr& address) {
    std::array<std::uint8_t, 16> bytes{};
    bytes[kV4At - 2] = 0xFF;
    bytes[kV4At - 1] = 0xFF;
    std::memcpy(&bytes[kV4At], &address, sizeof address);
    return bytes;
}

// Whether the bit, counted from the front, is set.
bool bitOf(const std::array<std::uint8_t, 16>& bytes, unsigned bit) {
    return (bytes[bit / 8] >> (7 - bit % 8) & 1U) != 0;
}

} // namespace

std::optional<Network::Bytes> Network::read(std::string_view text, bool& isV4) {
    std::array<char, INET6_ADDRSTRLEN> buffer{};
    if (text.size() >= buffer.size() || text.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    std::copy(text.begin(), text.end(), buffer.begin());
    in_addr four{};
    isV4 = ::inet_pton(AF_INET, buffer.data(), &four) == 1;
    if (isV4) {
        return mapped(four);
    }
    Bytes bytes{};
    return ::inet_pton(AF_INET6, buffer.data(), bytes.data()) == 1 ? std::optional(bytes) : std::nullopt;
}

std::optional<Network> Network::parse(std::string_view text) {
    const std::size_t slash = text.find('/');
    bool isV4 = false;
    const std::optional<Bytes> bytes = read(text.substr(0, slash), isV4);
    if (!bytes) {
        return std::nullopt;
    }
    const unsigned most = isV4 ? kV4Bits : kBits;
    unsigned bits = most;
    if (slash != std::string_view::npos) {
        const std::string_view digits = text.substr(slash + 1);
        const auto number = parseNumber<unsigned>(digits);
        if (!number || *number > most || digits.front() < '0' || (digits.size() > 1 && digits[0] == '0')) {
            return std::nullopt;
        }
        bits = *number;
    }
    Network network;
    network.bytes_ = *bytes;
    network.bits_ = bits + (isV4 ? kBits - kV4Bits : 0);
    for (unsigned bit = network.bits_; bit < kBits; ++bit) {
        if (bitOf(network.bytes_, bit)) {
            return std::nullopt;
        }
    }
    return network;
}

bool Network::contains(const Bytes& address) const {
    for (unsigned bit = 0; bit < bits_; ++bit) {
        if (bitOf(address, bit) != bitOf(bytes_, bit)) {
            return false;
        }
    }
    return true;
}

bool Network::contains(const sockaddr& address, socklen_t length) const {
    if (length >= sizeof(sockaddr_in) && address.sa_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, &address, sizeof four);
        return contains(mapped(four.sin_addr));
    }
    if (length >= sizeof(sockaddr_in6) && address.sa_family == AF_INET6) {
        sockaddr_in6 six{};
        std::memcpy(&six, &address, sizeof six);
        Bytes bytes{};
        std::memcpy(bytes.data(), &six.sin6_addr, bytes.size());
        return contains(bytes);
    }
    return false;
}

bool Network::contains(std::string_view address) const {
    bool isV4 = false;
    const std::optional<Bytes> bytes = read(address, isV4);
    return bytes && contains(*bytes);
}

} // namespace quzo::platform
