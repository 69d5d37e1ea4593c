// Every system call of every operation fails, breaks the disk for good, is interrupted, comes out short, or
// is the last thing that the process does. Afterwards each entry is whole or not there, what was reported as
// done is done, and a start finds nothing that it cannot tidy up.
#include <array>

#include "platform/mta/queue_adapter.h"
#include "platform/queue/queue_admin.h"
#include "quzo/core/error_text.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

using Trouble = TroubleFileSystem::Trouble;

struct TroubleCase {
    const char* name;
    Trouble trouble;
    int error;
};

constexpr std::array kTroubles = {
    TroubleCase{"Eio", Trouble::Fail, EIO},
    TroubleCase{"NoSpace", Trouble::Fail, ENOSPC},
    TroubleCase{"OldSystem", Trouble::NoExclusiveRename, EIO},
    TroubleCase{"Broken", Trouble::Break, EIO},
    TroubleCase{"Interrupted", Trouble::Interrupt, 0},
    TroubleCase{"Short", Trouble::Short, 0},
    TroubleCase{"DieBefore", Trouble::DieBefore, 0},
    TroubleCase{"DieAfter", Trouble::DieAfter, 0},
};

bool mustSucceed(Trouble trouble) { return trouble == Trouble::Interrupt || trouble == Trouble::Short; }

bool dies(Trouble trouble) { return trouble == Trouble::DieBefore || trouble == Trouble::DieAfter; }

const std::string kId = "AB12";
const std::string kOther = "AB13";
constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr int kNoTrouble = 2; // done, with fewer calls than the one for the trouble
constexpr int kLied = 3;      // what was reported does not fit together

class FailureTest : public QueueTest, public testing::WithParamInterface<TroubleCase> {
protected:
    Queues healthy() { return Queues({root_ + "/spool", "", ""}, files_); }

    // For each call in turn: `prepare` makes a queue, `work` runs on it in a process of its own with the
    // trouble, `check` looks at what is left and hears what the process reported.
    void forEachCall(const std::function<void(Queues&)>& prepare, const std::function<int(Queues&)>& work,
                     const std::function<void(Queues&, int outcome)>& check) {
        const TroubleCase param = GetParam();
        for (int at = 1;; ++at) {
            SCOPED_TRACE("call " + std::to_string(at));
            clear();
            Queues before = healthy();
            prepare(before);
            const int outcome = inChild([&] {
                TroubleFileSystem trouble(param.trouble, param.error, at);
                Queues queues({root_ + "/spool", "", ""}, trouble);
                const int error = work(queues);
                return !trouble.happened() ? kNoTrouble : (error == 0 ? kDone : kRefused);
            });
            if (mustSucceed(param.trouble)) {
                EXPECT_NE(outcome, kRefused);
            }
            EXPECT_EQ(outcome == TroubleFileSystem::kDied, dies(param.trouble) && outcome != kNoTrouble);
            Queues after = healthy();
            check(after, outcome == kNoTrouble ? kDone : outcome);
            if (HasFailure() || outcome == kNoTrouble) {
                EXPECT_GT(at, 5) << "the operation makes hardly any calls";
                return;
            }
            ASSERT_LT(at, 1000);
        }
    }

    // Two starts, since the first may free what the second removes; then there is nothing but the entries.
    void expectTidy(Queues& queues, std::size_t entries) {
        const std::int64_t later = std::time(nullptr) + 2 * kHour;
        EXPECT_EQ(queues.start(later), 0);
        EXPECT_EQ(queues.start(later), 0);
        EXPECT_EQ(filesBelow(root_).size(), 2 * entries);
    }
};

TEST_P(FailureTest, Store) {
    forEachCall([](Queues&) {}, [](Queues& queues) { return storeNamed(*queues.find("outgoing"), kId); },
                [&](Queues& queues, int outcome) {
                    const auto entries = wholeEntries(*queues.find("outgoing"));
                    const bool there = entries.contains(kId);
                    if (outcome == kDone) {
                        EXPECT_TRUE(there);
                    } else if (GetParam().trouble == Trouble::Fail ||
                               GetParam().trouble == Trouble::NoExclusiveRename) {
                        EXPECT_FALSE(there) << "reported as failed, but stored";
                    }
                    if (there) {
                        EXPECT_EQ(entries.at(kId), messageOf(kId));
                    }
                    expectTidy(queues, entries.size());
                    EXPECT_EQ(storeNamed(*queues.find("outgoing"), kId), there ? kErrorExists : 0);
                });
}

// The adapter keeps the message of somebody who will deliver it unless told that it is stored.
TEST_P(FailureTest, QuarantineAndArchiveTellTheTruth) {
    const std::string text = "Subject: x\r\n\r\n" + messageOf(kId);
    const auto adapt = [&](Queues& queues) {
        TokenMap<ScanToken> tokens;
        tokens.set(ScanToken::RuleId, "40");
        tokens.set(ScanToken::QuarantineAging, "3");
        const auto msg = MailMessage::parse(text, {});
        msg->setIdentifier(kId);
        msg->setEnvelope("a@example.com", {"b@example.com"});
        QueueAdapter adapter({&queues, &tokens, "gw", false});
        int first = 0;
        int second = 0;
        char path[KvIsAdapter::kPathSize];
        adapter.archiveMessage(first, msg.get(), "", (root_ + "/spool/archive").c_str(), "all");
        adapter.quarantineMessage(second, msg.get(), "", (root_ + "/spool/quarantine").c_str(), path);
        const std::size_t stored = (first == 0 ? 1U : 0U) + (second == 0 ? 1U : 0U);
        if (adapter.queued().size() != stored || (*path != '\0') != (second == 0)) {
            ::_exit(kLied);
        }
        return second;
    };
    forEachCall([](Queues&) {}, adapt,
                [&](Queues& queues, int outcome) {
                    EXPECT_NE(outcome, kLied);
                    const auto kept = wholeEntries(*queues.find("quarantine"));
                    const auto copies = wholeEntries(*queues.find("archive"));
                    EXPECT_TRUE(outcome != kDone || kept.contains(kId));
                    for (const auto& entries : {kept, copies}) {
                        for (const auto& [id, message] : entries) {
                            EXPECT_EQ(message, text);
                        }
                    }
                    QueueEntry entry;
                    if (!kept.empty()) {
                        EXPECT_EQ(queues.find("quarantine")->read(kId, entry), 0);
                        EXPECT_EQ(entry.recipients, std::vector<std::string>{"b@example.com"});
                        EXPECT_EQ(entry.rule, 40U);
                        EXPECT_EQ(entry.aging, 3U);
                    }
                    expectTidy(queues, kept.size() + copies.size());
                });
}

TEST_P(FailureTest, RemoveTakesAllOrNothing) {
    forEachCall(
        [](Queues& queues) {
            EXPECT_EQ(storeNamed(*queues.find("archive"), kId), 0);
            EXPECT_EQ(storeNamed(*queues.find("archive"), kOther), 0);
        },
        [](Queues& queues) {
            return QueueAdmin(queues, "gw").remove(QueueKind::Archive, kId).done() ? 0 : 1;
        },
        [&](Queues& queues, int outcome) {
            const auto entries = wholeEntries(*queues.find("archive"));
            EXPECT_EQ(entries.at(kOther), messageOf(kOther));
            EXPECT_TRUE(outcome != kDone || !entries.contains(kId));
            expectTidy(queues, entries.size());
        });
}

TEST_P(FailureTest, ClaimUpdateAndGiveBack) {
    forEachCall(
        [](Queues& queues) { EXPECT_EQ(storeNamed(*queues.find("outgoing"), kId), 0); },
        [](Queues& queues) {
            QueueClaim claim;
            if (queues.find("outgoing")->claim(kId, claim) != ClaimOutcome::Taken) {
                return 1;
            }
            QueueEntry entry = claim.entry();
            entry.attempts = 7;
            const int error = claim.update(entry);
            return claim.release() != 0 ? 1 : error;
        },
        [&](Queues& queues, int outcome) {
            QueueStore& store = *queues.find("outgoing");
            EXPECT_EQ(wholeEntries(store), (std::map<std::string, std::string>{{kId, messageOf(kId)}}));
            QueueClaim claim;
            ASSERT_EQ(store.claim(kId, claim), ClaimOutcome::Taken); // also from the dead
            EXPECT_TRUE(claim.entry().attempts == 7 || (outcome != kDone && claim.entry().attempts == 0));
            EXPECT_EQ(claim.release(), 0);
            expectTidy(queues, 1);
        });
}

TEST_P(FailureTest, ExpireRemovesWhatAgedOutOnly) {
    forEachCall(
        [](Queues& queues) {
            for (const std::string& id : {kId, kOther}) {
                QueueEntry entry = entryNamed(id);
                entry.aging = id == kId ? 1 : 2;
                EXPECT_EQ(queues.find("quarantine")->store(entry, writerOf(std::string_view("x"))), 0);
            }
        },
        [](Queues& queues) {
            std::size_t removed = 0;
            const int error = queues.find("quarantine")->expire(kNow + 36 * kHour, removed);
            return error != 0 ? error : static_cast<int>(removed != 1);
        },
        [&](Queues& queues, int outcome) {
            const auto entries = wholeEntries(*queues.find("quarantine"));
            EXPECT_TRUE(entries.contains(kOther));
            EXPECT_TRUE(outcome != kDone || !entries.contains(kId));
            expectTidy(queues, entries.size());
        });
}

class ReleaseFailureTest : public FailureTest {
protected:
    void releaseAtEachCall(const ReleaseOptions& options, QueueKind targetKind);
};

void ReleaseFailureTest::releaseAtEachCall(const ReleaseOptions& options, QueueKind targetKind) {
    const auto release = [&options](Queues& queues) {
        QueuedEntry released;
        return QueueAdmin(queues, "gw").release(QueueKind::Quarantine, kId, options, kNow, released);
    };
    const char* target = queueName(targetKind);
    const std::string derived = derivedIdentifier("quarantine", kId);
    forEachCall(
        [&](Queues& queues) {
            EXPECT_EQ(storeNamed(*queues.find("quarantine"), kId), 0);
            EXPECT_EQ(storeNamed(*queues.find(target), kOther), 0); // so that its directories are there
        },
        [&](Queues& queues) { return release(queues).done() ? 0 : 1; },
        [&](Queues& queues, int outcome) {
            const bool stays = wholeEntries(*queues.find("quarantine")).contains(kId);
            const bool shown = wholeEntries(*queues.find(target)).contains(derived);
            EXPECT_FALSE(stays && shown) << "it would go out twice";
            EXPECT_TRUE(outcome != kDone || (shown && !stays));
            EXPECT_EQ(queues.start(kNow), 0);
            EXPECT_EQ(wholeEntries(*queues.find(target)).contains(derived), !stays) << "it is lost";
            EXPECT_EQ(release(queues).outcome,
                      stays ? QueueResult::Outcome::Done : QueueResult::Outcome::Missing);
            const auto entries = wholeEntries(*queues.find(target));
            EXPECT_EQ(entries.size(), 2U);
            EXPECT_EQ(entries.at(kOther), messageOf(kOther));
            EXPECT_NE(entries.at(derived).find(messageOf(kId)), std::string::npos);
            expectTidy(queues, 2);
        });
}

TEST_P(ReleaseFailureTest, MovesOnceOrNotAtAll) { releaseAtEachCall({}, QueueKind::Outgoing); }

TEST_P(ReleaseFailureTest, AsAttachment) { releaseAtEachCall({.asAttachment = true}, QueueKind::Outgoing); }

TEST_P(ReleaseFailureTest, ThroughTheScanner) { releaseAtEachCall({.rescan = true}, QueueKind::Scan); }

TEST_P(FailureTest, StartTouchesNoEntry) {
    const std::int64_t later = std::time(nullptr) + 2 * kHour;
    forEachCall(
        [&](Queues& queues) {
            EXPECT_EQ(storeNamed(*queues.find("outgoing"), kId), 0);
            EXPECT_EQ(storeNamed(*queues.find("outgoing"), kOther), 0);
            std::filesystem::remove(root_ + "/spool/outgoing/A/B/" + kOther + ".json");
        },
        [&](Queues& queues) { return queues.start(later); },
        [&](Queues& queues, int outcome) {
            EXPECT_TRUE(wholeEntries(*queues.find("outgoing")).contains(kId));
            EXPECT_TRUE(outcome == kDone || !mustSucceed(GetParam().trouble));
            expectTidy(queues, 1);
        });
}

std::string nameOf(const testing::TestParamInfo<TroubleCase>& row) { return row.param.name; }

INSTANTIATE_TEST_SUITE_P(Queue, FailureTest, testing::ValuesIn(kTroubles), nameOf);
INSTANTIATE_TEST_SUITE_P(Queue, ReleaseFailureTest, testing::ValuesIn(kTroubles), nameOf);

} // namespace
} // namespace quzo::platform::test
