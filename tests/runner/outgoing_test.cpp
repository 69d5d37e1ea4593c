// The outgoing and the postponed queue: who is served, who waits how long, who is given up.
#include <cstring>

#include "platform/mta/postpone_window.h"
#include "tests/runner/runner_support.h"

namespace quzo::host::test {
namespace {

using testing::HasSubstr;

const RecipientAnswer kNo{Fate::Refused, "550 no such user"};
const RecipientAnswer kLater{Fate::Later, "450 box busy"};

using OutgoingTest = RunnerTest;

TEST_F(OutgoingTest, EachRecipientHasHisOwnFate) {
    struct Row {
        std::map<std::string, RecipientAnswer> answers;
        const char* waiting;
        const char* failed;
        std::size_t gone, later, lost;
    };
    const Row rows[] = {
        {{}, "", "", 1, 0, 0},
        {{{"b@x", kNo}}, "", "b@x", 0, 0, 1},
        {{{"b@x", kLater}}, "b@x", "", 0, 1, 0},
        {{{"a@x", kNo}, {"b@x", kLater}}, "b@x", "a@x", 0, 1, 0},
        {{{"a@x", kNo}, {"b@x", kNo}, {"c@x", kNo}}, "", "a@x,b@x,c@x", 0, 0, 1},
        {{{"a@x", kLater}, {"b@x", kNo}, {"c@x", kNo}}, "a@x", "b@x,c@x", 0, 1, 0},
        {{{"a@x", kLater}, {"b@x", kLater}, {"c@x", kLater}}, "a@x,b@x,c@x", "", 0, 1, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.waiting + std::string("|") + row.failed);
        clear();
        sender_.answers = row.answers;
        sender_.served.clear();
        put(QueueKind::Outgoing, entryFor("AA", {"a@x", "b@x", "c@x"}));
        const RunFigures figures = run(QueueKind::Outgoing);
        EXPECT_EQ(people(QueueKind::Outgoing), row.waiting);
        EXPECT_EQ(people(QueueKind::Failed), row.failed);
        EXPECT_EQ(figures.gone, row.gone);
        EXPECT_EQ(figures.later, row.later);
        EXPECT_EQ(figures.failed, row.lost);
        for (const auto& [id, entry] : entries(QueueKind::Failed)) {
            EXPECT_THAT(entry.reason, HasSubstr(kNo.text));
            EXPECT_EQ(entry.refused.size(), entry.recipients.size());
            EXPECT_EQ(entry.attempts, 1U);
            EXPECT_FALSE(entry.due);
        }
        for (const auto& [id, entry] : entries(QueueKind::Outgoing)) {
            EXPECT_EQ(entry.reason, kLater.text);
            EXPECT_EQ(entry.attempts, 1U);
            EXPECT_EQ(entry.due, kNow + 300);
            EXPECT_TRUE(entry.refused.empty());
        }
        // Not before it is due; then those who wait are served, once, and nobody else.
        sender_.answers.clear();
        clock_.time = kNow + 299;
        EXPECT_EQ(run(QueueKind::Outgoing).waiting, row.later);
        clock_.time = kNow + 300;
        EXPECT_EQ(run(QueueKind::Outgoing).gone, row.later);
        EXPECT_EQ(people(QueueKind::Outgoing), "");
        EXPECT_EQ(people(QueueKind::Failed), row.failed);
        for (const auto& [recipient, times] : sender_.served) {
            EXPECT_EQ(times, 1) << recipient;
        }
        EXPECT_EQ(sender_.served.size(), 3U - (row.failed[0] == 0 ? 0 : (std::strlen(row.failed) + 1) / 4));
        clock_.time = kNow;
    }
}

TEST_F(OutgoingTest, PausesGrowUntilItIsGivenUp) {
    sender_.answers["a@x"] = kLater;
    put(QueueKind::Outgoing, entryFor("AA", {"a@x"}));
    std::vector<std::int64_t> minutes;
    for (int attempts = 1; people(QueueKind::Failed).empty(); ++attempts) {
        ASSERT_LT(attempts, 100);
        minutes.push_back((clock_.time - kNow) / 60);
        run(QueueKind::Outgoing);
        for (const auto& [id, entry] : entries(QueueKind::Outgoing)) {
            EXPECT_EQ(entry.attempts, static_cast<unsigned>(attempts));
            clock_.time = *entry.due;
        }
    }
    const std::vector<std::int64_t> first(minutes.begin(), minutes.begin() + 9);
    EXPECT_EQ(first, (std::vector<std::int64_t>{0, 5, 15, 35, 75, 155, 315, 555, 795}));
    EXPECT_EQ(minutes.back(), 5 * 24 * 60);
    EXPECT_EQ(clock_.time - kNow, 5 * 24 * 3600);
    EXPECT_EQ(entries(QueueKind::Failed).begin()->second.reason, "given up: " + kLater.text);
    EXPECT_TRUE(sender_.served.empty());
}

TEST_F(OutgoingTest, AServerThatIsGoneIsAskedOnceAMinute) {
    sender_.unreachable = true;
    for (const char* id : {"AA", "BB", "CC"}) {
        put(QueueKind::Outgoing, entryFor(id, {"a@x"}));
    }
    EXPECT_EQ(run(QueueKind::Outgoing).later, 3U);
    EXPECT_EQ(sender_.transactions, 1);
    for (const auto& [id, entry] : entries(QueueKind::Outgoing)) {
        EXPECT_EQ(entry.reason, "no connection");
        EXPECT_EQ(entry.due, kNow + 300);
    }
    sender_.unreachable = false;
    clock_.time += 300;
    EXPECT_EQ(run(QueueKind::Outgoing).gone, 3U);
}

TEST_F(OutgoingTest, ManyRecipientsGoInPartsAndEachPartIsNoted) {
    std::vector<std::string> many;
    many.reserve(250);
    for (int i = 0; i < 250; ++i) {
        many.push_back("r" + std::to_string(i) + "@x");
    }
    sender_.answers["r249@x"] = kLater;
    sender_.answers["r3@x"] = kNo;
    put(QueueKind::Outgoing, entryFor("AA", many));
    run(QueueKind::Outgoing);
    EXPECT_EQ(sender_.transactions, 3);
    EXPECT_EQ(sender_.largest, 100U);
    EXPECT_EQ(sender_.served.size(), 248U);
    EXPECT_EQ(people(QueueKind::Outgoing), "r249@x");
    EXPECT_EQ(people(QueueKind::Failed), "r3@x");
}

TEST_F(OutgoingTest, TheRouteOfAnEntryWinsAndNoRouteWaits) {
    QueueEntry routed = entryFor("BB", {"b@x"});
    routed.route = platform::QueueRoute{"other.example", 2525};
    put(QueueKind::Outgoing, routed);
    put(QueueKind::Outgoing, entryFor("AA", {"a@x"}));
    nextHop_.reset();
    RunFigures figures = run(QueueKind::Outgoing);
    EXPECT_EQ(figures.gone, 1U);
    EXPECT_EQ(figures.waiting, 1U);
    EXPECT_EQ(exitCode_, 78);
    EXPECT_EQ(faults_.size(), 1U);
    ASSERT_EQ(sender_.hops.size(), 1U);
    EXPECT_EQ(sender_.hops[0], (platform::NextHop{.host = "other.example", .port = 2525}));
    EXPECT_EQ(entries(QueueKind::Outgoing).at("AA").attempts, 0U);
}

// Postponed for the evening, at a quarter to eleven on the evening before: across midnight.
TEST_F(OutgoingTest, PostponedMailGoesOnWhenItsTimeHasCome) {
    ::setenv("TZ", "UTC0", 1);               // NOLINT(concurrency-mt-unsafe)
    const std::int64_t evening = 1700002800; // 2023-11-14 23:00 UTC
    QueueEntry entry = entryFor("AA", {"a@x"});
    entry.due = platform::dueTime(evening, {6, 30, 22, 0});
    ASSERT_EQ(*entry.due, evening + 27000);
    entry.attempts = 3;
    put(QueueKind::Postponed, entry, "Subject: later\n\nx\n");
    for (const std::int64_t early : {evening, evening + 3600, *entry.due - 1}) {
        clock_.time = early;
        EXPECT_EQ(run(QueueKind::Postponed).waiting, 1U);
    }
    clock_.time = *entry.due;
    EXPECT_EQ(run(QueueKind::Postponed).gone, 1U);
    EXPECT_EQ(people(QueueKind::Postponed), "");
    EXPECT_EQ(run(QueueKind::Outgoing).gone, 1U); // at once
    EXPECT_THAT(sender_.messages["a@x"],
                testing::MatchesRegex("Received: by gw\\.example \\(quzo\\) id [0-9A-Z]+;\r\n\t"
                                      "Wed, 15 Nov 2023 06:30:00 \\+0000\r\nSubject: later\n\nx\n"));
}

TEST_F(OutgoingTest, WhatSomebodyElseHasOrNobodyCanReadStays) {
    put(QueueKind::Outgoing, entryFor("AA", {"a@x"}));
    put(QueueKind::Outgoing, entryFor("BB", {"b@x"}));
    put(QueueKind::Outgoing, entryFor("CC", {}));
    std::ofstream(root_ + "/spool/outgoing/B/B/BB.json") << "{";
    platform::QueueClaim other;
    ASSERT_EQ(queues_.find(QueueKind::Outgoing)->claim("AA", other), platform::ClaimOutcome::Taken);
    const RunFigures figures = run(QueueKind::Outgoing);
    EXPECT_EQ(figures.busy, 1U);
    EXPECT_EQ(figures.failed, 1U); // nobody to send it to
    EXPECT_EQ(exitCode_, 65);
    EXPECT_TRUE(sender_.served.empty());
    other.release();
    EXPECT_EQ(run(QueueKind::Outgoing).gone, 1U);
}

} // namespace
} // namespace quzo::host::test
