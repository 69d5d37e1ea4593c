// Networks: which texts are one, and which addresses are in it.
#include "platform/base/network.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using namespace std::string_literals;
using quzo::platform::Network;

// Whether the network has the address, as a socket gives it.
bool hasSocketAddress(const Network& network, const char* text) {
    sockaddr_in6 six{};
    sockaddr_in four{};
    four.sin_family = AF_INET;
    six.sin6_family = AF_INET6;
    sockaddr_storage storage{};
    if (::inet_pton(AF_INET, text, &four.sin_addr) == 1) {
        std::memcpy(&storage, &four, sizeof four);
    } else {
        EXPECT_EQ(::inet_pton(AF_INET6, text, &six.sin6_addr), 1) << text;
        std::memcpy(&storage, &six, sizeof six);
    }
    const auto& address = reinterpret_cast<const sockaddr&>(storage);
    EXPECT_FALSE(network.contains(address, sizeof(sa_family_t))) << "too short to be read";
    return network.contains(address, sizeof storage);
}

TEST(Network, HasItsAddressesAndNoOthers) {
    const struct {
        const char* network;
        const char* address;
        bool inside;
    } rows[] = {
        {"127.0.0.0/8", "127.255.255.255", true},
        {"127.0.0.0/8", "128.0.0.0", false},
        {"127.0.0.0/8", "::ffff:127.0.0.1", true},
        {"127.0.0.0/8", "::127.0.0.1", false},
        {"::ffff:127.0.0.0/104", "127.0.0.1", true},
        {"192.0.2.1", "192.0.2.1", true},
        {"192.0.2.1", "192.0.2.0", false},
        {"192.0.2.128/25", "192.0.2.127", false},
        {"192.0.2.128/25", "192.0.2.200", true},
        {"0.0.0.0/0", "255.1.2.3", true},
        {"0.0.0.0/0", "2001:db8::1", false},
        {"::/0", "10.0.0.1", true},
        {"::1/128", "::1", true},
        {"::1/128", "::2", false},
        {"2001:db8:8000::/33", "2001:db8:ffff::1", true},
        {"2001:db8:8000::/33", "2001:db8:7fff::1", false},
    };
    for (const auto& row : rows) {
        const auto network = Network::parse(row.network);
        ASSERT_TRUE(network) << row.network;
        EXPECT_EQ(network->contains(row.address), row.inside) << row.network << " " << row.address;
        EXPECT_EQ(hasSocketAddress(*network, row.address), row.inside) << row.network << " " << row.address;
    }
    sockaddr local{};
    local.sa_family = AF_UNIX;
    EXPECT_FALSE(Network::parse("::/0")->contains(local, sizeof local));
    for (const auto& text : {""s, "10.0.0"s, "10.0.0.1/8"s, "10.0.0.1 "s, "::1%lo"s, "10.0.0.1\0"s, "x"s}) {
        EXPECT_FALSE(Network::parse("::/0")->contains(text)) << text;
    }
}

TEST(Network, IsWrittenInOneWayOnly) {
    const std::string texts[] = {
        "",
        "/",
        "/8",
        "10.0.0.0/",
        "10.0.0.0/33",
        "10.0.0.0/-1",
        "10.0.0.0/+8",
        "10.0.0.0/08",
        "10.0.0.0/ 8",
        " 10.0.0.0/8",
        "10.0.0.0/8 ",
        "10.0.0.0/8/8",
        "10.0.0.1/8",
        "10/8",
        "010.0.0.0/8",
        "0x0a.0.0.0/8",
        "10.0.0.256",
        "::/129",
        "::1/64",
        ":::/0",
        "[::1]",
        "fe80::1%eth0",
        "::/4294967296",
        "10.0.0.0/8\0"s,
        "1.2.3.4\0/32"s,
        "localhost",
        "10.0.0.0/255.0.0.0",
        std::string(100000, ':'),
        "::/" + std::string(100000, '9'),
    };
    for (const std::string& text : texts) {
        EXPECT_FALSE(Network::parse(text)) << text.substr(0, 40);
    }
    EXPECT_EQ(Network::parse("10.0.0.0"), Network::parse("10.0.0.0/32"));
    EXPECT_NE(Network::parse("10.0.0.0/8"), Network::parse("10.0.0.0/9"));
}

} // namespace
