// Messages that are beyond a limit.
#include "host/scan/scanner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "quzo/core/error_text.h"
#include "tests/host/scripted_action.h"

namespace quzo::host::test {
namespace {

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

    EXPECT_THAT(passed.warnings.front(), testing::HasSubstr("has more than 2 parts (limit_parts)"));

    limits = {};
    limits.messageBytes = 10;
    EXPECT_TRUE(scanned("{ always = true }", OnLimit::Pass).rules.empty());
}

TEST_F(ScanTest, EachLimitIsCalledByTheKeyThatMovesIt) {
    const struct {
        std::size_t platform::Limits::*limit;
        std::size_t value;
        const char* says;
    } rows[] = {{&platform::Limits::messageBytes, 10, "is larger than the limit of 10 bytes (limit_message)"},
                {&platform::Limits::headerBytes, 10, "has a header of more than 10 bytes (limit_header)"},
                {&platform::Limits::headerFields, 1, "has more than 1 header fields (limit_fields)"},
                {&platform::Limits::headerFields, 4, "has more than 4 header fields (limit_fields)"},
                {&platform::Limits::nesting, 1, "nests its parts deeper than 1 levels (limit_nesting)"},
                {&platform::Limits::parts, 3, "has more than 3 parts (limit_parts)"}};
    const char* nested =
        "To: x\nContent-Type: multipart/mixed; boundary=a\n\n--a\nContent-Type: multipart/mixed; "
        "boundary=b\n\n"
        "--b\nA: 1\n\nx\n--b\nA: 2\n\ny\n--b--\n--a--\n";
    for (const auto& row : rows) {
        ScannerOptions options;
        options.limits.*row.limit = row.value;
        Scan scan(policyOf("[[rule]]\nid = 1\nstop = true\nwhen = { attachment = '*.zip' }\n"), options);
        const ScanResult result = scan(*platform::MailMessage::parse(nested, options.limits));
        EXPECT_EQ(result.outcome, Outcome::Failed) << row.says;
        EXPECT_EQ(result.error.value_or(ScanError{}).text, row.says);
        EXPECT_EQ(result.error.value_or(ScanError{}).advice, "raise it in [platform] of quzo.ini");
    }
}

// With a limit of two parts nothing is there that could be removed; with three, what is there cannot be.
TEST_F(ScanTest, WhatAnActionFindsBeyondALimitEndsAsTheSettingSays) {
    const std::string removal = "'delete-attachment', all = true";
    const struct {
        std::string action;
        std::size_t parts;
        OnLimit onLimit;
        Outcome outcome;
    } rows[] = {
        {removal, 2, OnLimit::Fail, Outcome::Failed},
        {removal, 2, OnLimit::Defer, Outcome::Deferred},
        {removal, 2, OnLimit::Pass, Outcome::Unchanged},
        {removal, 3, OnLimit::Fail, Outcome::Failed},
        {removal + ", on_failure = 'continue'", 3, OnLimit::Fail, Outcome::Failed},
        {removal + ", on_failure = 'continue'", 3, OnLimit::Pass, Outcome::Unchanged},
        {removal, 3, OnLimit::Pass, Outcome::Deferred},
        {removal, 4, OnLimit::Fail, Outcome::Modified},
        {"'tag-subject', tag = 'x'", 2, OnLimit::Fail, Outcome::Modified}, // it need not look
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.action + " " + std::to_string(row.parts));
        ScannerOptions options;
        options.limits.parts = row.parts;
        options.onLimit = row.onLimit;
        Scan scan(policyOf("[[rule]]\nid = 1\nwhen = { always = true }\nactions = [{ type = " + row.action +
                           " }]\n"),
                  options);
        const ScanResult result = scan(*platform::MailMessage::parse(kAttachments, options.limits));
        EXPECT_EQ(result.outcome, row.outcome);
        EXPECT_EQ(result.error && result.error->code == kErrorLimit,
                  row.onLimit != OnLimit::Pass &&
                      (row.outcome == Outcome::Failed || row.outcome == Outcome::Deferred));
    }
}

TEST_F(ScanTest, WhatFailsBehindALimitIsNotTriedForEver) {
    ScannerOptions options;
    options.limits.parts = 2;
    for (const OnFailure onFailure : {OnFailure::Defer, OnFailure::Continue, OnFailure::Stop}) {
        Scan scan(rulesOf({ruleOf(1, {scripted("fail", onFailure)})}), options);
        const auto msg = platform::MailMessage::parse(kAttachments, options.limits);
        ASSERT_TRUE(msg->limited()); // somebody has looked
        EXPECT_EQ(scan(*msg).outcome, onFailure == OnFailure::Defer ? Outcome::Failed : Outcome::Unchanged);
    }
}

// What is no mail can never be read: trying again would change nothing.
TEST_F(ScanTest, WhatIsBeyondAllRulesEndsAsTheSettingSays) {
    const struct {
        const char* message;
        const char* beyondLimit;
        OnLimit onLimit;
        Outcome outcome;
    } rows[] = {
        {"PK\x03\x04\nno header\n", "", OnLimit::Defer, Outcome::Failed},
        {"PK\x03\x04\nno header\n", "", OnLimit::Fail, Outcome::Failed},
        {"PK\x03\x04\nno header\n", "", OnLimit::Pass, Outcome::Unchanged},
        {kMessage, "names more than 5 recipients (limit_recipients)", OnLimit::Defer, Outcome::Deferred},
        {kMessage, "names more than 5 recipients (limit_recipients)", OnLimit::Fail, Outcome::Failed},
        {kMessage, "names more than 5 recipients (limit_recipients)", OnLimit::Pass, Outcome::Unchanged},
    };
    for (const auto& row : rows) {
        ScannerOptions options;
        options.onLimit = row.onLimit;
        Scan scan(policyOf("[[rule]]\nid = 1\nwhen = { always = true }\nactions = [{ type = 'delete' }]\n"),
                  options);
        scan.beyondLimit = row.beyondLimit;
        const ScanResult result = scan(*messageOf(row.message));
        EXPECT_EQ(result.outcome, row.outcome) << row.message;
        EXPECT_TRUE(result.rules.empty());
        EXPECT_EQ(scan.adapter.deletes, 0);
        const bool passed = row.outcome == Outcome::Unchanged;
        EXPECT_EQ(result.error.has_value(), !passed);
        EXPECT_THAT(
            passed ? testing::PrintToString(result.warnings) : result.error.value_or(ScanError{}).text,
            testing::HasSubstr(row.beyondLimit));
    }
}

} // namespace
} // namespace quzo::host::test
