// What consuming a message means for the actions and rules that follow, and what counts as a change.
#include "host/scan/scanner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/scripted_action.h"

namespace quzo::host::test {
namespace {

using testing::HasSubstr;

TEST_F(ScanTest, ConsumedMessagesFinishTheirRuleOnly) {
    Scan scan(R"(
[[rule]]
id = 1
when = { always = true }
actions = [{ type = "delete" }, { type = "encrypt" }, { type = "delete" }]
[[rule]]
id = 2
when = { always = true }
actions = [{ type = "x-header", name = "X-Two", value = "2" }]
)");
    const auto msg = messageOf(kMessage);
    const ScanResult result = scan(*msg);
    EXPECT_EQ(result.outcome, Outcome::Consumed);
    EXPECT_FALSE(result.goesOn());
    EXPECT_EQ(scan.adapter.deletes, 1);
    ASSERT_EQ(result.rules.size(), 1U);
    const auto& actions = result.rules[0].actions;
    ASSERT_EQ(actions.size(), 3U);
    EXPECT_TRUE(actions[0].ok && actions[0].consumed && !actions[0].skipped);
    EXPECT_TRUE(actions[1].ok && !actions[1].consumed);
    EXPECT_TRUE(!actions[2].ok && actions[2].skipped);
    EXPECT_THAT(result.warnings, testing::ElementsAre(HasSubstr("delete: skipped")));
    EXPECT_THAT(result.marks, testing::ElementsAre("encrypt"));
}

// The one that works is the one whose area is recorded; one that is skipped says nothing more.
TEST_F(ScanTest, TokensAreThoseOfTheActionAtWork) {
    Scan scan(rulesOf({ruleOf(1, {{&kReporting, "quiet", OnFailure::Continue, 1},
                                  scripted("consume fail"),
                                  {&kReporting, "quiet", OnFailure::Continue, 1},
                                  scripted("consume"),
                                  scripted("consume too"),
                                  {&kReporting, "quiet", OnFailure::Continue, 1}})}));
    const auto msg = messageOf(kMessage);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Consumed);
    EXPECT_THAT(stepsTaken(), testing::ElementsAre("quiet", "consume fail", "quiet", "consume", "quiet"));
    std::vector<std::string> areas;
    for (const TokenMap<ScanToken>& tokens : seen().tokens) {
        areas.push_back(tokens.valueOrEmpty(ScanToken::QuarantineArea));
    }
    EXPECT_THAT(areas,
                testing::ElementsAre("consume fail", "consume fail", "consume fail", "consume", "consume"));
    const auto begin = seen().steps.begin();
    EXPECT_THAT(std::vector<std::string>(begin, begin + 6), testing::Each(testing::StartsWith("fill")))
        << "all are asked before the first one works";
}

TEST_F(ScanTest, FailuresAfterConsumptionDoNotBringTheMessageBack) {
    for (const OnFailure onFailure : {OnFailure::Defer, OnFailure::Stop, OnFailure::Continue}) {
        seen() = {};
        Scan scan(rulesOf({ruleOf(1, {scripted("consume"),
                                      {&kReporting, "fail", onFailure, 1},
                                      {&kReporting, "last", OnFailure::Defer, 1},
                                      {&kStoring, "never", OnFailure::Defer, 1}}),
                           ruleOf(2, {scripted("next rule")})}));
        const auto msg = messageOf(kMessage);
        const ScanResult result = scan(*msg);
        EXPECT_EQ(result.outcome, Outcome::Consumed);
        EXPECT_FALSE(result.error);
        EXPECT_THAT(stepsTaken(), testing::ElementsAre("consume", "fail", "last"));
        EXPECT_FALSE(result.rules.at(0).actions.at(1).ok);
        EXPECT_THAT(result.warnings,
                    testing::ElementsAre(HasSubstr("reporting failed"), HasSubstr("storing: skipped")));
    }
}

// Nothing of the message's bytes changes, but who gets it does.
TEST_F(ScanTest, BlindCopiesCountAsAChange) {
    Scan scan(
        "[[rule]]\nid = 1\nwhen = { always = true }\nactions = [{ type = 'bcc', to = ['c@c.example'] }]\n");
    auto msg = messageOf(kMessage);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Modified);
    EXPECT_THAT(msg->recipients(), testing::ElementsAre("to@b.example", "c@c.example"));
    EXPECT_EQ(textOf(*msg), kMessage);
    msg = messageOf(kMessage, "from@a.example", {"c@c.example"});
    EXPECT_EQ(scan(*msg).outcome, Outcome::Unchanged) << "who has it already is nobody new";
}

} // namespace
} // namespace quzo::host::test
