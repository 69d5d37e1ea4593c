// Loading policies: what a good one becomes, and that each fault is told with its line, its place and its
// remedy.
#include "host/policy/policy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "host/policy/policy_doubts.h"
#include "quzo/core/token_map.h"

namespace quzo::host {
namespace {

using testing::HasSubstr;

std::string told(const LoadedPolicy& loaded) {
    std::string all;
    for (const Finding& finding : loaded.findings) {
        all += describe(finding, "p.toml") + "\n";
    }
    return all;
}

// A rule around a condition or an action list, whose text begins at line 3.
std::string ruleWith(const std::string& lines) { return "[[rule]]\nid = 10\n" + lines + "\n"; }
std::string withWhen(const std::string& when) { return ruleWith("stop = true\nwhen = " + when); }
std::string withAction(const std::string& action) {
    return ruleWith("when = { always = true }\nactions = [" + action + "]");
}

TEST(Policy, ReadsRulesInOrder) {
    const LoadedPolicy loaded = loadPolicy(R"(
[defaults]
hostname = "gw1.example.com"
mark_header = "X-Marks"

[[rule]]
id = 4294967295
name = "Tag"
when = { body = "secret", sender = ["*@a.example", "<>"], attachment = "*.exe", Subject = 1 }
)");
    EXPECT_THAT(told(loaded), HasSubstr("p.toml:9: rule 4294967295: when.Subject: "));

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

struct Fault {
    const char* name;
    std::string text;
    const char* begin; // of the line that tells it
    const char* part;  // found in it
};

class PolicyFaults : public testing::TestWithParam<Fault> {};

TEST_P(PolicyFaults, AreTold) {
    const LoadedPolicy loaded = loadPolicy(GetParam().text);
    EXPECT_EQ(loaded.policy, nullptr);
    const std::string all = told(loaded);
    EXPECT_THAT(all, testing::StartsWith(GetParam().begin));
    EXPECT_THAT(all, HasSubstr(GetParam().part));
}

INSTANTIATE_TEST_SUITE_P(
    All, PolicyFaults,
    testing::Values(
        Fault{"NoToml", "[[rule]]\nid = = 1\n", "p.toml:2: ", "correct the text"},
        Fault{"DuplicateKey", "[[rule]]\nid = 1\nid = 2\n", "p.toml:3: ", "id"},
        Fault{"TopKey", "[[rules]]\nid = 1\n", "p.toml:1: rules: ", "'rule'"},
        Fault{"RuleKey", ruleWith("wen = { always = true }\nstop = true\nwhen = { always = true }"),
              "p.toml:3: rule 10: wen: ", "did you mean 'when'?"},
        Fault{"DefaultsKey", "[defaults]\nmark-header = 'X-M'\n" + withWhen("{ always = true }"),
              "p.toml:2: defaults.mark-header: ", "'mark_header'"},
        Fault{"MarkHeader", "[defaults]\nmark_header = 'Subject'\n" + withWhen("{ always = true }"),
              "p.toml:2: defaults.mark_header: ", "X-Marks"},
        Fault{"NoId", "[[rule]]\nstop = true\nwhen = { always = true }\n",
              "p.toml:1: rule no. 1: id: ", "number of its own"},
        Fault{"IdZero", "[[rule]]\nid = 0\nstop = true\nwhen = { always = true }\n",
              "p.toml:2: rule no. 1: id: ", "4294967295"},
        Fault{"IdTooLarge", "[[rule]]\nid = 4294967296\nstop = true\nwhen = { always = true }\n",
              "p.toml:2: rule no. 1: id: ", "4294967295"},
        Fault{"IdText", "[[rule]]\nid = '1'\nstop = true\nwhen = { always = true }\n",
              "p.toml:2: rule no. 1: id: it is a text", "integer"},
        Fault{"IdTwice", withWhen("{ always = true }") + withWhen("{ always = true }"),
              "p.toml:6: rule 10: id: the rule at line 2", "own"},
        Fault{"NoWhen", ruleWith("stop = true"), "p.toml:1: rule 10: when: ", "always = true"},
        Fault{"EmptyWhen", withWhen("{}"), "p.toml:4: rule 10: when: ", "always = true"},
        Fault{"NoActions", ruleWith("when = { always = true }"), "p.toml:1: rule 10: ", "stop = true"},
        Fault{"EmptyActions", ruleWith("when = { always = true }\nactions = []"),
              "p.toml:1: rule 10: ", "stop = true"},
        Fault{"ConditionKey", withWhen("{ recipients = 'a' }"),
              "p.toml:4: rule 10: when.recipients: ", "'recipient'"},
        Fault{"GlobType", withWhen("{ sender = 5 }"), "p.toml:4: rule 10: when.sender: it is an integer",
              "text"},
        Fault{"GlobList", withWhen("{ sender = ['a', 5] }"), "p.toml:4: rule 10: when.sender: ", "quotes"},
        Fault{"EmptyList", withWhen("{ attachment = [] }"), "p.toml:4: rule 10: when.attachment: ", "empty"},
        Fault{"Expression", withWhen("{ subject = [\n'ok',\n'(a'] }"),
              "p.toml:6: rule 10: when.subject: ", "missing )"},
        Fault{"Format", withWhen("{ embedded = ['tnef', 'uuencoded'] }"),
              "p.toml:4: rule 10: when.embedded: the format 'uuencoded' is unknown", "'uuencode'"},
        Fault{"HeaderName", withWhen("{ header = { 'X A' = 'b' } }"),
              "p.toml:4: rule 10: when.header.X A: ", "header field"},
        Fault{"TokenName", withWhen("{ token = { VIRUS = 'b' } }"),
              "p.toml:4: rule 10: when.token.VIRUS: ", "quzo tokens"},
        Fault{"Size", withWhen("{ size_over = '10X' }"), "p.toml:4: rule 10: when.size_over: ", "\"10K\""},
        Fault{"SizeNegative", withWhen("{ size_under = -1 }"),
              "p.toml:4: rule 10: when.size_under: ", "bytes"},
        Fault{"Switch", withWhen("{ signed = 'yes' }"), "p.toml:4: rule 10: when.signed: ", "true or false"},
        Fault{"AnyOfTexts", withWhen("{ any = ['a'] }"), "p.toml:4: rule 10: when.any[0]: ", "braces"},
        Fault{"Inner", withWhen("{ any = [{ not = { sendr = 'a' } }] }"),
              "p.toml:4: rule 10: when.any[0].not.sendr: ", "'sender'"},
        Fault{"ActionType", withAction("{ type = 'tagsubject' }"),
              "p.toml:4: rule 10: actions[0].type: ", "'tag-subject'"},
        Fault{"NotInThisBuild", withAction("{ type = 'stamp', object = 'x' }"),
              "p.toml:4: rule 10: actions[0].type: this build does not have stamp yet", ""},
        Fault{"NoType", withAction("{ tag = 'x' }"), "p.toml:4: rule 10: actions[0]: ", "type"},
        Fault{"ActionKey", withAction("{ type = 'delete' }, { type = 'x-header', nam = 'X', value = 'y' }"),
              "p.toml:4: rule 10: actions[1].nam: ", "'name'"},
        Fault{"MissingField", withAction("{ type = 'x-header', name = 'X' }"),
              "p.toml:4: rule 10: actions[0].value: ", "missing"},
        Fault{"FieldType", withAction("{ type = 'tag-subject', tag = 'x', signed = 'T' }"),
              "p.toml:4: rule 10: actions[0].signed: ", "true or false"},
        Fault{"EmptyTag", withAction("{ type = 'tag-subject', tag = '' }"),
              "p.toml:4: rule 10: actions[0].tag: ", "empty"},
        Fault{"ValueBlanks", withAction("{ type = 'x-header', name = 'X', value = ' y' }"),
              "p.toml:4: rule 10: actions[0].value: ", "blank"},
        Fault{"ValueBytes", withAction("{ type = 'x-header', name = 'X', value = 'h\xc3\xb6' }"),
              "p.toml:4: rule 10: actions[0].value: ", "ASCII"},
        Fault{"NameColon", withAction("{ type = 'x-header', name = 'X:Y', value = 'z' }"),
              "p.toml:4: rule 10: actions[0].name: ", "colons"},
        Fault{"ValueLong",
              withAction("{ type = 'x-header', name = 'X', value = '" + std::string(511, 'y') + "' }"),
              "p.toml:4: rule 10: actions[0].value: ", "511"},
        Fault{"TwoAddresses", withAction("{ type = 'bcc', to = ['a@b.c, d@e.f'] }"),
              "p.toml:4: rule 10: actions[0].to: 'a@b.c, d@e.f' is no address: ", "one address"},
        Fault{"TwoAddressesInASetting", withAction("{ type = 'bcc', setting = 'rcpt=a@b.c,d@e.f;' }"),
              "p.toml:4: rule 10: actions[0].setting: to: ", "is no address"},
        Fault{"AddressWithBlank", withAction("{ type = 'readdress', to = ['x@y.z', 'a b@c'] }"),
              "p.toml:4: rule 10: actions[0].to: 'a b@c' is no address", ""},
        Fault{"AddressWithName", withAction("{ type = 'bcc', to = ['Ann <a@b.c>'] }"),
              "p.toml:4: rule 10: actions[0].to: ", "is no address"},
        Fault{"AddressWithoutDomain", withAction("{ type = 'bcc', to = ['ann'] }"),
              "p.toml:4: rule 10: actions[0].to: ", "local@domain"},
        Fault{"AddressTurned", withAction("{ type = 'bcc', to = ['a\xE2\x80\xAE@b.c d'] }"),
              "p.toml:4: rule 10: actions[0].to: 'a\\xE2\\x80\\xAE@b.c d'", ""},
        Fault{"StructureField",
              withAction("{ type = 'x-header', name = 'content-TYPE', value = 'text/html' }"),
              "p.toml:4: rule 10: actions[0].name: ", "another name"},
        Fault{"StructureFieldInASetting",
              withAction("{ type = 'x-header', setting = 'Content-Transfer-Encoding: base64' }"),
              "p.toml:4: rule 10: actions[0].setting: name: ", ""},
        Fault{"MimeVersion", withAction("{ type = 'x-header', name = 'MIME-Version', value = '2' }"),
              "p.toml:4: rule 10: actions[0].name: ", ""},
        Fault{"OpenSet", withWhen("{ sender = '[a-z' }"), "p.toml:4: rule 10: when.sender: a '['", "[[]"},
        Fault{"OpenSetInside", withWhen("{ any = [{ attachment = ['*.exe', 'x[!'] }] }"),
              "p.toml:4: rule 10: when.any[0].attachment: a '['", ""},
        Fault{"EmptyRange", withWhen("{ sender = '[z-a]@x' }"), "p.toml:4: rule 10: when.sender: a range",
              ""},
        Fault{"Sizes", withWhen("{ not = { size_over = '5M', size_under = '4M' } }"),
              "p.toml:4: rule 10: when.not: no message has more than 5242880 bytes", "size_over the smaller"},
        Fault{"SizesTouch", withWhen("{ size_over = 10, size_under = 11, sender = '*' }"),
              "p.toml:4: rule 10: when: no message has more than 10 bytes and fewer than 11", ""},
        Fault{"OnFailure", withAction("{ type = 'delete', on_failure = 'ignore' }"),
              "p.toml:4: rule 10: actions[0].on_failure: ", "\"defer\""},
        Fault{"SettingAndField", withAction("{ type = 'tag-subject', setting = 'Tx', tag = 'x' }"),
              "p.toml:4: rule 10: actions[0].setting: ", "one of them"},
        Fault{"SettingRefused", withAction("{ type = 'tag-subject', setting = 'T' }"),
              "p.toml:4: rule 10: actions[0].setting: ", "refuses"},
        Fault{"SettingOther", withAction("{ type = 'tag-subject', setting = 'Xtag' }"),
              "p.toml:4: rule 10: actions[0].setting: ", "does not come back"},
        Fault{"SettingName", withAction("{ type = 'x-header', setting = 'X A: b' }"),
              "p.toml:4: rule 10: actions[0].setting: name: ", "without blanks"},
        Fault{"SettingOfDelete", withAction("{ type = 'delete', setting = 'x' }"),
              "p.toml:4: rule 10: actions[0].setting: ", "does not come back"},
        Fault{"SettingOfDecrypt", withAction("{ type = 'decrypt', setting = 'x' }"),
              "p.toml:4: rule 10: actions[0].setting: ", "takes no setting"},
        Fault{"SettingNul", withAction("{ type = 'tag-subject', setting = \"Ta\\u0000b\" }"),
              "p.toml:4: rule 10: actions[0].setting: ", "tag: line breaks"}),
    [](const testing::TestParamInfo<Fault>& fault) { return fault.param.name; });

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
        const Findings doubts = doubtsOf(*loaded.policy);
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
    std::vector<unsigned> lines;
    for (const Finding& finding : loaded.findings) {
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

TEST(Finding, StaysOnOneLine) {
    EXPECT_EQ(describe({Finding::Severity::Error, 3, "a\nb", "c", ""}, "f"), "f:3: a\\x0Ab: c");
    EXPECT_EQ(describe({Finding::Severity::Error, 0, "", "c", "d"}, "f"), "f: c: d");
}

} // namespace
} // namespace quzo::host
