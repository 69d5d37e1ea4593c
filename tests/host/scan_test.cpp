// The run of a message through the rules: what each ending of an action means, what later rules see, and
// what is written for later stages.
#include "host/scan/scanner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cinttypes>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "quzo/core/error_text.h"
#include "quzo/core/msgu.h"
#include "tests/host/scan_support.h"

namespace quzo::host {
namespace {

using test::messageOf;
using test::policyOf;
using test::Scan;
using test::textOf;
using testing::HasSubstr;

// What the scripted actions saw, in order.
struct Seen {
    std::vector<std::string> steps;
    std::vector<TokenMap<ScanToken>> tokens; // at each takeAction
    std::string original;                    // bytes and first recipient of the message as received
    std::string originalRecipient;
};

Seen& seen() {
    static Seen record;
    return record;
}

// Does what its setting says.
class Scripted : public QuzoAction {
public:
    bool construct(const char* setting, unsigned length) override {
        script_.assign(setting, length);
        return script_ != "refuse";
    }
    std::string serialize() override { return script_; }
    ActionType getType() const override { return ActionType::Handoff; }
    bool requiresOriginalMsg() override { return script_ == "original"; }
    void fillInTokenMap(TokenMap<ScanToken>& tokens, const NamedObjMgrForScanner&) override {
        seen().steps.push_back("fill " + script_);
        tokens.set(ScanToken::QuarantineArea, script_);
    }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter&,
                    const NamedObjMgrForScanner& objects) override {
        EXPECT_FALSE(msgConsumed);
        EXPECT_EQ(objects.find(1), nullptr);
        seen().steps.push_back(script_);
        seen().tokens.push_back(tokens);
        if (const auto* received = dynamic_cast<const platform::MailMessage*>(originalMsg)) {
            seen().original = textOf(*received);
            seen().originalRecipient = received->recipients().at(0);
        }
        msgConsumed = script_.find("consume") != std::string::npos;
        if (script_ == "alloc") {
            throw std::bad_alloc();
        }
        if (script_ == "throw") {
            throw std::runtime_error("thrown");
        }
        if (script_ == "edit") {
            return msgu::setHeader(msg->getRootEntity(), "X-A", "edited", nullptr) &&
                   msgu::setRcpt(msg, "other@b.example", false);
        }
        return script_.find("fail") == std::string::npos;
    }

private:
    std::string script_;
};

std::unique_ptr<QuzoAction> makeScripted() { return std::make_unique<Scripted>(); }

const PolicyActionType kScripted{
    "scripted", QuzoAction::ActionType::Handoff, {}, true, true, false, false, false, makeScripted, nullptr,
    nullptr};
const PolicyActionType kStoring{
    "storing", QuzoAction::ActionType::Postpone, {}, true, true, true, false, false, makeScripted, nullptr,
    nullptr};

Rule ruleOf(std::uint32_t id, std::vector<RuleAction> actions) {
    Rule rule;
    rule.id = id;
    rule.name = "R" + std::to_string(id);
    rule.actions = std::move(actions);
    rule.mayChange = true;
    return rule;
}

RuleAction scripted(const std::string& script, OnFailure onFailure = OnFailure::Continue) {
    return {&kScripted, script, onFailure, 1};
}

std::shared_ptr<Policy> rulesOf(std::vector<Rule> rules) {
    auto policy = std::make_shared<Policy>();
    policy->rules = std::move(rules);
    return policy;
}

class ScanTest : public testing::Test {
protected:
    void SetUp() override { seen() = {}; }
};

const char kMessage[] = "Subject: hello\r\nX-A: old\r\n\r\nbody\r\n";

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
    EXPECT_THAT(seen().steps, testing::ElementsAre("fill b", "b"));
}

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
    std::vector<std::string> steps;
    for (const std::string& step : seen().steps) {
        if (!step.starts_with("fill")) {
            steps.push_back(step);
        }
    }
    EXPECT_EQ(steps, c.steps);
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

TEST_F(ScanTest, FailuresAfterConsumptionDoNotBringTheMessageBack) {
    Scan scan(rulesOf({ruleOf(1, {scripted("consume"), {&kStoring, "never", OnFailure::Defer, 1}})}));
    const auto msg = messageOf(kMessage);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Consumed);
    EXPECT_THAT(seen().steps, testing::ElementsAre("fill consume", "fill never", "consume"));
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
    PolicyActionType notifying = kScripted;
    notifying.canConsume = false;
    Scan scan(rulesOf({ruleOf(1, {scripted("consume"), {&notifying, "throw", OnFailure::Defer, 1}})}));
    const auto msg = messageOf(kMessage);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Consumed);
}

TEST_F(ScanTest, ActionsGetTheOriginal) {
    Scan scan(rulesOf({ruleOf(1, {scripted("edit")}), ruleOf(2, {scripted("original")})}));
    const auto msg = messageOf(kMessage);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Modified);
    EXPECT_EQ(seen().original, kMessage);
    EXPECT_EQ(seen().originalRecipient, "to@b.example");
    EXPECT_THAT(textOf(*msg), HasSubstr("X-A: edited"));
}

const char kAttachments[] =
    "Message-ID: <1\xff@x>\n"
    "To: T <t@b.example>, u@b.example\n"
    "Content-Type: multipart/mixed; boundary=b\n"
    "\n"
    "--b\n"
    "\n"
    "text\n"
    "--b\n"
    "Content-Type: application/pdf\n"
    "Content-Disposition: attachment; filename=a.exe\n"
    "\n"
    "12345\n"
    "--b\n"
    "Content-Disposition: attachment; filename=b.zip\n"
    "\n"
    "1234567\n"
    "--b--\n";

TEST_F(ScanTest, TokensAreThoseOfTheRuleAtWork) {
    auto policy = std::make_shared<Policy>(*policyOf(R"(
[defaults]
hostname = "gw.example"
[[rule]]
id = 7
name = "First"
stop = true
when = { any = [{ attachment = ["*.exe", "*.zip"] }, { content_type = "none/*" }] }
[[rule]]
id = 8
stop = true
when = { not = { attachment = "*.com" } }
)"));
    policy->rules[0].stop = false;
    policy->rules[0].actions = {scripted("one"), scripted("two")};
    policy->rules[1].actions = {scripted("three")};
    Scan scan(policy);
    scan.tokens.set(ScanToken::VirusName, "V");
    scan.tokens.set(ScanToken::Detected, "given");
    scan.tokens.set(ScanToken::HostName, "given.example");
    const auto msg = messageOf(kAttachments);
    msg->setIdentifier("ID1");
    EXPECT_EQ(scan(*msg).outcome, Outcome::Unchanged);
    EXPECT_THAT(seen().steps,
                testing::ElementsAre("fill one", "fill two", "one", "two", "fill three", "three"));

    KvMsgEntity* exe = msg->getRootEntity()->getNext()->getNext();
    char marks[128];
    std::snprintf(marks, sizeof marks, "2 %" PRIxPTR ";3 %" PRIxPTR, reinterpret_cast<std::uintptr_t>(exe),
                  reinterpret_cast<std::uintptr_t>(exe->getNext()));
    const std::vector<std::pair<ScanToken, std::string>> first{
        {ScanToken::MarkedEntities, marks},
        {ScanToken::SampleEntities, marks},
        {ScanToken::RuleId, "7"},
        {ScanToken::RuleName, "First"},
        {ScanToken::RuleType, "content"},
        {ScanToken::FileName, "a.exe; b.zip"},
        {ScanToken::FileType, "application/pdf; text/plain"},
        {ScanToken::Detected, "*.exe; *.zip"},
        {ScanToken::Entity, "2; 3"},
        {ScanToken::AttachmentSize, "12"},
        {ScanToken::AttachmentCount, "2"},
        {ScanToken::Sender, "from@a.example"},
        {ScanToken::Recipients, "to@b.example"},
        {ScanToken::HeaderRecipients, "t@b.example;u@b.example"},
        {ScanToken::MailId, "<1\xef\xbf\xbd@x>"},
        {ScanToken::OriginalMailId, "ID1"},
        {ScanToken::Protocol, "FILE"},
        {ScanToken::MessageSize, std::to_string(sizeof kAttachments - 1)},
        {ScanToken::HostName, "given.example"},
        {ScanToken::VirusName, "V"},
        {ScanToken::QuarantineArea, "two"},
    };
    const TokenMap<ScanToken>& atFirst = seen().tokens.at(0);
    for (const auto& [code, value] : first) {
        EXPECT_EQ(atFirst.valueOrEmpty(code), value) << static_cast<int>(code);
    }
    EXPECT_EQ(atFirst.find(ScanToken::ActionCodes), nullptr);
    EXPECT_EQ(seen().tokens.at(1).valueOrEmpty(ScanToken::ActionCodes), "11");

    // The second rule starts anew, with what the caller gave.
    const TokenMap<ScanToken>& atSecond = seen().tokens.at(2);
    for (const ScanToken code :
         {ScanToken::MarkedEntities, ScanToken::SampleEntities, ScanToken::FileName, ScanToken::FileType,
          ScanToken::Entity, ScanToken::AttachmentSize, ScanToken::AttachmentCount, ScanToken::ActionCodes,
          ScanToken::RuleActionCodes}) {
        EXPECT_EQ(atSecond.find(code), nullptr) << static_cast<int>(code);
    }
    EXPECT_EQ(atSecond.valueOrEmpty(ScanToken::RuleId), "8");
    EXPECT_EQ(atSecond.valueOrEmpty(ScanToken::RuleName), "rule 8");
    EXPECT_EQ(atSecond.valueOrEmpty(ScanToken::Detected), "given");
    EXPECT_EQ(atSecond.valueOrEmpty(ScanToken::VirusName), "V");
    EXPECT_EQ(atSecond.valueOrEmpty(ScanToken::QuarantineArea), "three");
    EXPECT_EQ(scan.tokens.valueOrEmpty(ScanToken::RuleActionCodes), "11");
}

const char kForged[] =
    "X-Quzo-Reprocess-Rules: 1;2\r\n"
    "Subject: hello\r\n"
    "x-marks: decrypt\r\n"
    "X-QUZO-reprocess-type: quarantine\r\n"
    "\r\nbody\r\n";

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
        // Who changes nothing leaves even the forged fields.
        Marking{"Unchanged", "{ type = 'delete', on_failure = 'continue' }", false, kForged, {}},
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

TEST_F(ScanTest, WhatIsStoredCarriesOurMarksOnly) {
    auto policy = rulesOf({ruleOf(1, {{findActionType("encrypt"), "", OnFailure::Continue, 1},
                                      {&kStoring, "consume", OnFailure::Defer, 1}})});
    policy->defaults.markHeader = "X-Marks";
    Scan scan(policy);
    const auto msg = messageOf(kForged);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Consumed);
    EXPECT_EQ(textOf(*msg), "Subject: hello\r\nX-Marks: encrypt\r\n\r\nbody\r\n");
}

TEST_F(ScanTest, LimitsDeferOnlyWhatNeedsLookingAt) {
    platform::Limits limits;
    limits.parts = 2;
    const auto scanned = [&](const char* when, OnLimit onLimit) {
        ScannerOptions options;
        options.limits = limits;
        options.onLimit = onLimit;
        Scan scan(policyOf(std::string("[[rule]]\nid = 1\nstop = true\nwhen = ") + when + "\n"), options);
        const auto msg = platform::MailMessage::parse(kAttachments, limits);
        return scan(*msg);
    };
    const char* look = "{ attachment = '*.zip' }";
    EXPECT_EQ(scanned("{ header = { To = 'T' } }", OnLimit::Defer).outcome, Outcome::Unchanged);
    const ScanResult deferred = scanned(look, OnLimit::Defer);
    EXPECT_EQ(deferred.outcome, Outcome::Deferred);
    ASSERT_TRUE(deferred.error);
    EXPECT_EQ(deferred.error->code, kErrorLimit);
    EXPECT_EQ(scanned(look, OnLimit::Fail).outcome, Outcome::Failed);
    const ScanResult passed = scanned(look, OnLimit::Pass);
    EXPECT_EQ(passed.outcome, Outcome::Unchanged);
    EXPECT_EQ(passed.warnings.size(), 1U);

    limits = {};
    limits.messageBytes = 10;
    EXPECT_EQ(scanned("{ always = true }", OnLimit::Defer).outcome, Outcome::Deferred);
    EXPECT_TRUE(scanned("{ always = true }", OnLimit::Pass).rules.empty());
}

TEST_F(ScanTest, AnEnvelopeBeyondALimitIsSaidByName) {
    const struct {
        OnLimit onLimit;
        Outcome outcome;
    } rows[] = {{OnLimit::Defer, Outcome::Deferred},
                {OnLimit::Fail, Outcome::Failed},
                {OnLimit::Pass, Outcome::Unchanged}};
    test::startLibrary();
    for (const auto& row : rows) {
        ScannerOptions options;
        options.onLimit = row.onLimit;
        const Scanner scanner(
            policyOf("[[rule]]\nid = 1\nwhen = { always = true }\nactions = [{ type = 'delete' }]\n"),
            options);
        const auto msg = messageOf("Subject: hello\n\nbody\n");
        test::CountingAdapter adapter;
        TokenMap<ScanToken> tokens;
        ScanJob job{adapter, tokens};
        job.beyondLimit = "more than 5 recipients (limit_recipients)";
        const ScanResult result = scanner.scan(*msg, job);
        EXPECT_EQ(result.outcome, row.outcome);
        EXPECT_TRUE(result.rules.empty());
        const std::string said =
            row.onLimit == OnLimit::Pass ? result.warnings.at(0) : result.error.value().text;
        EXPECT_THAT(said, testing::HasSubstr("limit_recipients"));
    }
}

TEST_F(ScanTest, ThreadsShareAScanner) {
    test::startLibrary();
    const Scanner scanner(policyOf("[[rule]]\nid = 1\nwhen = { subject = 'h.llo', attachment = '*.exe' }\n"
                                   "actions = [{ type = 'tag-subject', tag = '[%FILENAME%] ' }]\n"),
                          {});
    std::atomic<int> good = 0;
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            for (int i = 0; i < 50; ++i) {
                const auto msg = messageOf(std::string("Subject: hello\n") + kAttachments);
                test::CountingAdapter adapter;
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
} // namespace quzo::host
