// Opening an installation, and following changes of its files while messages are at work.
#include "host/gateway/installation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/cli/program.h"

namespace quzo::host::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kRule =
    "[[rule]]\nid = 1\nwhen = { always = true }\nactions = [{ type = \"delete\" }]\n";

class InstallationTest : public ::testing::Test {
protected:
    Needs needs() const { return {.iniFile = dir.path("quzo.ini"), .policyFile = dir.path("p.toml")}; }

    static std::vector<std::string> linesOf(const Faults& faults) {
        std::vector<std::string> lines;
        for (const Fault& fault : faults) {
            lines.push_back(fault.line());
        }
        return lines;
    }

    quzo::test::TemporaryDirectory dir;
};

TEST_F(InstallationTest, AReloadIsOneSwapAndFormerSnapshotsStayWhatTheyWere) {
    dir.write("quzo.ini", "[platform]\nlimit_parts = 5\nhostname = one.example\n");
    dir.write("p.toml", kRule);
    Installation installation;
    ASSERT_TRUE(installation.open(needs())) << testing::PrintToString(linesOf(installation.findings()));
    const auto first = installation.snapshot();

    dir.write("quzo.ini",
              "[platform]\nlimit_parts = 6\nstamp_once = yes\nremoval_note = yes\nhostname = "
              "two.example\nspool = sp\n[general]\nlocale = de\n"
              "[MessageModule]\nTagNotEncoding = 1\n");
    dir.write("p.toml", "");
    EXPECT_THAT(linesOf(installation.reload()),
                ElementsAre(HasSubstr("p.toml: warning: there is no rule"),
                            HasSubstr("warning: [MessageModule] TagNotEncoding has changed"),
                            HasSubstr("warning: [general] locale has changed and is read at the start only"),
                            HasSubstr("warning: [platform] spool has changed")));
    const auto second = installation.snapshot();
    EXPECT_THAT(second->policy().rules, IsEmpty());
    EXPECT_EQ(second->options().limits.parts, 6U);
    EXPECT_TRUE(second->options().stampOnce && second->options().removalNote);
    EXPECT_FALSE(first->options().stampOnce || first->options().removalNote);
    EXPECT_EQ(second->options().rawValues, platform::RawValues::WithCharset) << "as the library has it";
    EXPECT_EQ(second->hostname(), "two.example");
    EXPECT_THAT(first->policy().rules, SizeIs(1));
    EXPECT_EQ(first->options().limits.parts, 5U);
    EXPECT_EQ(first->hostname(), "one.example");

    for (const auto& [ini, policy] : {std::pair("[platform]\nlimit_parts = x\n", kRule),
                                      std::pair("[platform]\nlimit_parts = 7\n", "[[rule]]\n")}) {
        dir.write("quzo.ini", ini);
        dir.write("p.toml", policy);
        EXPECT_TRUE(hasErrors(installation.reload()));
        EXPECT_EQ(installation.snapshot(), second);
    }
}

TEST_F(InstallationTest, ObjectsAreThoseOfTheMoment) {
    dir.write("quzo.ini", "[platform]\nstore = sqlite3://o.db\ntenant = 3\n");
    Installation installation;
    Needs open = needs();
    open.policyFile.clear();
    open.store = Needs::Store::Open;
    ASSERT_TRUE(installation.open(open));
    EXPECT_EQ(installation.tenant(), 3U);
    const auto before = installation.snapshot();
    const auto kind = platform::ObjectKind::ArchiveArea;
    ASSERT_TRUE(installation.store().add(3, kind, "mail", "0:0::"));
    EXPECT_THAT(installation.reload(), IsEmpty());
    EXPECT_TRUE(installation.snapshot()->objects()->idOf(kind, "mail"));
    EXPECT_FALSE(before->objects()->idOf(kind, "mail"));
}

TEST_F(InstallationTest, TheHostsNameIsThatOfTheSettingsThenOfThePolicy) {
    const struct {
        const char* ini;
        const char* policy;
        const char* name; // null: the machine's
    } rows[] = {
        {"hostname = ini.example\n", "hostname = \"policy.example\"\n", "ini.example"},
        {"", "hostname = \"policy.example\"\n", "policy.example"},
        {"hostname =\n", "hostname = \"policy.example\"\n", "policy.example"},
        {"", "", nullptr},
    };
    for (const auto& row : rows) {
        dir.write("quzo.ini", std::string("[platform]\n") + row.ini);
        dir.write("p.toml", std::string("[defaults]\n") + row.policy + kRule);
        Installation installation;
        ASSERT_TRUE(installation.open(needs()));
        const std::string& name = installation.snapshot()->hostname();
        EXPECT_FALSE(name.empty());
        if (row.name != nullptr) {
            EXPECT_EQ(name, row.name);
        } else {
            EXPECT_EQ(name.find("example"), std::string::npos);
        }
    }
}

TEST_F(InstallationTest, FindingsOfBothFilesComeTogetherAndTheWorstEndsTheProgram) {
    dir.write("quzo.ini", "[platform]\nlimit_parts = x\nhostname = a b\nzzzzzz = 1\n");
    Installation installation;
    EXPECT_FALSE(installation.open(needs()));
    EXPECT_THAT(
        linesOf(installation.findings()),
        ElementsAre(HasSubstr("quzo.ini:2: the value"),
                    HasSubstr("quzo.ini:3: the value 'a b' of hostname cannot be used: write a host name"),
                    HasSubstr("quzo.ini:4: warning: nobody reads"), HasSubstr("p.toml: cannot be opened")));
    EXPECT_EQ(exitCodeOf(installation.findings()), 78);
    EXPECT_EQ(exitCodeOf({installation.findings()[2]}), 0);
    EXPECT_EQ(exitCodeOf({installation.findings()[3]}), 66);
}

TEST_F(InstallationTest, WhoeverOnlyLooksMakesNothing) {
    dir.write("quzo.ini", "[platform]\nstore = sqlite3://o.db\nlog = q.log\nspool = sp\n");
    dir.write(
        "p.toml",
        "[[rule]]\nid = 1\nwhen = { always = true }\nactions = [{ type = \"archive\", object = \"a\" }]\n");
    for (const Needs::Store store : {Needs::Store::ForPolicy, Needs::Store::Checked, Needs::Store::Open}) {
        Needs look = needs();
        look.make = false;
        look.store = store;
        Installation installation;
        EXPECT_FALSE(installation.open(look));
        EXPECT_THAT(dir.files(""), SizeIs(2));
    }
}

} // namespace
} // namespace quzo::host::test
