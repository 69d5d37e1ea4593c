// The power goes at every moment of every operation, and also while the next start tidies up behind a process
// that was killed. Whatever of the unsynced reached the disk: what was reported as stored is there, whole and
// once; nothing is half; what was reported as removed is gone; and what was being moved is in one queue.
#include <fcntl.h>

#include <algorithm>

#include "platform/mta/queue_adapter.h"
#include "tests/queue/power_cut_fixture.h"

namespace quzo::platform::test {
namespace {

void store(Queues& queues, const char* queue, const std::string& id) {
    EXPECT_EQ(storeNamed(*queues.find(queue), id), 0);
}

// Whatever of the way to the queue a process that was killed has made and not synced.
TEST_P(PowerCutTest, WhatWasStoredIsThereAndNothingIsHalf) {
    const std::string way[] = {
        "", "/srv/mail", kSpool, kSpool + "/outgoing", kSpool + "/outgoing/A", kSpool + "/outgoing/A/B"};
    MemoryFileSystem files(emptyDisk());
    for (const std::string& made : way) {
        SCOPED_TRACE("made already: " + made);
        ASSERT_TRUE(made.empty() || files.makeDirectory(AT_FDCWD, made.c_str(), 0700) == 0);
        cutStores(
            files.disk,
            [](Queues& queues, Reports& reports) {
                for (const std::string& id : {kId, kOther}) {
                    store(queues, "outgoing", id);
                    reports.insert("outgoing/" + id);
                }
            },
            [](Queues& queues, const Reports& reports, bool /*tidied*/) {
                const Entries entries = entriesIn(queues, "outgoing");
                for (const auto& [id, message] : entries) {
                    EXPECT_EQ(message, messageOf(id));
                }
                for (const std::string& id : {kId, kOther}) {
                    EXPECT_TRUE(entries.contains(id) || !reports.contains("outgoing/" + id)) << id;
                }
            });
    }
}

TEST_P(PowerCutTest, AlsoBelowADirectoryThatMayNotBeRead) {
    MemoryFileSystem files(emptyDisk());
    files.closed = "/srv/";
    QueueStore store("q", kSpool, files);
    ASSERT_EQ(storeNamed(store, kId), 0);
    files.disk.forEachOutcome([](const Disk& disk) {
        MemoryFileSystem found(disk);
        EXPECT_TRUE(wholeEntries(QueueStore("q", kSpool, found)).contains(kId));
    });
}

TEST_P(PowerCutTest, WhatActionsStoreIsThere) {
    const std::string text = "Subject: x\r\n\r\n" + messageOf(kId);
    cutStores(
        emptyDisk(),
        [&text](Queues& queues, Reports& reports) {
            TokenMap<ScanToken> tokens;
            const auto msg = MailMessage::parse(text, {});
            msg->setIdentifier(kId);
            msg->setEnvelope("a@example.com", {"b@example.com"});
            QueueAdapter adapter({&queues, &tokens, "gw", false});
            int error = 0;
            unsigned postponeError = 0;
            char path[KvIsAdapter::kPathSize];
            for (const char* copy : {"archive/AB12-1", "archive/AB12-2"}) {
                ASSERT_EQ(adapter.archiveMessage(error, msg.get(), "", (kSpool + "/archive").c_str(), "all"),
                          0);
                reports.insert(copy);
            }
            ASSERT_EQ(adapter.quarantineMessage(error, msg.get(), "", (kSpool + "/quarantine").c_str(), path),
                      0);
            reports.insert("quarantine/AB12");
            ASSERT_EQ(adapter.postponeMessage(postponeError, msg.get(), 20, 0, 23, 59), 0);
            reports.insert("postponed/AB12");
        },
        [&text](Queues& queues, const Reports& reports, bool /*tidied*/) {
            Reports found;
            for (const char* queue : {"archive", "quarantine", "postponed"}) {
                for (const auto& [id, message] : entriesIn(queues, queue)) {
                    found.insert(std::string(queue) + "/" + id);
                    EXPECT_EQ(message, text);
                }
            }
            EXPECT_TRUE(std::includes(found.begin(), found.end(), reports.begin(), reports.end()));
        });
}

TEST_P(PowerCutTest, AClaimedEntryStaysWhole) {
    const Disk disk = after(emptyDisk(), [](Queues& queues, Reports&) { store(queues, "outgoing", kId); });
    cutEverywhere(
        disk,
        [](Queues& queues, Reports& reports) {
            QueueClaim claim;
            ASSERT_EQ(queues.find("outgoing")->claim(kId, claim), ClaimOutcome::Taken);
            QueueEntry entry = claim.entry();
            entry.attempts = 7;
            ASSERT_EQ(claim.update(entry), 0);
            reports.insert("updated");
            EXPECT_EQ(claim.release(), 0);
        },
        [](Queues& queues, const Reports& reports, bool /*tidied*/) {
            EXPECT_EQ(entriesIn(queues, "outgoing"), (Entries{{kId, messageOf(kId)}}));
            QueueClaim claim;
            ASSERT_EQ(queues.find("outgoing")->claim(kId, claim), ClaimOutcome::Taken);
            const std::uint32_t attempts = claim.entry().attempts;
            EXPECT_TRUE(attempts == 7 || (attempts == 0 && reports.empty())) << attempts;
        });
}

// By hand, and because its time has passed.
TEST_P(PowerCutTest, WhatWasRemovedIsGoneAndNothingElse) {
    const Disk disk = after(emptyDisk(), [](Queues& queues, Reports&) {
        store(queues, "archive", kOther);
        QueueEntry entry = entryNamed(kId);
        entry.aging = 1;
        const std::string message = messageOf(kId);
        EXPECT_EQ(queues.find("archive")->store(entry, writerOf(std::string_view(message))), 0);
    });
    const Work works[] = {[](Queues& queues, Reports& reports) {
                              EXPECT_TRUE(QueueAdmin(queues, "gw").remove(QueueKind::Archive, kId).done());
                              reports.insert("removed");
                          },
                          [](Queues& queues, Reports& reports) {
                              std::size_t removed = 0;
                              EXPECT_EQ(queues.find("archive")->expire(kNow + 36 * kHour, removed), 0);
                              EXPECT_EQ(removed, 1U);
                              reports.insert("removed");
                          }};
    for (const Work& work : works) {
        cutEverywhere(disk, work, [](Queues& queues, const Reports& reports, bool /*tidied*/) {
            Entries entries = entriesIn(queues, "archive");
            EXPECT_EQ(entries.at(kOther), messageOf(kOther));
            entries.erase(kOther);
            EXPECT_TRUE(entries.empty() || (entries == Entries{{kId, messageOf(kId)}} && reports.empty()));
        });
    }
}

class ReleasePowerCutTest : public PowerCutTest {
protected:
    static Work release(const ReleaseOptions& options) {
        return [options](Queues& queues, Reports& reports) {
            QueuedEntry released;
            EXPECT_TRUE(
                QueueAdmin(queues, "gw").release(QueueKind::Quarantine, kId, options, kNow, released).done());
            reports.insert("released");
        };
    }

    void cutRelease(const Disk& disk, const ReleaseOptions& options) {
        cutEverywhere(disk, release(options), [options](Queues& queues, const Reports& reports, bool tidied) {
            const char* target = options.rescan ? "scan" : "outgoing";
            const bool stays = entriesIn(queues, "quarantine").contains(kId);
            const Entries moved = entriesIn(queues, target);
            const bool shown = moved.contains(derivedIdentifier("quarantine", kId));
            EXPECT_FALSE(stays && shown) << "it would go out twice";
            EXPECT_TRUE(stays || shown || (!tidied && anyHeld(queues, target))) << "it is lost";
            EXPECT_TRUE(shown || reports.empty()) << "it was reported as released";
            for (const auto& [id, message] : moved) {
                EXPECT_NE(message.find(messageOf(kId)), std::string::npos);
            }
        });
    }

    // What a release leaves that is killed when the new entry is held and the old one stands.
    std::vector<Disk> heldAndStanding() {
        std::vector<Disk> disks;
        for (const Moment& moment : momentsOf(quarantined(), release({}))) {
            MemoryFileSystem files(moment.disk.afterKill());
            Queues queues({kSpool, "", ""}, files);
            if (anyHeld(queues, "outgoing") && !entriesIn(queues, "quarantine").empty()) {
                disks.push_back(files.disk);
            }
        }
        return disks;
    }

    Disk quarantined() {
        return after(emptyDisk(), [](Queues& queues, Reports&) { store(queues, "quarantine", kId); });
    }
};

TEST_P(ReleasePowerCutTest, AMovedEntryIsInOneQueue) {
    cutRelease(quarantined(), {});
    cutRelease(quarantined(), {.asAttachment = true});
    cutRelease(quarantined(), {.rescan = true});
}

// A second release, of another form, behind one that was killed when the new entry was held already.
TEST_P(ReleasePowerCutTest, AlsoAfterAnAttemptThatWasKilled) {
    const std::vector<Disk> attempts = heldAndStanding();
    EXPECT_GT(attempts.size(), 0U);
    for (const Disk& disk : attempts) {
        cutRelease(disk, {.asAttachment = true});
    }
}

// The second attempt got no further than to discard what the first had left; then people removed the entry.
TEST_P(ReleasePowerCutTest, AlsoWhenItIsRemovedInstead) {
    for (const Disk& disk : heldAndStanding()) {
        cutEverywhere(
            disk,
            [](Queues& queues, Reports& reports) {
                EXPECT_EQ(queues.find("outgoing")->discardHeld(derivedIdentifier("quarantine", kId)), 0);
                EXPECT_TRUE(QueueAdmin(queues, "gw").remove(QueueKind::Quarantine, kId).done());
                reports.insert("removed");
            },
            [](Queues& queues, const Reports& reports, bool /*tidied*/) {
                EXPECT_TRUE(entriesIn(queues, "quarantine").empty() || reports.empty());
                EXPECT_TRUE(entriesIn(queues, "outgoing").empty());
            });
    }
}

// What killed processes can have left, at once: an unfinished file, a message by itself, and held entries
// whose origin is gone and whose origin stands.
TEST_P(PowerCutTest, TidyingUpTouchesNoEntry) {
    const auto hold = [](Queues& queues, const std::string& origin) {
        QueueEntry entry = entryNamed(derivedIdentifier("quarantine", origin));
        entry.origin = QueueOrigin{"quarantine", origin};
        const std::string message = messageOf(origin);
        EXPECT_EQ(queues.find("outgoing")->storeHeld(entry, writerOf(std::string_view(message))), 0);
    };
    MemoryFileSystem files(after(emptyDisk(), [&hold](Queues& queues, Reports&) {
                               store(queues, "quarantine", kId);
                               store(queues, "failed", kOther);
                               hold(queues, kId);
                               hold(queues, kOther);
                           }).afterKill());
    FileHandle place;
    ASSERT_EQ(files.openAt(AT_FDCWD, (kSpool + "/failed/A/B").c_str(), O_DIRECTORY, 0, place), 0);
    for (const std::string& name : {messageName("ABX"), std::string(".ABY.DF.999999999-1-01234567-0.tmp")}) {
        FileHandle file;
        ASSERT_EQ(files.openAt(place.get(), name.c_str(), O_CREAT | O_EXCL, 0600, file), 0);
    }
    cutEverywhere(
        files.disk, [](Queues& queues, Reports&) { EXPECT_EQ(queues.start(kLater), 0); },
        [](Queues& queues, const Reports&, bool tidied) {
            EXPECT_EQ(entriesIn(queues, "quarantine"), (Entries{{kId, messageOf(kId)}}));
            EXPECT_EQ(entriesIn(queues, "failed"), (Entries{{kOther, messageOf(kOther)}}));
            const Entries expected = {{derivedIdentifier("quarantine", kOther), messageOf(kOther)}};
            const Entries moved = entriesIn(queues, "outgoing");
            EXPECT_TRUE(moved == expected || (moved.empty() && !tidied));
        });
}

std::string nameOf(const testing::TestParamInfo<Kind>& row) { return row.param.name; }

constexpr Kind kKinds[] = {{"Journal", true, true}, {"NoJournal", true, false}, {"OnlyLinks", false, false}};

INSTANTIATE_TEST_SUITE_P(Queue, PowerCutTest, testing::ValuesIn(kKinds), nameOf);
INSTANTIATE_TEST_SUITE_P(Queue, ReleasePowerCutTest, testing::ValuesIn(kKinds), nameOf);

} // namespace
} // namespace quzo::platform::test
