// What a message makes of a named object.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/admin/object_preview.h"
#include "tests/host/scan_support.h"

namespace quzo::host::test {
namespace {

using platform::ObjectKind;

class ObjectPreviewTest : public ::testing::Test {
protected:
    void SetUp() override { startLibrary(); }

    // A stamp that shows tokens, met by the message.
    static MessagePreview preview(std::shared_ptr<const Policy> policy, unsigned objectId,
                                  const TokenMap<ScanToken>& tokens = {}) {
        ObjectForm stamp(ObjectKind::StampArea);
        EXPECT_FALSE(stamp.set({{"text", "%RULENAME%|%FILENAME%|%HOSTNAME%|%SENDER%|%RCPTS%|%SUBJECT%"}}));
        const Snapshot snapshot(std::move(policy), nullptr, {});
        MessageJob job;
        job.bytes = kMessage;
        job.sender = "sender@example.com";
        job.recipients = {"one@example.com", "two@example.com"};
        job.tokens = tokens;
        return previewObject(snapshot, nullptr, stamp, objectId, std::move(job));
    }

    static std::string textOf(const MessagePreview& preview) {
        return preview.object ? preview.object->texts.at(0).second : "none";
    }

    static constexpr const char* kMessage =
        "From: sender@example.com\r\nSubject: =?utf-8?q?caf=C3=A9?=\r\n"
        "Content-Type: application/x-program; name=\"run.exe\"\r\n\r\nMZ\r\n";
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

TEST_F(ObjectPreviewTest, TokensAreThoseOfTheFirstRuleThatRefersToItAndActs) {
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
    auto policy = std::make_shared<Policy>();
    policy->defaults.hostname = "gw1";
    const Condition& never = conditions->rules[0].when;
    const Condition& program = conditions->rules[1].when;
    policy->rules = {ruleWith(10, "another object", "1-8", program), ruleWith(20, "no match", "1-7", never),
                     ruleWith(30, "Programs", "2-8-7", program), ruleWith(40, "later", "1-7", program)};
    MessagePreview seen = preview(policy, 7);
    EXPECT_EQ(seen.ruleId, 30U);
    EXPECT_EQ(textOf(seen),
              "Programs|run.exe|gw1|sender@example.com|one@example.com;two@example.com|caf\xC3\xA9");

    TokenMap<ScanToken> given;
    given.set(ScanToken::Sender, "given@example.com");
    seen = preview(policy, 9, given);
    EXPECT_EQ(seen.ruleId, std::nullopt);
    EXPECT_EQ(textOf(seen), "||gw1|given@example.com|one@example.com;two@example.com|caf\xC3\xA9");

    // What never comes to a rule is not shown with its tokens.
    policy->rules[0].stop = true;
    EXPECT_EQ(preview(policy, 7).ruleId, std::nullopt);
    EXPECT_EQ(preview(policy, 8).ruleId, 10U);
    // What a former rule has made of the message shows.
    policy->rules[0] = ruleWith(10, "tags", "", program);
    policy->rules[0].actions = policyOf(R"(
[[rule]]
id = 1
when = { always = true }
actions = [{ type = "tag-subject", tag = "[x]" }]
)")
                                   ->rules[0]
                                   .actions;
    policy->rules[0].mayChange = true;
    EXPECT_THAT(textOf(preview(policy, 7)), testing::EndsWith("|[x]caf\xC3\xA9"));
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
        {ObjectKind::StampArea,
         "2:1:31:%SENDER%\x03\x1C\x03<p>\x1E%RULETYPE%</p>\x1E\x1E:0::",
         {{"position", "after"}, {"signed", "skip"}},
         {{"text", "sender@example.com"}, {"html", "<p>\n</p>\n\n"}}},
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
    const auto msg = platform::MailMessage::parse(kMessage, {});
    TokenMap<ScanToken> tokens;
    tokens.set(ScanToken::Sender, "sender@example.com");
    tokens.set(ScanToken::Recipients, "one@example.com;two@example.com");
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
