// What a message makes of a named object.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/admin/object_preview.h"
#include "tests/host/scan_support.h"

namespace quzo::host::test {
namespace {

using platform::ObjectKind;

class NoObjects : public NamedObjMgrForScanner {
public:
    const QuzoNamedObj* find(unsigned /*id*/) const override { return nullptr; }
};

class ObjectPreviewTest : public ::testing::Test {
protected:
    void SetUp() override {
        startLibrary();
        msg->setEnvelope("sender@example.com", {"one@example.com", "two@example.com"});
    }

    const Rule* fillFrom(const Policy& policy, unsigned objectId) {
        return fillPreviewTokens(policy, objectId, *msg, {}, NoObjects(), tokens);
    }

    std::unique_ptr<platform::MailMessage> msg = platform::MailMessage::parse(
        "From: sender@example.com\r\nSubject: =?utf-8?q?caf=C3=A9?=\r\n"
        "Content-Type: application/x-program; name=\"run.exe\"\r\n\r\nMZ\r\n",
        {});
    TokenMap<ScanToken> tokens;
};

// An archive action with these ids and a rule about it.
Rule ruleWith(std::uint32_t id, const char* name, const std::string& setting, const Condition& when) {
    Rule rule;
    rule.id = id;
    rule.name = name;
    rule.when = when;
    rule.actions.push_back({findActionType("archive"), setting, OnFailure::Continue, 1});
    return rule;
}

TEST_F(ObjectPreviewTest, TokensAreThoseOfTheFirstRuleThatRefersToItAndMatches) {
    const auto conditions = policyOf(R"(
[[rule]]
id = 1
when = { sender = "nobody@*" }
stop = true
[[rule]]
id = 2
when = { attachment = "*.exe" }
stop = true
)");
    Policy policy;
    policy.defaults.hostname = "gw1";
    const Condition& never = conditions->rules[0].when;
    const Condition& program = conditions->rules[1].when;
    policy.rules = {ruleWith(10, "another object", "1-8", program), ruleWith(20, "no match", "1-7", never),
                    ruleWith(30, "Programs", "2-8-7", program), ruleWith(40, "later", "1-7", program)};
    const Rule* rule = fillFrom(policy, 7);
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(rule->id, 30U);
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::RuleName), "Programs");
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::FileName), "run.exe");
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::HostName), "gw1");

    TokenMap<ScanToken> given;
    given.set(ScanToken::Sender, "given@example.com");
    tokens = given;
    EXPECT_EQ(fillFrom(policy, 9), nullptr);
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::RuleName), "");
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::Sender), "given@example.com");
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::Recipients), "one@example.com;two@example.com");
}

TEST_F(ObjectPreviewTest, TextsAreRendered) {
    using Texts = std::vector<std::pair<std::string, std::string>>;
    const struct {
        ObjectKind kind;
        const char* stored;
        Texts head;
        Texts texts;
    } rows[] = {
        {ObjectKind::StampArea,
         "1:2:23:From %SENDER%\x03%SUBJECT%:1:D:",
         {{"position", "before"}, {"signed", "stamp"}},
         {{"text", "From sender@example.com\ncaf\xC3\xA9"}}},
        {ObjectKind::NotifyArea,
         "0::4:pm@x:3:a@b:9:%SUBJECT%:8:%SENDER%:7:%RCPTS%:1:1:1:1:7:1:0:",
         {{"from", "pm@x"},
          {"to", "a@b;sender@example.com;one@example.com;two@example.com"},
          {"subject", "caf\xC3\xA9"},
          {"attach", "original"}},
         {{"body", "sender@example.com"}, {"snmp trap of type 7", "one@example.com;two@example.com"}}},
        {ObjectKind::NotifyArea,
         "0::0::0::0::0::1:t:0:0:0:0:7:0:0:",
         {{"from", ""}, {"to", ""}, {"subject", ""}, {"attach", "none"}},
         {{"body", ""}}},
        {ObjectKind::QuarantineArea, "30:1:Q:", {{"area", "Q"}, {"kept", "30 days"}}, {}},
        {ObjectKind::ArchiveArea, "0:0::", {{"area", ""}, {"kept", "until it is removed"}}, {}},
    };
    fillFrom(Policy(), 1);
    for (const auto& row : rows) {
        const auto form = ObjectForm::read(row.kind, row.stored);
        ASSERT_TRUE(form) << row.stored;
        const ObjectPreview preview = previewObject(*form, tokens, *msg);
        EXPECT_EQ(preview.head, row.head);
        EXPECT_EQ(preview.texts, row.texts);
    }
}

} // namespace
} // namespace quzo::host::test
