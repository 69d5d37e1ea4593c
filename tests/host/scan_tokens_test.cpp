// The tokens that actions find, rule by rule.
#include "host/scan/scanner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/scripted_action.h"

namespace quzo::host::test {
namespace {

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
    EXPECT_THAT(stepsTaken(), testing::ElementsAre("one", "two", "three"));

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
        {ScanToken::QuarantineArea, "one"},
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

// Whatever an action leaves under a code that belongs to a rule, the next rule does not see it.
TEST_F(ScanTest, NothingOfARuleIsLeftForTheNext) {
    Scan scan(rulesOf({ruleOf(1, {scripted("scribble")}), ruleOf(2, {scripted("quiet")})}));
    scan.tokens.set(ScanToken::QuarantineAreaId, "given");
    const auto msg = messageOf(kMessage);
    EXPECT_EQ(scan(*msg).outcome, Outcome::Unchanged);
    const TokenMap<ScanToken>& second = seen().tokens.at(1);
    // What is the message's own, or nobody's: computed texts, blind copies to come, what other scanners
    // found.
    constexpr std::int32_t kStays[][2] = {{5, 11}, {14, 31}, {35, 38}, {51, 56}, {64, 65}, {69, 79}};
    for (std::int32_t code = 0; code < 80; ++code) {
        const bool stays = std::any_of(std::begin(kStays), std::end(kStays), [code](const auto& range) {
            return code >= range[0] && code <= range[1];
        });
        EXPECT_EQ(second.valueOrEmpty(static_cast<ScanToken>(code)) == "left over", stays) << code;
    }
    EXPECT_EQ(second.valueOrEmpty(ScanToken::QuarantineAreaId), "given");
}

} // namespace
} // namespace quzo::host::test
