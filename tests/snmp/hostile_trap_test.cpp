// Texts, communities and receivers as nobody should give them.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/base/utf8.h"
#include "platform/snmp/host_addresses.h"
#include "platform/snmp/trap_server.h"
#include "platform/snmp/trap_text.h"
#include "quzo/core/error_text.h"
#include "quzo/core/snmp.h"
#include "trap_receiver.h"

namespace {

using quzo::SendSNMPTrap;
using quzo::platform::isUtf8;
using quzo::test::TrapReceiver;

TEST(TrapServer, IsAHostAndAPort) {
    const struct {
        const char* text;
        const char* host; // null: refused
        unsigned port;
    } cases[] = {
        {"nms.example.com", "nms.example.com", 162},
        {"nms:1162", "nms", 1162},
        {"127.0.0.1:65535", "127.0.0.1", 65535},
        {"[::1]", "::1", 162},
        {"[2001:db8::7]:1", "2001:db8::7", 1},
        {"udp:162", "udp", 162}, // a host of that name
        {"", nullptr, 0},
        {":162", nullptr, 0},
        {"nms:", nullptr, 0},
        {"nms:0", nullptr, 0},
        {"nms:65536", nullptr, 0},
        {"nms:-1", nullptr, 0},
        {"nms:16 2", nullptr, 0},
        {"nms:+162", nullptr, 0},
        {"::1", nullptr, 0},
        {"[::1", nullptr, 0},
        {"[", nullptr, 0},
        {"[]", nullptr, 0},
        {"[]:162", nullptr, 0},
        {"[nms]:162", nullptr, 0},
        {"[::1]162", nullptr, 0},
        {"[::1%lo]:162", nullptr, 0},
        {"udp:nms:162", nullptr, 0},
        {"tcp:127.0.0.1", nullptr, 0},
        {"tcp:127.0.0.1:162", nullptr, 0},
        {"tlstcp:nms:10161", nullptr, 0},
        {"ssh:nms", nullptr, 0},
        {"unix:/run/agentx", nullptr, 0},
        {"/run/agentx", nullptr, 0},
        {"alias:x", nullptr, 0},
        {"exec:/bin/sh", nullptr, 0},
        {"a b", nullptr, 0},
        {" nms", nullptr, 0},
        {"nms\r\n", nullptr, 0},
        {"nms\nother:162", nullptr, 0},
        {"nms@other", nullptr, 0},
        {"n\xC3\xBCms", nullptr, 0},
        {"$(id)", nullptr, 0},
    };
    for (const auto& c : cases) {
        const auto server = quzo::platform::parseTrapServer(c.text);
        ASSERT_EQ(server.has_value(), c.host != nullptr) << c.text;
        if (server) {
            EXPECT_EQ(server->host, c.host);
            EXPECT_EQ(server->port, c.port) << c.text;
        } else {
            EXPECT_EQ(SendSNMPTrap(c.text, 6, "public", "x", 0), quzo::kErrorInvalidArgument) << c.text;
        }
    }
}

TEST(TrapText, IsCutBetweenCharacters) {
    const struct {
        std::string text;
        std::size_t most;
        std::string expected;
    } cases[] = {
        {"", 10, ""},
        {"abc", 3, "abc"},
        {"abcd", 3, "abc"},
        {"a\xC3\xBC", 2, "a"},
        {"a\xC3\xBC", 3, "a\xC3\xBC"},
        {"\xF0\x9F\x93\xA7x", 3, ""},
        {"a\xFF\x80z", 100, "a\xEF\xBF\xBD\xEF\xBF\xBDz"},
        {"a\xE6\x97", 100, "a\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"a\xFF", 3, "a"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(quzo::platform::trapText(c.text, c.most), c.expected) << c.text << " in " << c.most;
    }
}

TEST(SendTrap, RefusesWhatItCannotSend) {
    EXPECT_EQ(SendSNMPTrap(nullptr, 6, "", "x", 0), quzo::kErrorInvalidArgument);
    EXPECT_EQ(SendSNMPTrap("127.0.0.1:9", 6, "", nullptr, 0), quzo::kErrorInvalidArgument);
    for (const std::string& community :
         {std::string("pub\nlic"), std::string("a\tb"), std::string("\x7F"), std::string(256, 'a')}) {
        EXPECT_EQ(SendSNMPTrap("127.0.0.1:9", 6, community.c_str(), "x", 0), quzo::kErrorInvalidArgument);
    }
    const int unknown = SendSNMPTrap("no-such-host.invalid", 6, "", "x", 0);
    EXPECT_TRUE(unknown == quzo::kErrorNotFound || unknown == quzo::kErrorInputOutput) << unknown;
}

// Nobody tells whether a trap was received.
TEST(SendTrap, GoesToNobodyWhenTheReceiverIsDown) {
    for (int times = 0; times < 100; ++times) {
        EXPECT_EQ(SendSNMPTrap("127.0.0.1:9", 6, "public", "x", 0), 0);
    }
}

TEST(SendTrap, TakesStrangeCommunities) {
    if (!TrapReceiver::isInstalled()) {
        GTEST_SKIP() << "snmptrapd is not installed";
    }
    const TrapReceiver receiver;
    const struct {
        std::string community;
        std::string shown; // snmptrapd writes a dot for each byte beyond ASCII
    } cases[] = {{"%n%s%100000d", "%n%s%100000d"},
                 {"$(reboot)", "$(reboot)"},
                 {"\xFF\xC3", ".."},
                 {std::string(255, 'c'), std::string(255, 'c')}};
    std::size_t count = 0;
    for (const auto& c : cases) {
        ASSERT_EQ(SendSNMPTrap(receiver.server().c_str(), 6, c.community.c_str(), "x", 0), 0);
        const auto traps = receiver.waitFor(++count);
        ASSERT_EQ(traps.size(), count);
        EXPECT_TRUE(traps.back().security.ends_with("community " + c.shown)) << traps.back().security;
    }
}

TEST(SendTrap, FindsTheHostByName) {
    if (!TrapReceiver::isInstalled()) {
        GTEST_SKIP() << "snmptrapd is not installed";
    }
    std::vector<quzo::platform::HostAddress> addresses;
    ASSERT_EQ(quzo::platform::findHostAddresses("localhost", addresses), 0);
    const TrapReceiver receiver("", true, addresses.front().text);
    const std::string place = receiver.server();
    for (int times = 0; times < 2; ++times) {
        ASSERT_EQ(SendSNMPTrap(("localhost" + place.substr(place.rfind(':'))).c_str(), 6, "", "x", 0), 0);
    }
    EXPECT_EQ(receiver.waitFor(2).size(), 2U);
}

// Bytes of all kinds: ASCII, controls, whole characters, and anything.
std::string randomText(std::mt19937& random) {
    static const std::vector<std::string> pieces = {
        "%s%n", "\"",       "\\",           "\n",           "\r\n",
        "\x01", "\x1B[2J",  "\xC3\xBC",     "\xE6\x97\xA5", "\xF0\x9F\x93\xA7",
        "\xFF", "\xC0\x80", "\xED\xA0\x80", "@@END",        "abc ",
        "\t"};
    std::string text;
    const bool anything = random() % 4 == 0;
    const std::size_t most = random() % 8 == 0 ? 70000 : random() % 1500;
    while (text.size() < most) {
        text += anything ? std::string(1, static_cast<char>(random() % 255 + 1))
                         : pieces[random() % pieces.size()];
    }
    return text;
}

TEST(SendTrap, ArrivesOnceWhateverTheTextIs) {
    if (!TrapReceiver::isInstalled()) {
        GTEST_SKIP() << "snmptrapd is not installed";
    }
    constexpr std::size_t kTexts = 200;
    constexpr std::size_t kAtOnce = 20; // fits the receiver's socket
    constexpr std::size_t kAlwaysFits = 1000;
    std::mt19937 random(20240501);
    const TrapReceiver receiver;
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < kTexts; ++i) {
        texts.push_back(std::to_string(i) + ":" + randomText(random));
        ASSERT_EQ(SendSNMPTrap(receiver.server().c_str(), 6, "public", texts.back().c_str(), 0), 0);
        if (texts.size() % kAtOnce == 0) {
            ASSERT_EQ(receiver.waitFor(texts.size()).size(), texts.size());
        }
    }
    const auto traps = receiver.waitFor(kTexts);
    ASSERT_EQ(traps.size(), kTexts);
    for (std::size_t i = 0; i < kTexts; ++i) {
        const std::string& arrived = traps[i].text;
        EXPECT_TRUE(isUtf8(arrived)) << i;
        EXPECT_EQ(arrived.substr(0, arrived.find(':')), std::to_string(i));
        if (isUtf8(texts[i]) && texts[i].size() <= kAlwaysFits) {
            EXPECT_EQ(arrived, texts[i]);
        } else if (isUtf8(texts[i])) {
            EXPECT_TRUE(texts[i].starts_with(arrived)) << i;
            EXPECT_GE(arrived.size(), kAlwaysFits);
        }
    }
}

} // namespace
