// Marks for later stages, and those that others have forged.
#include "host/scan/scanner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/scripted_action.h"

namespace quzo::host::test {
namespace {

const char kForged[] =
    "X-Quzo-Reprocess-Rules: 1;2\r\n"
    "Subject: hello\r\n"
    "x-marks: decrypt\r\n"
    "X-QUZO-reprocess-type: quarantine\r\n"
    "\r\nbody\r\n";

const char kClean[] = "Subject: hello\r\n\r\nbody\r\n";

struct Marking {
    const char* name;
    const char* actions;
    bool trusted;
    const char* expected;
    std::vector<std::string> marks;
};

class ScanMarks : public testing::TestWithParam<Marking> {};

TEST_P(ScanMarks, AreWrittenAndForgedOnesRemoved) {
    const Marking& c = GetParam();
    Scan scan(std::string("[defaults]\nmark_header = 'X-Marks'\n[[rule]]\nid = 1\nwhen = { always = true }\n"
                          "actions = [") +
              c.actions + "]\n");
    scan.trustMarks = c.trusted;
    scan.adapter.error = 5;
    const auto msg = messageOf(kForged);
    const ScanResult result = scan(*msg);
    EXPECT_EQ(result.outcome, textOf(*msg) == kForged ? Outcome::Unchanged : Outcome::Modified);
    EXPECT_EQ(textOf(*msg), c.expected);
    EXPECT_EQ(result.marks, c.marks);
}

INSTANTIATE_TEST_SUITE_P(
    All, ScanMarks,
    testing::Values(
        Marking{"Unchanged", "{ type = 'delete', on_failure = 'continue' }", false, kClean, {}},
        Marking{"Stopped", "{ type = 'delete', on_failure = 'stop' }", false, kClean, {}},
        Marking{"TrustedUnchanged", "{ type = 'delete', on_failure = 'continue' }", true, kForged, {}},
        Marking{
            "Changed", "{ type = 'tag-subject', tag = 'T ' }", false, "Subject: T hello\r\n\r\nbody\r\n", {}},
        Marking{"Marked",
                "{ type = 'encrypt' }, { type = 'virus-clean' }, { type = 'encrypt' }",
                false,
                "Subject: hello\r\nX-Marks: encrypt, virus-clean\r\n\r\nbody\r\n",
                {"encrypt", "virus-clean"}},
        Marking{"Trusted",
                "{ type = 're-encrypt' }",
                true,
                "X-Quzo-Reprocess-Rules: 1;2\r\nSubject: hello\r\nx-marks: re-encrypt, decrypt\r\n"
                "X-QUZO-reprocess-type: quarantine\r\n\r\nbody\r\n",
                {"re-encrypt", "decrypt"}}),
    [](const testing::TestParamInfo<Marking>& row) { return row.param.name; });

// Whether a rule looks at the message or not, whether it can be looked at or not: the next hop believes the
// field.
TEST_F(ScanTest, AForgedMarkNeverPasses) {
    platform::Limits few;
    few.parts = 1;
    platform::Limits tiny;
    tiny.headerFields = 1;
    const std::string ours = "[defaults]\nmark_header = 'X-Marks'\n";
    const std::string noRule = ours + "[[rule]]\nid = 1\nstop = true\nwhen = { subject = 'nothing' }\n";
    const std::string looking = ours + "[[rule]]\nid = 1\nstop = true\nwhen = { attachment = '*.com' }\n";
    const std::string others = "Subject: hello\r\nX-Quzo-Reprocess-Rules: 1\r\n\r\nbody\r\n";
    const std::string parts = kAttachments;
    const std::string marked = "X-A: 1\r\nX-MARKS : decrypt\r\n";
    const struct {
        const char* name;
        std::string policy, message;
        platform::Limits limits;
        const char* beyond;
        Outcome outcome;
        std::string expected;
    } rows[] = {
        {"no rule", noRule, kForged, {}, "", Outcome::Modified, kClean},
        {"twice",
         noRule,
         "x-marks: a\nSubject: hello\nX-Marks:\n b\n\nbody\n",
         {},
         "",
         Outcome::Modified,
         "Subject: hello\n\nbody\n"},
        {"too many recipients", noRule, kForged, {}, "too many", Outcome::Modified, kClean},
        {"too many parts", looking, "X-Marks: a\n" + parts, few, "", Outcome::Modified, parts},
        {"too long a header", noRule, marked + "\r\nb\r\n", tiny, "", Outcome::Failed, ""},
        {"no header", noRule, "no header\r\nat all\r\n\r\nX-Marks: a\r\n", {}, "", Outcome::Unchanged, ""},
        {"not there, too long a header", noRule, "X-A: 1\r\nX-Markses: 1\r\n\r\nX-Marks: a\r\n", tiny, "",
         Outcome::Unchanged, ""},
        {"not there", noRule, others, {}, "", Outcome::Unchanged, ""},
        {"not ours", noRule.substr(ours.size()), kForged, {}, "", Outcome::Unchanged, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ScannerOptions options;
        options.limits = row.limits;
        options.onLimit = OnLimit::Pass;
        Scan scan(policyOf(row.policy), options);
        scan.beyondLimit = row.beyond;
        const auto msg = platform::MailMessage::parse(row.message, row.limits);
        const ScanResult result = scan(*msg);
        EXPECT_EQ(result.outcome, row.outcome);
        EXPECT_EQ(textOf(*msg), row.expected.empty() ? row.message : row.expected);
        EXPECT_EQ(result.error.has_value(), row.outcome == Outcome::Failed);
    }
}

TEST_F(ScanTest, WhatIsStoredCarriesOurMarksOnly) {
    auto policy = rulesOf({ruleOf(1, {{findActionType("encrypt"), "", OnFailure::Continue, 1},
                                      {&kStoring, "consume", OnFailure::Defer, 1}})});
    policy->defaults.markHeader = "X-Marks";
    Scan scan(policy);
    const auto msg = messageOf(kForged);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Consumed);
    EXPECT_EQ(textOf(*msg), "Subject: hello\r\nX-Marks: encrypt\r\n\r\nbody\r\n");
}

// A mark from outside would make the second pass skip rules.
TEST_F(ScanTest, WhatIsReaddressedCarriesOurMarksOnly) {
    for (const bool trusted : {false, true}) {
        Scan scan(
            "[[rule]]\nid = 7\nwhen = { always = true }\nactions = [{ type = 'readdress', to = "
            "['n@n.example'] }]\n");
        scan.trustMarks = trusted;
        const auto msg = messageOf(kForged);
        EXPECT_EQ(scan(*msg).outcome, Outcome::Consumed);
        EXPECT_THAT(scan.adapter.sent,
                    testing::ElementsAre(
                        trusted ? "X-Quzo-Reprocess-Rules: 1;2 7\r\nSubject: hello\r\nx-marks: decrypt\r\n"
                                  "X-QUZO-reprocess-type: readdress\r\n\r\nbody\r\n"
                                : "Subject: hello\r\nx-marks: decrypt\r\nX-quzo-reprocess-rules: 7\r\n"
                                  "X-quzo-reprocess-type: readdress\r\n\r\nbody\r\n"));
    }
}

} // namespace
} // namespace quzo::host::test
