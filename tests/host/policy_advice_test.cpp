// What a policy asks for in vain is said once, where it is first asked for.
#include "host/policy/policy_advice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/scan_support.h"

namespace quzo::host::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::vector<std::string> adviceOnActions(const std::string& defaults, const std::string& actions,
                                         bool hasNextHop = false) {
    const auto policy =
        policyOf(defaults + "[[rule]]\nid = 1\nwhen = { signed = true }\nactions = [{ type = 'delete' }]\n" +
                 "[[rule]]\nid = 7\nwhen = { always = true }\nactions = [\n" + actions + "]\n");
    std::vector<std::string> lines;
    for (const platform::Finding& finding : adviceOn(*policy, hasNextHop)) {
        EXPECT_EQ(finding.severity, platform::Finding::Severity::Warning);
        lines.push_back(describe(finding, "p"));
    }
    return lines;
}

TEST(PolicyAdvice, MarksThatNobodySees) {
    const std::string actions =
        "{ type = 'tag-subject', tag = 'x' },\n{ type = 'encrypt' },\n{ type = 'decrypt' },\n";
    EXPECT_THAT(adviceOnActions("", actions),
                ElementsAre(AllOf(StartsWith("p:10: rule 7: actions[1]: "), HasSubstr(" encrypt"),
                                  HasSubstr("mark_header in [defaults]"))));
    EXPECT_THAT(adviceOnActions("[defaults]\nmark_header = 'X-M'\n", actions), IsEmpty());
}

TEST(PolicyAdvice, MailWithoutAServerToGoTo) {
    const std::string action = "{ type = 'readdress', to = ['a@a.example'] },\n";
    EXPECT_THAT(adviceOnActions("", action + "{ type = 'postpone', at = '22:00' },\n"),
                ElementsAre(AllOf(StartsWith("p:9: rule 7: actions[0]: "), HasSubstr("mail of readdress"),
                                  HasSubstr("next_hop in [platform]"))));
    EXPECT_THAT(adviceOnActions("", action, true), IsEmpty());
    // With the doubts about the text, in the order of lines.
    EXPECT_THAT(adviceOnActions("", "{ type = 'tag-subject', tag = '%FILENAM%' },\n" + action),
                ElementsAre(StartsWith("p:9: rule 7: actions[0].tag: "), StartsWith("p:10: ")));
    EXPECT_THAT(adviceOnActions("",
                                "{ type = 'bcc', to = ['a@a.example'] },\n"
                                "{ type = 'handoff', host = 'h', port = 25 },"),
                IsEmpty());
}

} // namespace
} // namespace quzo::host::test
