// Composed mail through the adapter: the limit on notifications, the summaries that follow, and the field
// that keeps programs from answering.
#include "platform/mta/notice_summary.h"
#include "platform/mta/queue_adapter.h"
#include "quzo/core/msgu.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

using Recipients = std::vector<std::string>;

class NoticeAdapterTest : public QueueTest {
protected:
    NoticeAdapterTest() {
        tokens_.set(ScanToken::RuleId, "10");
        tokens_.set(ScanToken::RuleName, "Ten");
    }

    AdapterContext context(unsigned limit = 2) {
        return {.queues = &queues_,
                .tokens = &tokens_,
                .hostname = "gw",
                .noticeLimit = limit,
                .notices = &ledger_};
    }

    // The recipients of what was stored; none when nothing was.
    Recipients send(AdapterContext context, const Recipients& to, bool again = false,
                    const std::string& sender = "pm@example.com") {
        const auto msg = MailMessage::parse("Subject: found\r\n\r\nx\r\n", {});
        EXPECT_EQ(msg->setEnvelope(sender, to), 0);
        QueueAdapter adapter(std::move(context));
        unsigned error = 99;
        result_ = again ? adapter.submitForScan(error, msg.get(), 1) : adapter.sendComposed(error, msg.get());
        EXPECT_EQ(static_cast<unsigned>(result_), error);
        QueueEntry entry;
        if (!adapter.queued().empty() && std::filesystem::exists(root_ + "/" + adapter.queued()[0].queue)) {
            EXPECT_EQ(queues_.find(adapter.queued()[0].queue)->read(adapter.queued()[0].id, entry), 0);
        }
        return entry.recipients;
    }

    Queues queues_{{root_, "", ""}, files_};
    NoticeLedger ledger_{root_ + "/notices", files_};
    TokenMap<ScanToken> tokens_;
    int result_ = 99;
};

TEST_F(NoticeAdapterTest, WhoHasHadEnoughIsTakenOff) {
    struct Row { // NOLINT(clang-analyzer-optin.performance.Padding): what most rows leave out is last
        Recipients to;
        Recipients get;
        const char* rule = "10";
        bool again = false;
        const char* sender = "pm@example.com";
        unsigned limit = 2;
    };
    const Row rows[] = {
        {{"a@x", "b@x"}, {"a@x", "b@x"}},
        {{"a@x"}, {"a@x"}},
        {{"a@x", "b@x", "A@X"}, {"b@x"}},
        {{"a@x", "b@x"}, {}, "10", true},
        {{"b@x", "c@x", "c@x"}, {"c@x", "c@x"}, "10", true},
        {{"a@x"}, {"a@x"}, "11"},
        {{"a@x"}, {"a@x"}, "10", false, "QUZO"}, // samples are no notifications
        {{"a@x"}, {"a@x"}, "10", false, "pm@example.com", 0},
        {{"c@x"}, {"c@x"}},
        {{"c@x"}, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        tokens_.set(ScanToken::RuleId, row.rule);
        EXPECT_EQ(send(context(row.limit), row.to, row.again, row.sender), row.get);
        EXPECT_EQ(result_, 0);
    }
    std::size_t composed = 0;
    EXPECT_EQ(composeDueSummaries(ledger_, queues_, {"Post <pm@example.com>", "gw"},
                                  std::time(nullptr) + kHour, composed),
              0);
    EXPECT_EQ(composed, 3U);
    std::map<std::string, std::string> told;
    EXPECT_EQ(queues_.find("outgoing")->forEach([&](ListedEntry&& entry) {
        if (entry.entry.subject != "found") {
            EXPECT_EQ(entry.entry.sender, "pm@example.com");
            told[entry.entry.recipients.at(0)] = entry.entry.subject;
        }
        return true;
    }),
              0);
    EXPECT_EQ(told, (std::map<std::string, std::string>{{"a@x", "2 notifications held back: Ten"},
                                                        {"b@x", "2 notifications held back: Ten"},
                                                        {"c@x", "1 notifications held back: Ten"}}));
}

TEST_F(NoticeAdapterTest, WhatWasNotStoredDoesNotCount) {
    std::ofstream(root_ + "/outgoing") << "a file is in the way";
    for (int i = 0; i < 5; ++i) {
        send(context(), {"a@x", "b@x"});
        EXPECT_NE(result_, 0);
    }
    std::filesystem::remove(root_ + "/outgoing");
    EXPECT_EQ(send(context(), {"a@x"}), Recipients{"a@x"});
    EXPECT_EQ(send(context(), {"a@x"}), Recipients{"a@x"});
    EXPECT_EQ(send(context(), {"a@x"}), Recipients{});
}

TEST_F(NoticeAdapterTest, WithoutALedgerOnDiskTheyAreSent) {
    std::ofstream(root_ + "/notices") << "a file is in the way";
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(send(context(), {"a@x"}), Recipients{"a@x"});
        EXPECT_EQ(result_, 0);
    }
}

TEST_F(NoticeAdapterTest, ADryRunCountsNothing) {
    AdapterContext dry = context(1);
    dry.dryRun = true;
    send(dry, {"a@x"});
    EXPECT_EQ(result_, 0);
    EXPECT_TRUE(std::filesystem::is_empty(root_));
}

TEST_F(NoticeAdapterTest, OnlyComposedMailSaysThatAProgramWroteIt) {
    struct Row {
        const char* header;
        bool composed;
        bool on;
        const char* expected;
    };
    const Row rows[] = {
        {"From: a@x\r\n", true, true, "From: a@x\r\nAuto-Submitted: auto-generated\r\n"},
        {"AUTO-submitted: no\r\n", true, true, "AUTO-submitted: no\r\n"},
        {"From: a@x\r\n", true, false, "From: a@x\r\n"},
        {"From: a@x\r\n", false, true, "From: a@x\r\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.expected);
        clear();
        const auto msg = MailMessage::parse(std::string(row.header) + "\r\nx", {});
        ASSERT_EQ(msg->setEnvelope("a@x", {"b@x"}), 0);
        QueueAdapter adapter({.queues = &queues_, .tokens = &tokens_, .autoSubmitted = row.on});
        unsigned error = 0;
        EXPECT_EQ(row.composed ? adapter.sendComposed(error, msg.get())
                               : adapter.sendMessage(error, msg.get(), false),
                  0);
        const auto mails = wholeEntries(*queues_.find("outgoing"));
        ASSERT_EQ(mails.size(), 1U);
        EXPECT_EQ(mails.begin()->second, std::string(row.expected) + "\r\nx");
    }
}

} // namespace
} // namespace quzo::platform::test
