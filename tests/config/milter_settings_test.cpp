// The section [milter]: what is read, and what is refused.
#include "platform/config/milter_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/config/figures_settings.h"
#include "platform/config/quzo_settings.h"

namespace {

using namespace quzo::platform;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Family = MilterSocket::Family;

TEST(MilterSocket, HasThreeForms) {
    const struct {
        const char* text;
        MilterSocket socket;
    } good[] = {{"unix:/run/quzo/m.sock", {Family::Unix, "/run/quzo/m.sock", 0}},
                {"unix:/a b@:/c", {Family::Unix, "/a b@:/c", 0}},
                {"inet:8891@127.0.0.1", {Family::Inet, "127.0.0.1", 8891}},
                {"inet:65535@mx.example.com", {Family::Inet, "mx.example.com", 65535}},
                {"inet6:1@[::1]", {Family::Inet6, "::1", 1}}};
    for (const auto& row : good) {
        EXPECT_EQ(MilterSocket::parse(row.text), row.socket) << row.text;
    }
    const std::string bad[] = {"",
                               "unix:",
                               "unix:relative",
                               "unix:/",
                               "unix:/dir/",
                               "unix:/" + std::string(107, 'p'),
                               "/run/m.sock",
                               "local:/run/m.sock",
                               "UNIX:/run/m.sock",
                               "inet:8891",
                               "inet:8891@",
                               "inet:@h",
                               "inet:0@h",
                               "inet:65536@h",
                               "inet:-1@h",
                               "inet: 1@h",
                               "inet:1@a b",
                               "inet:1@h@i",
                               "inet:1@::1",
                               "inet:1@[::1]",
                               "inet6:1@::1",
                               "inet6:1@127.0.0.1",
                               "inet6:1@[::1",
                               "inet6:1@[h]"};
    for (const std::string& text : bad) {
        EXPECT_FALSE(MilterSocket::parse(text)) << text;
    }
    EXPECT_TRUE(MilterSocket::parse("unix:/" + std::string(106, 'p')));
}

TEST(FiguresSettings, TakeNoAddressThatOthersReach) {
    IniSettings settings;
    ASSERT_TRUE(settings.parse("[milter]\nfigures_address = 127.0.1.1:65535\nfigures_file = /q.prom\n"));
    EXPECT_THAT(settings.check(), IsEmpty());
    const FiguresSettings read = readFiguresSettings(settings);
    EXPECT_EQ(read.address, (LoopbackPort{"127.0.1.1", 65535}));
    EXPECT_EQ(read.file, "/q.prom");
    for (const char* bad : {"0.0.0.0:80", "10.0.0.1:80", "localhost:80", ":80", "80", "127.0.0.1",
                            "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65536", "127.0.0.1:80,0.0.0.0:80",
                            "127.0.0.1:80s", "::1:80", "[::1]:80", "127.1:80", "127.0.0.1/8:80"}) {
        ASSERT_TRUE(settings.parse(std::string("[milter]\nfigures_address = ") + bad + "\n"));
        ASSERT_EQ(settings.check().size(), 1U) << bad;
        EXPECT_THAT(settings.check()[0].remedy, HasSubstr("write 127.0.0.1:PORT")) << bad;
        EXPECT_FALSE(readFiguresSettings(settings).address) << bad;
    }
}

TEST(MilterSettings, AreReadAndChecked) {
    IniSettings settings;
    ASSERT_TRUE(
        settings.parse("[milter]\nsocket = inet:8891@127.0.0.1\n"
                       "trusted_addresses = 127.0.0.0/8 ,::1,\nrescan_daemon_name = back\n"
                       "rescan_hop = smtp://127.0.0.1:10027\nheader_virus_name = X-Virus\nheader_whole_mail "
                       "= X-Whole\nheader_delete_all = X-All\n"));
    EXPECT_THAT(settings.check(), IsEmpty());
    const MilterSettings read = settings.milter();
    EXPECT_EQ(read.socket.port, 8891);
    EXPECT_EQ(read.trustedAddresses, (Networks{*Network::parse("127.0.0.0/8"), *Network::parse("::1/128")}));
    EXPECT_EQ(read.rescanHop, readNextHop("smtp://127.0.0.1:10027"));
    EXPECT_THAT((std::vector{read.rescanDaemonName, read.headerVirusName, read.headerWholeMail,
                             read.headerDeleteAll}),
                ElementsAre("back", "X-Virus", "X-Whole", "X-All"));

    settings.parse(
        "[milter]\nsocket = unix:m.sock\ntrusted_addresses = 10.0.0.1/8, ::1, x\xFF"
        "y, ,10.0.0.0/8\n"
        "header_virus_name = X Virus\nheader_whole_mail = X:\nheader_delete_al = X\nrescan_hop = smtp://h\n");
    std::vector<std::string> found;
    for (const Finding& finding : settings.check()) {
        found.push_back(std::to_string(finding.line) + ": " + finding.problem + ": " + finding.remedy);
    }
    EXPECT_THAT(
        found,
        ElementsAre(HasSubstr("2: the value 'unix:m.sock' of socket cannot be used: write unix:/absolute"),
                    HasSubstr("3: '10.0.0.1/8' of trusted_addresses is no network: write address/bits"),
                    HasSubstr("3: 'x\\xFFy' of trusted_addresses"),
                    HasSubstr("3: '' of trusted_addresses is no network"),
                    HasSubstr("4: the value 'X Virus' of header_virus_name cannot be used"),
                    HasSubstr("5: the value 'X:' of header_whole_mail"),
                    HasSubstr("6: nobody reads the key 'header_delete_al'"),
                    HasSubstr("7: what is sent to rescan_hop would be judged as new mail")));
    MilterSettings usual;
    usual.rescanHop = readNextHop("smtp://h");
    usual.trustedAddresses = {*Network::parse("::1"), *Network::parse("10.0.0.0/8")};
    EXPECT_EQ(settings.milter(), usual);
}

} // namespace
