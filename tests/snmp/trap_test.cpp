// Traps of each version as the real receiver gets them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/snmp/snmp.h"
#include "quzo/core/snmp.h"
#include "trap_receiver.h"

namespace {

namespace fs = std::filesystem;
using quzo::SendSNMPTrap;
using quzo::platform::configureSnmp;
using quzo::platform::SnmpSettings;
using quzo::test::ReceivedTrap;
using quzo::test::TrapReceiver;
using testing::HasSubstr;

constexpr const char* kPlaypen = ".1.3.6.1.4.1.8072.9999.9999";

class Traps : public testing::Test {
protected:
    void SetUp() override {
        if (!TrapReceiver::isInstalled()) {
            GTEST_SKIP() << "snmptrapd is not installed";
        }
    }
    void TearDown() override { configureSnmp({}); }
};

SnmpSettings ofVersion(SnmpSettings::Version version) {
    SnmpSettings settings;
    settings.version = version;
    return settings;
}

TEST_F(Traps, CarryTypeCommunityAndText) {
    const std::string lines =
        "Virus found:\n\tgr\xC3\xBC\xC3\x9F \"a|b\" \xE6\x97\xA5\xF0\x9F\x93\xA7\r\n100%s";
    const struct {
        unsigned type;
        const char* community;
        const char* sent; // the community that arrives
        std::string text;
        const char* kind; // of version 2c
        const char* generic;
        const char* specific; // of version 1
    } cases[] = {
        {0, "public", "community public", "cold", ".1.3.6.1.6.3.1.1.5.1", "0", "0"},
        {1, "", "community xq7amb", lines, ".1.3.6.1.6.3.1.1.5.2", "1", "0"},
        {2, nullptr, "community xq7amb", "", ".1.3.6.1.6.3.1.1.5.3", "2", "0"},
        {3, "a b", "community a b", "x", ".1.3.6.1.4.1.8072.9999.9999.0.3", "6", ".3"},
        {6, "public", "community public", lines, ".1.3.6.1.4.1.8072.9999.9999.0.6", "6", ".6"},
        {2147483647, "public", "community public", "x", ".1.3.6.1.4.1.8072.9999.9999.0.2147483647", "6",
         ".2147483647"},
    };
    const TrapReceiver receiver;
    std::size_t count = 0;
    for (const auto version : {SnmpSettings::Version::V2c, SnmpSettings::Version::V1}) {
        configureSnmp(ofVersion(version));
        const bool first = version == SnmpSettings::Version::V1;
        for (const auto& c : cases) {
            SCOPED_TRACE((first ? "version 1, type " : "version 2c, type ") + std::to_string(c.type));
            ASSERT_EQ(SendSNMPTrap(receiver.server().c_str(), c.type, c.community, c.text.c_str(), 0), 0);
            const auto traps = receiver.waitFor(++count);
            ASSERT_EQ(traps.size(), count);
            const ReceivedTrap& trap = traps.back();
            EXPECT_EQ(trap.text, c.text);
            EXPECT_EQ(trap.textName, kPlaypen + std::string(".1.1.0"));
            EXPECT_TRUE(trap.security.ends_with(c.sent)) << trap.security;
            EXPECT_THAT(trap.security, HasSubstr(first ? "SNMP v1" : "SNMP v2c"));
            EXPECT_EQ(trap.version, first ? "1" : "2");
            EXPECT_EQ(trap.variables, first ? 1U : 3U);
            if (first) {
                EXPECT_EQ(trap.enterprise, kPlaypen);
                EXPECT_EQ(trap.generic, c.generic);
                EXPECT_EQ(trap.specific, c.specific);
                EXPECT_EQ(trap.agent, "127.0.0.1");
            } else {
                EXPECT_EQ(trap.kind, c.kind);
            }
        }
    }
    // Version 1 has no such number.
    EXPECT_NE(SendSNMPTrap(receiver.server().c_str(), 2147483648U, "public", "x", 0), 0);
    configureSnmp({});
    EXPECT_EQ(SendSNMPTrap(receiver.server().c_str(), 4294967295U, "public", "x", 0), 0);
    EXPECT_EQ(receiver.waitFor(count + 1).back().kind, kPlaypen + std::string(".0.4294967295"));
}

TEST_F(Traps, GoBelowTheConfiguredEnterprise) {
    const TrapReceiver receiver;
    for (const auto version : {SnmpSettings::Version::V1, SnmpSettings::Version::V2c}) {
        SnmpSettings settings = ofVersion(version);
        settings.enterprise = {1, 3, 6, 1, 4, 1, 4294967295U, 7};
        configureSnmp(settings);
        ASSERT_EQ(SendSNMPTrap(receiver.server().c_str(), 9, "", "x", 0), 0);
    }
    const auto traps = receiver.waitFor(2);
    ASSERT_EQ(traps.size(), 2U);
    EXPECT_EQ(traps[0].enterprise, ".1.3.6.1.4.1.4294967295.7");
    EXPECT_EQ(traps[1].kind, ".1.3.6.1.4.1.4294967295.7.0.9");
    EXPECT_EQ(traps[1].textName, ".1.3.6.1.4.1.4294967295.7.1.1.0");
}

TEST_F(Traps, GoToIpv6) {
    if (!fs::exists("/proc/sys/net/ipv6/conf/lo/disable_ipv6") ||
        std::ifstream("/proc/sys/net/ipv6/conf/lo/disable_ipv6").get() != '0') {
        GTEST_SKIP() << "no IPv6 here";
    }
    const TrapReceiver receiver("", true, "::1");
    ASSERT_EQ(SendSNMPTrap(receiver.server().c_str(), 9, "", "six", 0), 0);
    const auto traps = receiver.waitFor(1);
    ASSERT_EQ(traps.size(), 1U);
    EXPECT_EQ(traps[0].text, "six");
}

// Nothing outside of the settings says how a trap is sent, and nothing is left behind.
TEST_F(Traps, KnowNoConfigurationOfNetSnmp) {
    std::string folder = fs::path(testing::TempDir()) / "quzo-snmp-XXXXXX";
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    std::ofstream(folder + "/snmp.conf") << "clientaddr 203.0.113.1\ndefVersion 1\ndoDebugging 1\nmibs ALL\n";
    ::setenv("SNMPCONFPATH", folder.c_str(), 1);                     // NOLINT(concurrency-mt-unsafe)
    ::setenv("SNMP_PERSISTENT_DIR", (folder + "/state").c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    ::setenv("MIBS", "ALL", 1);                                      // NOLINT(concurrency-mt-unsafe)
    ::setenv("MIBDIRS", "/no/such/folder", 1);                       // NOLINT(concurrency-mt-unsafe)
    const TrapReceiver receiver;
    testing::internal::CaptureStderr();
    SnmpSettings settings = ofVersion(SnmpSettings::Version::V3);
    settings.user = "someone";
    settings.level = SnmpSettings::Level::NoAuthNoPriv;
    settings.engineId = "12345678";
    configureSnmp(settings);
    SendSNMPTrap(receiver.server().c_str(), 9, "", "by version 3, to a receiver that does not know the user",
                 0);
    configureSnmp({});
    const int sent = SendSNMPTrap(receiver.server().c_str(), 9, "", "x", 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(sent, 0);
    EXPECT_EQ(receiver.waitFor(1).size(), 1U);
    EXPECT_FALSE(fs::exists(folder + "/state"));
    fs::remove_all(folder);
}

TEST_F(Traps, OfVersion3AreAuthenticAndSecret) {
    using Level = SnmpSettings::Level;
    const std::string engine = "\x80\x01quzo-test";
    const std::string create =
        "createUser -e 0x8001"
        "71757a6f2d74657374 ";
    const struct { // NOLINT(clang-analyzer-optin.performance.Padding): in the order of reading
        const char* user;
        Level level;
        const char* auth;
        const char* priv;
        const char* authPassphrase; // ours; the receiver's is "authentic!"
        const char* privPassphrase; // ours; the receiver's is "confidential!"
        const char* atLeast;        // the level that the receiver asks for
        bool arrives;
    } cases[] = {
        {"u1", Level::AuthPriv, "SHA-256", "AES", "authentic!", "confidential!", "priv", true},
        {"u2", Level::AuthPriv, "SHA-512", "AES-256", "authentic!", "confidential!", "priv", true},
        {"u3", Level::AuthPriv, "SHA", "AES-192", "authentic!", "confidential!", "priv", true},
        {"u4", Level::AuthNoPriv, "MD5", "AES", "authentic!", "", "auth", true},
        {"u5", Level::AuthNoPriv, "SHA-384", "AES", "authentic!", "", "auth", true},
        {"u6", Level::AuthNoPriv, "SHA-224", "AES", "authentic!", "", "auth", true},
        {"u7", Level::NoAuthNoPriv, "SHA", "AES", "", "", "noauth", true},
        {"u8", Level::AuthPriv, "SHA-256", "AES", "counterfeit", "confidential!", "noauth", false},
        {"u9", Level::AuthPriv, "SHA-256", "AES", "authentic!", "something else", "noauth", false},
        {"u10", Level::AuthNoPriv, "SHA-256", "AES", "authentic!", "", "priv", false},
        {"u11", Level::AuthPriv, "SHA-256", "AES", "short", "confidential!", "noauth", false},
        {"u12", Level::AuthPriv, "SHA-256", "AES", "authentic!", "confidential!", "priv", true},
    };
    std::string configuration;
    for (const auto& c : cases) {
        configuration +=
            create + c.user + " " + c.auth + " \"authentic!\" " + c.priv + " \"confidential!\"\n";
        configuration += std::string("authUser log ") + c.user + " " + c.atLeast + "\n";
    }
    const TrapReceiver receiver(configuration, false);
    const std::string text = "gr\xC3\xBC\xC3\x9F\n" + std::string(3000, 'x');
    std::vector<std::string> expected;
    for (const auto& c : cases) {
        SnmpSettings settings = ofVersion(SnmpSettings::Version::V3);
        settings.engineId = engine;
        settings.user = c.user;
        settings.level = c.level;
        settings.authProtocol = c.auth;
        settings.privProtocol = c.priv;
        settings.authPassphrase = c.authPassphrase;
        settings.privPassphrase = c.privPassphrase;
        configureSnmp(settings);
        for (int times = 0; times < 2; ++times) {
            SendSNMPTrap(receiver.server().c_str(), 77, "not used", text.c_str(), 0);
            if (c.arrives) {
                expected.push_back(std::string("user ") + c.user + ",");
            }
        }
    }
    const auto traps = receiver.waitFor(expected.size());
    ASSERT_EQ(traps.size(), expected.size());
    for (std::size_t i = 0; i < traps.size(); ++i) {
        EXPECT_THAT(traps[i].security, HasSubstr(expected[i]));
        EXPECT_EQ(traps[i].kind, kPlaypen + std::string(".0.77"));
        EXPECT_GT(traps[i].text.size(), 900U);
        EXPECT_TRUE(text.starts_with(traps[i].text));
    }
}

TEST_F(Traps, AreSentByManyThreads) {
    SnmpSettings settings = ofVersion(SnmpSettings::Version::V3);
    settings.engineId = "quzo-threads";
    settings.user = "threads";
    settings.authPassphrase = "authentic!";
    settings.privPassphrase = "confidential!";
    configureSnmp(settings);
    const TrapReceiver receiver(
        "createUser -e 0x71757a6f2d74687265616473 threads SHA-256 \"authentic!\" AES \"confidential!\"\n"
        "authUser log threads priv\n",
        false);
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kEach = 20;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (std::size_t k = 0; k < kEach; ++k) {
                EXPECT_EQ(SendSNMPTrap(receiver.server().c_str(), 5, "", "from a thread", 0), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(receiver.waitFor(kThreads * kEach).size(), kThreads * kEach);
}

} // namespace
