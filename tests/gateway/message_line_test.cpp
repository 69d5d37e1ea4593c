// The line that the log has of a message: its fields, and that it is one line whatever the message is.
#include "host/gateway/message_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <string>

#include "tests/cli/program.h"

namespace quzo::host::test {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;

MessageResult resultOf(const std::string& message) {
    MessageResult result;
    result.message = platform::MailMessage::parse(message, {}, platform::RawValues::WithCharset);
    return result;
}

TEST(MessageLine, HasWhatHappened) {
    MessageResult result = resultOf("Message-ID: <1@a>\nSubject: x\n\nbody\n");
    result.identifier = "7K2Q";
    result.envelope = {.sender = "a@a.example", .recipients = {"b@b.example", "\"x y\"@c.example"}};
    result.scan.outcome = Outcome::Consumed;
    result.scan.rules = {{10, "Ten", {{"tag-subject", true}, {"notify", false}, {"delete", true, true}}},
                         {20, "Twenty", {{"bcc", false, false, true}}}};
    const MessageLine line(result, {.name = "in/a b.eml", .taken = std::chrono::microseconds(12999)});
    EXPECT_EQ(line.text(),
              "id=7K2Q file=\"in/a b.eml\" message_id=<1@a> from=a@a.example "
              "to=\"b@b.example,\\\"x y\\\"@c.example\" recipients=2 size=35 rules=10,20 "
              "actions=tag-subject,notify,delete failed=notify outcome=consumed error=\"\" ms=12");
    EXPECT_EQ(nlohmann::json::parse(line.json()),
              nlohmann::json::parse(R"({"id": "7K2Q", "file": "in/a b.eml",
        "message_id": "<1@a>", "from": "a@a.example", "to": ["b@b.example", "\"x y\"@c.example"], "recipients": 2,
        "size": 35, "rules": [10, 20], "actions": ["tag-subject", "notify", "delete"], "failed": ["notify"],
        "outcome": "consumed", "error": null, "ms": 12})"));

    MessageResult unread;
    unread.scan.outcome = Outcome::Failed;
    unread.scan.error = ScanError{1, "is no mail"};
    const MessageLine none(unread, {});
    EXPECT_EQ(
        none.text(),
        "id=\"\" file=\"\" message_id=\"\" from=\"\" to=\"\" recipients=0 size=0 rules=\"\" actions=\"\" "
        "failed=\"\" outcome=failed error=\"is no mail\" ms=0");

    // What went wrong behind the policy does not hide what the policy says.
    EXPECT_THAT(MessageLine(unread, {.error = "later"}).text(), HasSubstr("error=\"is no mail\""));
    unread.scan = {};
    EXPECT_THAT(MessageLine(unread, {.error = "later"}).text(), HasSubstr("outcome=unchanged error=later "));
}

TEST(MessageLine, QuotesSoThatAValueCannotLookLikeAField) {
    const struct {
        std::string sender;
        const char* shown;
    } rows[] = {{"a@b", "from=a@b "},
                {"a@b outcome=failed", R"(from="a@b outcome=failed" )"},
                {"\" ms=0", R"(from="\" ms=0" )"},
                {"\\\" ms=0", R"(from="\\\" ms=0" )"},
                {"a=b", R"(from="a=b" )"},
                {"a\nid=b", R"(from="a\x0Aid=b" )"},
                {"a\\x0A", R"(from="a\\x0A" )"},
                {"\xFF\0\x1B[2J"s, R"(from="\xFF\x00\x1B[2J" )"},
                {"\xE2\x80\xAEx", R"(from="\xE2\x80\xAEx" )"},
                {"\xC3\xA4@b", "from=\"\xC3\xA4@b\" "}};
    for (const auto& row : rows) {
        MessageResult result;
        result.envelope.sender = row.sender;
        EXPECT_THAT(MessageLine(result, {}).text(), HasSubstr(" "s + row.shown + "to=")) << row.shown;
    }
}

// Every text as long and as bad as it can be.
TEST(MessageLine, OfAHostileMessageIsOneBoundedLine) {
    const std::string bad = "\xFF\r\n[1] error: forged \x1B]0;\xE2\x80\xA8\0 \\\""s;
    std::string much;
    for (int i = 0; i < 1000; ++i) {
        much += bad;
    }
    MessageResult result = resultOf("Message-ID: <" + std::string(100000, '\xE4') + "\x1B\x7F\r\n x>\n\nb\n");
    result.envelope.sender = much;
    result.envelope.recipients.assign(5000, much);
    result.scan.error = ScanError{1, much};
    result.scan.rules.assign(1000, {7, much, std::vector<ActionResult>(100, {"notify", false})});
    const MessageLine line(result, {.name = much, .error = much});
    constexpr std::size_t kMost = 64 * 1024;

    const quzo::test::TemporaryDirectory dir;
    for (const auto form :
         {platform::PlatformSettings::LogMessages::Text, platform::PlatformSettings::LogMessages::Json}) {
        const bool json = form == platform::PlatformSettings::LogMessages::Json;
        const std::string text = json ? line.json() : line.text();
        EXPECT_LT(text.size(), kMost);
        EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; }));
        EXPECT_THAT(text, HasSubstr(json ? "\"recipients\":5000," : " recipients=5000 "));

        const std::string file = dir.path(json ? "json.log" : "text.log");
        std::string problem;
        const auto log = platform::FileLog::open(file, 0, problem);
        ASSERT_NE(log, nullptr) << problem;
        MessageLog(*log, form).tell(result, {.name = much, .error = much});
        const std::string written = quzo::test::readFile(file);
        EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 1);
        EXPECT_THAT(written, testing::EndsWith("] message: " + text + "\n"));
    }
    const auto read = nlohmann::json::parse(line.json());
    EXPECT_EQ(read["to"].size(), MessageLine::kMostEntries);
    EXPECT_EQ(read["rules"].size(), MessageLine::kMostEntries);
}

} // namespace
} // namespace quzo::host::test
