// What a failed action means for the message: what the policy says, and never its loss.
#include "host/scan/scanner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quzo/core/error_text.h"
#include "tests/host/scripted_action.h"

namespace quzo::host::test {
namespace {

struct Failing {
    const char* script; // of the first of two actions
    OnFailure onFailure;
    Outcome outcome;
    std::vector<std::string> steps; // without the fills
};

class ScanFailures : public testing::TestWithParam<Failing> {};

TEST_P(ScanFailures, EndAsThePolicySays) {
    seen() = {};
    const Failing& c = GetParam();
    Scan scan(rulesOf(
        {ruleOf(1, {scripted(c.script, c.onFailure), scripted("second")}), ruleOf(2, {scripted("third")})}));
    const auto msg = messageOf(kMessage);
    const ScanResult result = scan(*msg);
    EXPECT_EQ(result.outcome, c.outcome);
    EXPECT_EQ(result.error.has_value(), c.outcome == Outcome::Deferred);
    EXPECT_FALSE(result.rules.at(0).actions.at(0).ok);
    EXPECT_FALSE(result.rules.at(0).actions.at(0).consumed);
    EXPECT_EQ(stepsTaken(), c.steps);
}

INSTANTIATE_TEST_SUITE_P(
    All, ScanFailures,
    testing::Values(
        Failing{"fail", OnFailure::Continue, Outcome::Unchanged, {"fail", "second", "third"}},
        Failing{"fail", OnFailure::Stop, Outcome::Unchanged, {"fail"}},
        Failing{"fail", OnFailure::Defer, Outcome::Deferred, {"fail"}},
        // The flag counts for nothing without success.
        Failing{"consume fail", OnFailure::Continue, Outcome::Unchanged, {"consume fail", "second", "third"}},
        Failing{"consume fail", OnFailure::Defer, Outcome::Deferred, {"consume fail"}},
        Failing{"refuse", OnFailure::Defer, Outcome::Deferred, {}}));

TEST_F(ScanTest, DeletingDefersWhenItFails) {
    Scan scan("[[rule]]\nid = 1\nname = 'D'\nwhen = { always = true }\nactions = [{ type = 'delete' }]\n");
    scan.adapter.error = 5;
    const auto msg = messageOf(kMessage);
    const ScanResult result = scan(*msg);
    EXPECT_EQ(result.outcome, Outcome::Deferred);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->text, "rule 1 (D), action delete failed");
}

TEST_F(ScanTest, ExceptionsKeepTheMessage) {
    struct Case {
        const char* script;
        Outcome outcome;
        int code;
    };
    for (const Case& c :
         {Case{"alloc", Outcome::Deferred, kErrorNoMemory}, Case{"throw", Outcome::Failed, kErrorInternal}}) {
        Scan scan(rulesOf({ruleOf(1, {scripted("edit"), scripted(c.script)})}));
        const auto msg = messageOf(kMessage);
        const ScanResult result = scan(*msg);
        EXPECT_EQ(result.outcome, c.outcome);
        ASSERT_TRUE(result.error);
        EXPECT_EQ(result.error->code, c.code);
    }
    Scan scan(rulesOf({ruleOf(1, {scripted("consume"), {&kReporting, "throw", OnFailure::Defer, 1}})}));
    const auto msg = messageOf(kMessage);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Consumed);
}

} // namespace
} // namespace quzo::host::test
