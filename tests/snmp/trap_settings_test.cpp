// The section [snmp] of quzo.ini.
#include <gtest/gtest.h>

#include <string>

#include "platform/config/quzo_settings.h"

namespace {

using quzo::platform::IniSettings;
using quzo::platform::ObjectIdentifier;
using quzo::platform::SnmpSettings;
using namespace std::string_literals;

TEST(SnmpSection, IsRead) {
    IniSettings settings;
    ASSERT_TRUE(
        settings.parse("[snmp]\nversion = 3\nenterprise = .1.3.6.1.4.1.99999\nuser = gw\nlevel = authNoPriv\n"
                       "auth_protocol = SHA-512\nauth_passphrase = 12345678\npriv_protocol = AES-256\n"
                       "priv_passphrase = abcdefgh\nengine_id = 0x800000ff01\n"));
    EXPECT_TRUE(settings.check().empty());
    SnmpSettings snmp = settings.snmp();
    EXPECT_EQ(snmp.version, SnmpSettings::Version::V3);
    EXPECT_EQ(snmp.enterprise, (ObjectIdentifier{1, 3, 6, 1, 4, 1, 99999}));
    EXPECT_EQ(snmp.user, "gw");
    EXPECT_EQ(snmp.level, SnmpSettings::Level::AuthNoPriv);
    EXPECT_EQ(snmp.authProtocol, "SHA-512");
    EXPECT_EQ(snmp.authPassphrase, "12345678");
    EXPECT_EQ(snmp.privProtocol, "AES-256");
    EXPECT_EQ(snmp.privPassphrase, "abcdefgh");
    EXPECT_EQ(snmp.engineId, "\x80\x00\x00\xFF\x01"s);
    // The name of the host, as the receiver is told it.
    ASSERT_TRUE(settings.parse("[platform]\nhostname = a-gateway-with-a-long-name.example.com\n"));
    snmp = settings.snmp();
    EXPECT_EQ(snmp.engineId,
              "\x80\x00\x1F\x88\x04"
              "a-gateway-with-a-long-name."s);
    EXPECT_EQ(snmp.version, SnmpSettings::Version::V2c);
    EXPECT_EQ(snmp.enterprise, SnmpSettings().enterprise);
}

TEST(SnmpSection, IsChecked) {
    const struct {
        const char* lines;
        std::size_t faults;
    } cases[] = {
        {"", 0},
        {"version = 1", 0},
        {"version = 2", 1},
        {"version = 3", 3},
        {"version = 3\nuser = u\nlevel = noAuthNoPriv", 0},
        {"version = 3\nuser = u\nlevel = authNoPriv", 1},
        {"version = 3\nuser = u\nauth_passphrase = 12345678\npriv_passphrase = 12345678", 0},
        {"auth_passphrase = secret!", 1},
        {"priv_passphrase = secret!", 1},
        {"auth_protocol = ROT13", 1},
        {"priv_protocol = DES", 1},
        {"user = 123456789012345678901234567890123", 1},
        {"engine_id = 80001f8", 1},
        {"engine_id = 80001f88", 1},
        {"engine_id = 80001f88zz", 1},
        {"engine_id = 0000000000", 1},
        {"engine_id = ffffffffff", 1},
        {"enterprise = 1.3.6.1.4.1.4294967295", 0},
        {"enterprise = 1.3.6.1.4.1.4294967296", 1},
        {"enterprise = 1", 1},
        {"enterprise = 1..3", 1},
        {"enterprise = 1.3.", 1},
        {"enterprise = 1.40.1", 1},
        {"enterprise = 3.1", 1},
        {"enterprise = enterprises.8072", 1},
        {"enterprise =", 1},
    };
    for (const auto& c : cases) {
        IniSettings settings;
        ASSERT_TRUE(settings.parse(std::string("[snmp]\n") + c.lines + "\n")) << c.lines;
        const auto findings = settings.check();
        EXPECT_EQ(findings.size(), c.faults) << c.lines;
        for (const auto& finding : findings) {
            EXPECT_EQ(describe(finding, "f").find("secret"), std::string::npos) << describe(finding, "f");
        }
    }
    IniSettings settings;
    ASSERT_TRUE(settings.parse("[snmp]\nenterprise = 1" + [] {
        std::string many;
        for (int i = 0; i < 64; ++i) {
            many += ".1";
        }
        return many;
    }() + "\n"));
    EXPECT_EQ(settings.check().size(), 1U);
}

} // namespace
