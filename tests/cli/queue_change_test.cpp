// quzo queue release, remove and expire: what goes, where, and how often.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/cli/queue_fixture.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(Queue, ReleasesOneManyOrNone) {
    fillThree();
    ProgramRun run = installation_.queue({"release", "quarantine", "BB", "--dry-run"});
    EXPECT_THAT(run.out, StartsWith("quarantine/BB: would be released to outgoing/"));
    EXPECT_EQ(ids("quarantine"), "AABBCC");
    EXPECT_FALSE(fs::exists(installation_.spool() + "/outgoing"));
    run = installation_.queue({"release", "quarantine", "BB", "--to", "z@z.example", "--to", "y@z.example"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "quzo: outgoing: quzo queue run works it off, unless one runs already\n");
    EXPECT_EQ(run.out, "quarantine/BB: released to outgoing/" + ids("outgoing") + "\n");
    const platform::QueueEntry out = installation_.only("outgoing");
    EXPECT_EQ(out.recipients, (std::vector<std::string>{"z@z.example", "y@z.example"}));
    EXPECT_EQ(out.sender, "x@X.example");

    run = installation_.queue({"release", "quarantine", "AA", "BB", "ZZ", "CC"});
    EXPECT_EQ(run.exitCode, 66);
    EXPECT_EQ(run.err,
              "quzo: quarantine/BB: there is no such entry: see quzo queue list quarantine\n"
              "quzo: quarantine/ZZ: there is no such entry: see quzo queue list quarantine\n"
              "quzo: outgoing: quzo queue run works it off, unless one runs already\n");
    EXPECT_EQ(installation_.entries("outgoing").size(), 3U) << "the others went";
}

TEST_F(Queue, ReleasesAsAttachmentAndThroughTheScanner) {
    fillThree();
    ASSERT_EQ(installation_.queue({"release", "quarantine", "BB", "--as-attachment"}).exitCode, 0);
    EXPECT_THAT(
        installation_.entries("outgoing").begin()->second,
        AllOf(HasSubstr("Content-Type: message/rfc822\n"), HasSubstr("\n\nSubject: Lottery\n\nwin\n\n--")));
    EXPECT_THAT(installation_.only("outgoing").sender, StartsWith("QUZO@"));
    // The host's name in what we write ourselves: of the policy, or of the settings where they have one.
    const TemporaryDirectory& dir = installation_.dir();
    dir.write("host.toml", "[defaults]\nhostname = \"policy.example\"\n");
    for (const auto& [ini, host] :
         {std::pair("", "policy.example"), std::pair("hostname = ini.example\n", "ini.example")}) {
        ASSERT_EQ(installation_.queue({"remove", "outgoing", "--all"}).exitCode, 0);
        dir.write("host.ini", "[platform]\nspool = " + installation_.spool() + "\n" + ini);
        ASSERT_EQ(dir.quzo({"queue", "release", "quarantine", "AA", "--as-attachment", "-c", "host.ini", "-p",
                            "host.toml"})
                      .exitCode,
                  0);
        EXPECT_EQ(installation_.only("outgoing").sender, std::string("QUZO@") + host);
        EXPECT_THAT(installation_.entries("outgoing").begin()->second,
                    testing::ContainsRegex(std::string("Message-ID: <[A-Z0-9]+@") + host + ">"));
        installation_.fill("quarantine", entryNamed("AA"), "Subject: x\n\ny\n");
    }
    ASSERT_EQ(installation_.queue({"remove", "outgoing", "--all"}).exitCode, 0);
    ASSERT_EQ(installation_.queue({"release", "quarantine", "CC", "--rescan"}).exitCode, 0);
    EXPECT_EQ(installation_.entries("scan").begin()->second, "Subject: x\n\ny\n");
}

TEST_F(Queue, RemovesWhatWasChosenOnly) {
    fillThree();
    EXPECT_EQ(installation_.queue({"remove", "quarantine", "--all", "--older-than", "1d", "--dry-run"}).out,
              "quarantine/AA: would be removed\nquarantine/BB: would be removed\n");
    EXPECT_EQ(ids("quarantine"), "AABBCC");
    EXPECT_EQ(installation_.queue({"remove", "quarantine", "--all", "--subject", "*invoice*"}).out,
              "quarantine/AA: removed\nquarantine/CC: removed\n");
    EXPECT_EQ(ids("quarantine"), "BB");
    installation_.dir().write("spool/quarantine/B/C/BC.json", "{broken");
    EXPECT_EQ(installation_.queue({"remove", "quarantine", "BC"}).exitCode, 0);
    EXPECT_EQ(installation_.queue({"remove", "quarantine", "--all"}).out, "quarantine/BB: removed\n");
    EXPECT_THAT(installation_.dir().files("spool"), IsEmpty());
}

TEST_F(Queue, ExpiresWhatHasAgedOutOnly) {
    fillThree();
    EXPECT_EQ(installation_.queue({"expire", "quarantine", "--dry-run"}).out,
              "quarantine/AA: would be removed\nquarantine: 1 entry would be removed\n");
    EXPECT_EQ(ids("quarantine"), "AABBCC");
    EXPECT_EQ(installation_.queue({"expire", "quarantine"}).out, "quarantine: 1 entry removed\n");
    EXPECT_EQ(ids("quarantine"), "BBCC");
    EXPECT_EQ(installation_.queue({"expire", "quarantine"}).out, "quarantine: 0 entries removed\n");
}

TEST_F(Queue, ExpireNamesWhatItCannotRead) {
    fillThree();
    installation_.dir().write("spool/quarantine/A/B/AB.json", "{broken");
    installation_.dir().write("spool/quarantine/B/C/BC.json", "{\"format\": 99}");
    const char* const said =
        "quzo: quarantine/AB: what is known of it is damaged: look at its files, or remove it\n";
    ProgramRun run = installation_.queue({"expire", "quarantine", "--dry-run"});
    EXPECT_EQ(run.exitCode, 65);
    EXPECT_THAT(run.err, AllOf(StartsWith(said), HasSubstr("quarantine/BC: ")));
    run = installation_.queue({"expire", "quarantine"});
    EXPECT_EQ(run.exitCode, 65);
    EXPECT_THAT(run.err, AllOf(StartsWith(said), HasSubstr("quarantine/BC: ")));
    EXPECT_EQ(run.out, "quarantine: 1 entry removed\n") << "the others go";
    ASSERT_EQ(installation_.queue({"remove", "quarantine", "AB", "BC"}).exitCode, 0);
    EXPECT_EQ(installation_.queue({"expire", "quarantine"}).exitCode, 0);
}

TEST_F(Queue, SaysWhatIsWrong) {
    fillThree();
    platform::QueueEntry nobody = entryNamed("AD");
    nobody.recipients.clear();
    installation_.fill("failed", nobody, "x");
    installation_.fill("failed", entryNamed("AE"), "x");
    fs::remove(installation_.spool() + "/failed/A/E/AE.DF");
    installation_.dir().write("spool/failed/A/F/AF.json", "{broken");
    installation_.dir().write("none.ini", "");
    struct Row {
        std::vector<std::string> arguments;
        int exitCode;
        const char* text;
    };
    const Row rows[] = {
        {{"list", "nothing"}, 64, "quzo: nothing: is no queue: quarantine, archive, "},
        {{"release", "quarantine"}, 64, "no entries are named"},
        {{"remove", "quarantine", "--older-than", "1d"}, 64, "no entries are named"},
        {{"remove", "quarantine", "AA", "--all"}, 64, "IDs go without --all"},
        {{"remove", "quarantine", "AA", "--rule", "1"}, 64, "IDs go without --all"},
        {{"release", "outgoing", "AA"}, 64, "outgoing: is where it would be released to: quzo queue run"},
        {{"release", "quarantine", "AA", "--to", "a b"}, 64, "--to: 'a b' is no address"},
        {{"release", "quarantine", "AA", "--rescan", "--as-attachment"}, 64, "excludes"},
        {{"show", "quarantine", "AA", "BB", "--raw"}, 64, "--raw: is for one message"},
        {{"show", "quarantine", "../../A"}, 66, "quarantine/../../A: there is no such entry"},
        {{"show", "quarantine", "ZZ", "--raw"}, 66, "quarantine/ZZ: there is no such entry"},
        {{"release", "failed", "AD"}, 65, "name them with --to"},
        {{"release", "failed", "AE"}, 74, "failed/AE: "},
        {{"show", "failed", "AE"}, 74, "failed/AE: "},
        {{"release", "failed", "AF"},
         65,
         "failed/AF: what is known of it is damaged: look at its files, or remove it"},
        {{"list", "quarantine", "-c", "none.ini"}, 64, ""}, // given twice
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        const ProgramRun run = installation_.queue(row.arguments);
        EXPECT_EQ(run.exitCode, row.exitCode);
        EXPECT_THAT(run.err, AllOf(StartsWith("quzo: "), HasSubstr(row.text)));
    }
    const ProgramRun without = installation_.dir().quzo({"queue", "list", "scan", "-c", "none.ini"});
    EXPECT_EQ(without.exitCode, 78);
    EXPECT_EQ(without.err,
              "quzo: scan: the settings name no directory for this queue: set spool in [platform]\n");
    EXPECT_EQ(ids("quarantine"), "AABBCC");
}

TEST_F(Queue, WhatSomebodyWorksOnIsBusy) {
    fillThree();
    platform::QueueClaim claim;
    ASSERT_EQ(installation_.queues().find("quarantine")->claim("AA", claim), platform::ClaimOutcome::Taken);
    const ProgramRun busy = installation_.queue({"release", "quarantine", "AA"});
    EXPECT_EQ(busy.exitCode, 75);
    EXPECT_EQ(busy.err, "quzo: quarantine/AA: another process is working on it: try again\n");
    EXPECT_EQ(installation_.queue({"remove", "quarantine", "--all"}).exitCode, 75);
    EXPECT_THAT(installation_.queue({"show", "quarantine", "AA"}).out, HasSubstr("state:       claimed\n"));
    claim.release();
    EXPECT_EQ(installation_.queue({"release", "quarantine", "AA"}).exitCode, 0);
}

} // namespace
} // namespace quzo::test
