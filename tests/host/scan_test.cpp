// The run of a message through the rules: their order, what conditions and actions see, and threads.
#include "host/scan/scanner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/host/scripted_action.h"

namespace quzo::host::test {
namespace {

using testing::HasSubstr;

TEST_F(ScanTest, LeavesAMessageAsItCameWhenNothingMatches) {
    Scan scan("[[rule]]\nid = 1\nwhen = { subject = 'nothing' }\nactions = [{ type = 'delete' }]\n");
    const auto msg = messageOf(std::string("X-quzo-reprocess-rules: 1\r\n") + kMessage);
    const ScanResult result = scan(*msg);
    EXPECT_EQ(result.outcome, Outcome::Unchanged);
    EXPECT_TRUE(result.rules.empty());
    EXPECT_FALSE(result.error);
    EXPECT_TRUE(scan.tokens.empty());
    EXPECT_EQ(textOf(*msg), msg->original());
}

TEST_F(ScanTest, ConditionsSeeTheMessageAsReceived) {
    Scan scan(R"(
[[rule]]
id = 1
when = { subject = "^hello$" }
actions = [{ type = "tag-subject", tag = "[%RULENAME%] " }, { type = "x-header", name = "X-A", value = "new" }]
[[rule]]
id = 2
when = { header = { X-A = "new" } }
actions = [{ type = "x-header", name = "X-Two", value = "2" }]
[[rule]]
id = 3
when = { header = { X-A = "old" }, subject = "^hello" }
actions = [{ type = "tag-subject", tag = "[3]" }]
)");
    const auto msg = messageOf(kMessage);
    const ScanResult result = scan(*msg);
    EXPECT_EQ(result.outcome, Outcome::Modified);
    ASSERT_EQ(result.rules.size(), 2U);
    EXPECT_EQ(result.rules[1].id, 3U);
    EXPECT_EQ(textOf(*msg), "Subject: [3][rule 1] hello\r\nX-A: new\r\n\r\nbody\r\n");
}

TEST_F(ScanTest, ConditionsSeeTheEnvelopeAndTokensAsReceived) {
    auto policy = std::make_shared<Policy>(*policyOf(R"(
[[rule]]
id = 1
stop = true
when = { always = true }
[[rule]]
id = 2
stop = true
when = { recipient = "other@*" }
[[rule]]
id = 3
stop = true
when = { any = [{ token = { RULENAME = "." } }, { recipient = "to@*", token = { RCPTS = "^to@b.example$" } }] }
)"));
    policy->rules[0].actions = {scripted("edit")};
    policy->rules[0].stop = false;
    Scan scan(policy);
    const auto msg = messageOf(kMessage);
    const ScanResult result = scan(*msg);
    ASSERT_EQ(result.rules.size(), 2U);
    EXPECT_EQ(result.rules[1].id, 3U);
    EXPECT_THAT(msg->recipients(), testing::ElementsAre("other@b.example"));
}

TEST_F(ScanTest, StopsAndSkips) {
    Rule stopping = ruleOf(2, {scripted("b")});
    stopping.stop = true;
    Scan scan(rulesOf({ruleOf(1, {scripted("a")}), stopping, ruleOf(3, {scripted("c")})}));
    scan.skipRules = {1};
    const auto msg = messageOf(kMessage);
    const ScanResult result = scan(*msg);
    EXPECT_EQ(result.outcome, Outcome::Unchanged);
    EXPECT_THAT(stepsTaken(), testing::ElementsAre("b"));
}

TEST_F(ScanTest, ActionsGetTheOriginal) {
    Scan scan(rulesOf({ruleOf(1, {scripted("edit")}), ruleOf(2, {scripted("original")})}));
    const auto msg = messageOf(kMessage);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Modified);
    EXPECT_EQ(seen().original, kMessage);
    EXPECT_EQ(seen().originalRecipient, "to@b.example");
    EXPECT_THAT(textOf(*msg), HasSubstr("X-A: edited"));
}

TEST_F(ScanTest, ThreadsShareAScanner) {
    startLibrary();
    const Scanner scanner(policyOf("[[rule]]\nid = 1\nwhen = { subject = 'h.llo', attachment = '*.exe' }\n"
                                   "actions = [{ type = 'tag-subject', tag = '[%FILENAME%] ' }]\n"),
                          {});
    std::atomic<int> good = 0;
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            for (int i = 0; i < 50; ++i) {
                const auto msg = messageOf(std::string("Subject: hello\n") + kAttachments);
                CountingAdapter adapter;
                TokenMap<ScanToken> tokens;
                const ScanResult result = scanner.scan(*msg, ScanJob{adapter, tokens});
                good += result.outcome == Outcome::Modified &&
                                textOf(*msg).starts_with("Subject: [a.exe] hello\n")
                            ? 1
                            : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, 200);
}

} // namespace
} // namespace quzo::host::test
