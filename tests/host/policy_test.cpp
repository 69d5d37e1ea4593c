// Loading policies: what a good one becomes, what is doubted, and the limits.
#include "host/policy/policy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "host/policy/policy_doubts.h"
#include "quzo/core/token_map.h"
#include "tests/host/policy_texts.h"

namespace quzo::host {
namespace {

using testing::HasSubstr;

TEST(Policy, ReadsRulesInOrder) {
    const LoadedPolicy good = loadPolicy(R"(
[defaults]
hostname = "gw1.example.com"
mark_header = "X-Marks"

[[rule]]
id = 4294967295
name = "Tag"
when = { body = "secret", sender = ["*@a.example", "<>"], attachment = "*.exe", subject = "x" }
actions = [
  { type = "tag-subject", tag = "[x] ", signed = true },
  { type = "x-header", name = "X-A", value = "b: c", on_failure = "stop" },
  { type = "delete" },
]

[[rule]]
id = 2
stop = true
when.not = { header = { X-Spam = "yes", Subject = "y" }, token = { "%VIRUSNAME%" = "." } }
)");
    ASSERT_NE(good.policy, nullptr) << told(good);
    const Policy& policy = *good.policy;
    EXPECT_EQ(policy.defaults.hostname, "gw1.example.com");
    EXPECT_EQ(policy.defaults.markHeader, "X-Marks");
    EXPECT_THAT(policy.headerNames, testing::UnorderedElementsAre("x-spam", "subject"));
    EXPECT_TRUE(policy.usesTokens);
    ASSERT_EQ(policy.rules.size(), 2U);

    const Rule& tag = policy.rules[0];
    EXPECT_EQ(tag.id, 4294967295U);
    EXPECT_EQ(tag.name, "Tag");
    EXPECT_TRUE(tag.mayChange);
    std::vector<Condition::Kind> kinds;
    for (const Condition& child : tag.when.children) {
        kinds.push_back(child.kind);
    }
    using Kind = Condition::Kind;
    EXPECT_THAT(kinds, testing::ElementsAre(Kind::Sender, Kind::Header, Kind::Attachment, Kind::Body));
    ASSERT_EQ(tag.actions.size(), 3U);
    EXPECT_EQ(tag.actions[0].setting, "T[x] ");
    EXPECT_EQ(tag.actions[0].onFailure, OnFailure::Continue);
    EXPECT_EQ(tag.actions[1].setting, "X-A:b: c");
    EXPECT_EQ(tag.actions[1].onFailure, OnFailure::Stop);
    EXPECT_EQ(tag.actions[2].setting, "");
    EXPECT_EQ(tag.actions[2].onFailure, OnFailure::Defer);

    EXPECT_EQ(policy.rules[1].name, "rule 2");
    EXPECT_FALSE(policy.rules[1].mayChange);
    EXPECT_EQ(policy.rules[1].when.kind, Kind::Not);
    EXPECT_FALSE(policy.rules[1].when.marksEntities);
}

std::string rule(int id, const char* when, const char* rest) {
    return "[[rule]]\nid = " + std::to_string(id) + "\nwhen = " + when + "\n" + rest + "\n";
}

// The policy can be used; each row is one warning, or none where nothing is expected.
TEST(Policy, WarnsOfWhatIsHardlyMeant) {
    const char* const all = "{ always = true }";
    const char* const some = "{ sender = 'a@b.c' }";
    const char* const stop = "stop = true";
    const char* const drop = "actions = [{ type = 'delete' }]";
    const char* const taken = "actions = [{ type = 'readdress', to = ['a@b.c'] }, { type = 'encrypt' }]";
    const char* const kept = "actions = [{ type = 'delete', on_failure = 'continue' }]";
    const char* const tag = "actions = [{ type = 'tag-subject', tag = '[x]' }]";
    const std::string gone =
        "p.toml:5: rule 2: no message gets here: rule 1 at line 1 ends with every message: ";
    const auto tagged = [&](const char* text) {
        return withAction("{ type = 'tag-subject', tag = '" + std::string(text) + "' }");
    };
    const struct {
        std::string text;
        std::string warning; // the beginning
        const char* part = "";
    } rows[] = {
        {rule(1, all, drop) + rule(2, some, tag), gone, "move it above"},
        {rule(1, all, taken) + rule(2, some, tag), gone},
        {rule(1, "{ any = [{ sender = 'x@y.z' }, { all = [{ sender = '*' }, { always = true }] }] }", stop) +
             rule(2, some, tag),
         gone},
        {rule(1, some, drop) + rule(2, all, tag) + rule(3, all, stop), ""},
        {rule(1, all, kept) + rule(2, some, tag), ""},
        {rule(1, "{ always = false }", drop) + rule(2, some, tag), ""},
        {rule(1, "{ not = { always = true } }", drop) + rule(2, some, tag), ""},
        {rule(1, "{ always = true, sender = '?*' }", drop) + rule(2, some, tag), ""},
        {tagged("[%FILENAM%] "),
         "p.toml:4: rule 10: actions[0].tag: '%FILENAM%' is no token and stays as it is", "'%FILENAME%'"},
        {tagged("%SENDER%%subject%"), "p.toml:4: rule 10: actions[0].tag: '%subject%' is no token",
         "'%SUBJECT%'"},
        {tagged("%ABSOLUTELY_ELSEWHERE%"), "p.toml:4: rule 10: actions[0].tag: ", "quzo tokens"},
        {tagged("100%SENDER%"), ""},
        {tagged("50% of %SENDER% and %DATE&TIME%, 5%off%"), ""},
        {withWhen("{ attachment = ['*.exe', 'exe'] }"),
         "p.toml:4: rule 10: when.attachment: 'exe' has no wildcard", "'*.exe'"},
        {withWhen("{ attachment = '.scr' }"), "p.toml:4: rule 10: when.attachment: ", "'*.scr'"},
        {withWhen("{ attachment = ['setup.exe', 'README*', '[ab]'] }"), ""},
        {withWhen("{ every_recipient = 'example.com' }"),
         "p.toml:4: rule 10: when.every_recipient: ", "'*@example.com'"},
        {withWhen("{ recipient = '@example.com' }"),
         "p.toml:4: rule 10: when.recipient: ", "'*@example.com'"},
        {withWhen("{ sender = ['<>', 'postmaster', 'a@example.com'], content_type = ['image/png', 'pdf'] }"),
         ""},
        {withWhen("{ size_over = 10, size_under = 12 }"), ""},
        {withWhen("{ any = [{ size_over = '5M' }, { size_under = '4M' }] }"), ""},
    };
    for (const auto& row : rows) {
        LoadedPolicy loaded = loadPolicy(row.text);
        ASSERT_NE(loaded.policy, nullptr) << told(loaded);
        const platform::Findings doubts = doubtsOf(*loaded.policy);
        loaded.findings.insert(loaded.findings.end(), doubts.begin(), doubts.end());
        EXPECT_EQ(loaded.findings.size(), row.warning.empty() ? 0U : 1U) << row.text << told(loaded);
        EXPECT_THAT(told(loaded), testing::StartsWith(row.warning));
        EXPECT_THAT(told(loaded), HasSubstr(row.part));
    }
}

// Addresses that are unusual and right, and fields that are written as they are configured.
TEST(Policy, TakesWhatIsUnusualAndRight) {
    for (const char* action : {"{ type = 'bcc', to = ['\"a, b\"@c.example', 'x@[IPv6:2001:db8::1]', "
                               "'x@[192.0.2.1]', 'J\xC3\xBCrg@\xC3\xBC.example'] }",
                               "{ type = 'x-header', name = 'Cc', value = 'Team: a@b.c; d@e.f;' }",
                               "{ type = 'x-header', name = 'Bcc', value = 'a@b.c' }",
                               "{ type = 'x-header', name = 'X-Content-Type', value = 'x' }"}) {
        const LoadedPolicy loaded = loadPolicy(withAction(action));
        EXPECT_TRUE(loaded.findings.empty()) << told(loaded);
    }
}

TEST(Policy, TellsAllFaultsInOrderOfLines) {
    const LoadedPolicy loaded = loadPolicy(
        "[[rule]]\nid = 1\nwhen = { sender = 5 }\nactions = [{ type = 'x' }]\n"
        "[[rule]]\nid = 1\nstop = 1\n");
    std::vector<std::size_t> lines;
    for (const platform::Finding& finding : loaded.findings) {
        lines.push_back(finding.line);
    }
    EXPECT_THAT(lines, testing::ElementsAre(3, 4, 5, 5, 6, 7)) << told(loaded);
}

TEST(Policy, TakesSettingTexts) {
    const LoadedPolicy loaded =
        loadPolicy(withAction("{ type = 'x-header', setting = ' X-A :  one two ' },"
                              "{ type = 'tag-subject', setting = 'F[spam] ' },"
                              "{ type = 'encrypt' }, { type = 're-encrypt' }, { type = 'decrypt' },"
                              "{ type = 'virus-clean', setting = '' }"));
    ASSERT_NE(loaded.policy, nullptr) << told(loaded);
    const auto& actions = loaded.policy->rules[0].actions;
    ASSERT_EQ(actions.size(), 6U);
    EXPECT_EQ(actions[0].setting, "X-A:one two");
    EXPECT_EQ(actions[1].setting, "F[spam] ");
    EXPECT_EQ(actions[2].setting.size(), 23U);
    EXPECT_EQ(actions[3].setting, actions[2].setting);
    EXPECT_EQ(actions[4].setting, "");
}

TEST(Policy, LimitsDepthAndSize) {
    std::string deep = "{ always = true }";
    for (unsigned i = 1; i < kMaxConditionDepth; ++i) {
        deep.insert(0, "{ not = ").append(" }");
    }
    EXPECT_NE(loadPolicy(withWhen(deep)).policy, nullptr);
    EXPECT_THAT(told(loadPolicy(withWhen("{ not = " + deep + " }"))), HasSubstr("nested more than 32 deep"));
    EXPECT_THAT(told(loadPolicy(std::string(kMaxPolicyBytes + 1, '#'))), HasSubstr("larger than 4 MiB"));
    std::string longKey = "a";
    for (int part = 0; part < 200000; ++part) {
        longKey += ".a";
    }
    EXPECT_THAT(told(loadPolicy("\n" + longKey + " = 1\n")),
                HasSubstr("p.toml:2: a key has more than 100 parts"));
    EXPECT_EQ(loadPolicyFile("/nonexistent/policy.toml").readError, ENOENT);
    EXPECT_EQ(loadPolicyFile("/").policy, nullptr);
}

} // namespace
} // namespace quzo::host
