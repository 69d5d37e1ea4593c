// The scan queue: another pass of the policy, for what comes back into it.
#include "host/gateway/installation.h"
#include "host/runner/scan_work.h"
#include "platform/store/object_store.h"
#include "tests/cli/program.h"
#include "tests/runner/runner_support.h"

namespace quzo::host::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kPolicy = R"(
[[rule]]
id = 10
name = "Held"
when = { subject = "hold" }
actions = [{ type = "archive", object = "copies" }, { type = "quarantine", object = "held" }]
[[rule]]
id = 20
name = "Virus"
when = { token = { VIRUSNAME = "Eicar" } }
actions = [{ type = "tag-subject", tag = "[V]" }]
[[rule]]
id = 30
name = "All"
when = { always = true }
actions = [{ type = "tag-subject", tag = "[T]" }]
[[rule]]
id = 40
name = "First"
when = { token = { ORIGINALMAILID = "^FIRST0$" }, not = { token = { FILENAME = "over" } } }
actions = [{ type = "tag-subject", tag = "[F]" }]
)";

class ScanTest : public RunnerTest {
protected:
    ScanTest() {
        dir_.write("quzo.ini", "[platform]\nstore = sqlite3://o.db\nspool = " + root_ + "/spool\n");
        dir_.write("p.toml", kPolicy);
        Needs store{.iniFile = dir_.path("quzo.ini"), .policyFile = {}};
        store.store = Needs::Store::Open;
        store.library = false;
        Installation first;
        EXPECT_TRUE(first.open(store));
        EXPECT_TRUE(first.store().add(0, platform::ObjectKind::ArchiveArea, "copies", "0:0::"));
        EXPECT_TRUE(first.store().add(0, platform::ObjectKind::QuarantineArea, "held", "0:0::"));
        EXPECT_TRUE(installation_.open({.iniFile = dir_.path("quzo.ini"), .policyFile = dir_.path("p.toml")}))
            << (installation_.findings().empty() ? "" : installation_.findings().front().line());
    }

    RunFigures scan() {
        RunFigures figures;
        QueueRunner runner(
            {.queues = queues_,
             .sender = sender_,
             .clock = clock_,
             .plan = RetryPlan(settings_),
             .hostname = "gw.example",
             .nextHop = nextHop_,
             .rescanHop = rescanHop_,
             .snapshot = [this] { return installation_.snapshot(); },
             .stopping = nullptr,
             .told = nullptr,
             .say = nullptr,
             .scanned =
                 [this](const MessageResult& result, const MessageFacts& facts) {
                     lines_.push_back(MessageLine(result, {facts.name, {}, facts.error}).text());
                 }});
        runner.run(QueueKind::Scan, figures);
        return figures;
    }

    std::string messageOf(QueueKind kind, std::size_t count = 1) {
        const auto whole = platform::test::wholeEntries(*queues_.find(kind));
        EXPECT_EQ(whole.size(), count);
        return whole.empty() ? std::string() : whole.begin()->second;
    }

    std::optional<platform::NextHop> rescanHop_;
    quzo::test::TemporaryDirectory dir_;
    Installation installation_;
    std::vector<std::string> lines_; // of the log
};

TEST_F(ScanTest, EachPassIsTold) {
    put(QueueKind::Scan, entryFor("AA", {"a@x"}), "Subject: hold\n\nx\n");
    put(QueueKind::Scan, entryFor("BB", {"b@x"}), "Subject: b\n\nx\n");
    put(QueueKind::Scan, entryFor("CC", {}), "Subject: c\n\nx\n"); // fails before the policy sees it
    scan();
    ASSERT_EQ(lines_.size(), 2U);
    EXPECT_THAT(lines_[0], testing::ContainsRegex("file=scan/AA .* outcome=consumed error=\"\" "));
    EXPECT_THAT(lines_[1], testing::ContainsRegex("file=scan/BB .* actions=tag-subject .* outcome=modified"));

    // The outgoing queue does not take it: it was judged, and is not gone.
    std::filesystem::remove_all(root_ + "/spool/outgoing");
    std::ofstream(root_ + "/spool/outgoing") << "no directory";
    put(QueueKind::Scan, entryFor("DD", {"d@x"}), "Subject: d\n\nx\n");
    lines_.clear();
    scan();
    ASSERT_EQ(lines_.size(), 1U);
    EXPECT_THAT(lines_[0], HasSubstr("outcome=modified"));
    EXPECT_THAT(lines_[0], Not(HasSubstr("error=\"\"")));
}

TEST_F(ScanTest, RulesOfTheMarkAreSkippedAndWhatGoesOnIsInTheOutgoingQueue) {
    QueueEntry entry = entryFor("AA", {"a@x", "b@x"});
    entry.sender = "QUZO";
    entry.tokens[51] = "Eicar";
    entry.tokens[40] = "FIRST0";
    entry.tokens[45] = "left over.exe"; // of a former rule
    put(QueueKind::Scan, entry,
        "Subject: hold\nX-quzo-reprocess-rules: 10 999\nX-quzo-reprocess-type: readdress\n\nx\n");
    EXPECT_EQ(scan().gone, 1U);
    EXPECT_EQ(people(QueueKind::Scan), "");
    EXPECT_EQ(people(QueueKind::Outgoing), "a@x,b@x");
    EXPECT_EQ(messageOf(QueueKind::Outgoing), "Subject: [F][T][V]hold\n\nx\n");
    const QueueEntry out = entries(QueueKind::Outgoing).begin()->second;
    EXPECT_TRUE(out.sender.starts_with("QUZO@"));
    EXPECT_EQ(out.previous, "AA");
    EXPECT_EQ(out.attempts, 0U);
    EXPECT_FALSE(out.due);
}

// What was killed behind a store, or what a crash brought back, is not stored twice.
TEST_F(ScanTest, APassThatIsDoneAgainStoresNothingTwice) {
    for (int round = 0; round < 2; ++round) {
        put(QueueKind::Scan, entryFor("AA", {"a@x"}), "Subject: hold\n\nx\n");
        EXPECT_EQ(scan().gone, 1U);
        EXPECT_EQ(people(QueueKind::Scan), "");
        EXPECT_EQ(people(QueueKind::Outgoing), "");
        EXPECT_THAT(messageOf(QueueKind::Quarantine), HasSubstr("X-quzo-reprocess-rules: 10"));
        EXPECT_THAT(messageOf(QueueKind::Archive), Not(HasSubstr("X-quzo")));
        put(QueueKind::Scan, entryFor("BB", {"a@x"}), "Subject: on\n\nx\n");
        EXPECT_EQ(scan().gone, 1U);
        EXPECT_EQ(people(QueueKind::Outgoing), "a@x");
        queues_.find(QueueKind::Outgoing)->forEach([&](platform::ListedEntry&& listed) {
            platform::QueueClaim claim;
            EXPECT_EQ(queues_.find(QueueKind::Outgoing)->claim(listed.id, claim),
                      platform::ClaimOutcome::Taken);
            return claim.remove() == 0;
        });
    }
    put(QueueKind::Scan, entryFor("CC", {"a@x"}), "Subject: hold\n\nx\n"); // another one of the same kind
    EXPECT_EQ(scan().gone, 1U);
    messageOf(QueueKind::Quarantine, 2);
    messageOf(QueueKind::Archive, 2);
}

TEST_F(ScanTest, WhatCannotBeHandledWaitsAndIsGivenUp) {
    std::filesystem::create_directories(root_ + "/spool");
    std::ofstream(root_ + "/spool/archive") << "in the way"; // so that nothing can be stored there
    put(QueueKind::Scan, entryFor("AA", {"a@x"}), "Subject: hold\n\nx\n");
    put(QueueKind::Scan, entryFor("BB", {"a@x"}), "no mail at all");
    const RunFigures figures = scan();
    EXPECT_EQ(figures.later, 1U);
    EXPECT_EQ(figures.failed, 1U);
    const QueueEntry waiting = entries(QueueKind::Scan).at("AA");
    EXPECT_EQ(waiting.attempts, 1U);
    EXPECT_EQ(waiting.due, kNow + 300);
    EXPECT_THAT(waiting.reason, HasSubstr("archive"));
    EXPECT_EQ(messageOf(QueueKind::Failed), "no mail at all");
    clock_.time = kNow + std::int64_t{5} * 86400;
    EXPECT_EQ(scan().failed, 1U);
    EXPECT_EQ(people(QueueKind::Failed), "a@x,a@x");
    EXPECT_EQ(people(QueueKind::Outgoing), "");
}

// With a server that brings mail back nothing is judged here: the marks go with the message.
TEST_F(ScanTest, WithAServerForItTheQueueGoesThereAsItIs) {
    rescanHop_ = platform::NextHop{.host = "back.example", .port = 10027};
    sender_.answers = {{"b@x", {Fate::Refused, "550 no"}}, {"c@x", {Fate::Later, "451 wait"}}};
    const std::string marked =
        "Subject: hold\nX-quzo-reprocess-rules: 10\nX-quzo-reprocess-type: readdress\n\nx\n";
    QueueEntry entry = entryFor("AA", {"a@x", "b@x", "c@x"});
    entry.sender = "QUZO";
    entry.route = platform::QueueRoute{"other.example", 2525};
    put(QueueKind::Scan, entry, marked);
    EXPECT_EQ(scan().later, 1U);
    EXPECT_THAT(sender_.hops, testing::ElementsAre(*rescanHop_));
    EXPECT_THAT(sender_.senders, testing::ElementsAre(testing::StartsWith("QUZO@")));
    EXPECT_THAT(sender_.messages["a@x"], testing::EndsWith("+0000\r\n" + marked));
    EXPECT_EQ(people(QueueKind::Scan), "c@x");
    EXPECT_EQ(people(QueueKind::Failed), "b@x");
    EXPECT_EQ(people(QueueKind::Outgoing) + people(QueueKind::Quarantine), "");
}

} // namespace
} // namespace quzo::host::test
