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
    startLibrary();
    for (const auto& row : rows) {
        ScannerOptions options;
        options.onLimit = row.onLimit;
        const Scanner scanner(
            policyOf("[[rule]]\nid = 1\nwhen = { always = true }\nactions = [{ type = 'delete' }]\n"),
            options);
        const auto msg = messageOf("Subject: hello\n\nbody\n");
        CountingAdapter adapter;
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

} // namespace
} // namespace quzo::host::test
