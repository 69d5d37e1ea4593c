// Each fault of a policy is told with its line, its place and its remedy.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "host/policy/policy.h"
#include "tests/host/policy_texts.h"

namespace quzo::host {
namespace {

using testing::HasSubstr;

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

} // namespace
} // namespace quzo::host
