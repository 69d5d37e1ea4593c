// Lets the power go, or a process be killed, at every moment of some work on queues, and has what is left
// looked at.
#pragma once

#include <fcntl.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/queue/queue_admin.h"
#include "tests/queue/memory_file_system.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {

inline const std::string kId = "AB12";
inline const std::string kOther = "AB13";
inline const std::string kSpool = "/srv/mail/spool";
constexpr std::int64_t kLater = kNow + 2 * kHour;

using Entries = std::map<std::string, std::string>;
using Reports = std::set<std::string>;

inline Entries entriesIn(Queues& queues, const char* queue) { return wholeEntries(*queues.find(queue)); }

inline bool anyHeld(Queues& queues, const char* queue) {
    bool held = false;
    EXPECT_EQ(queues.find(queue)->forEach([&held](ListedEntry&& entry) {
        held = held || entry.state == EntryState::Held;
        return true;
    }),
              0);
    return held;
}

struct Kind {
    const char* name;
    bool exclusiveRename;
    bool journal;
};

class PowerCutTest : public testing::TestWithParam<Kind> {
protected:
    // Something to do, which notes what was reported as done.
    using Work = std::function<void(Queues&, Reports&)>;
    // Looks at what is left, before and after tidying up.
    using Check = std::function<void(Queues&, const Reports&, bool tidied)>;

    struct Moment {
        Disk disk;
        Reports reports;
    };

    static Disk emptyDisk() {
        MemoryFileSystem files{Disk()};
        FileHandle root;
        EXPECT_EQ(files.makeDirectory(AT_FDCWD, "/srv", 0700), 0);
        EXPECT_EQ(files.openAt(AT_FDCWD, "/", O_DIRECTORY, 0, root), 0);
        EXPECT_EQ(files.sync(root.get()), 0);
        return files.disk;
    }

    static void setUp(MemoryFileSystem& files, std::int64_t now) {
        files.now = now;
        files.exclusiveRename = GetParam().exclusiveRename;
        files.journal = GetParam().journal;
    }

    // The disk before each change that `work` makes, and after the last.
    std::vector<Moment> momentsOf(const Disk& before, const Work& work, Reports reports = {}) {
        MemoryFileSystem files(before);
        setUp(files, kNow);
        std::vector<Moment> moments;
        files.before = [&] { moments.push_back({files.disk, reports}); };
        Queues queues({kSpool, "", ""}, files);
        work(queues, reports);
        moments.push_back({files.disk, reports});
        return moments;
    }

    Disk after(const Disk& before, const Work& work) { return momentsOf(before, work).back().disk; }

    // Runs `work` and cuts the power, or kills the process, at each moment.
    void cutEverywhere(const Disk& before, const Work& work, const Check& check) {
        check_ = check;
        stores_ = false;
        cut(before, work);
    }

    // The same for work that stores and reports each entry as "QUEUE/ID".
    void cutStores(const Disk& before, const Work& work, const Check& check) {
        check_ = check;
        stores_ = true;
        cut(before, work);
    }

private:
    void cut(const Disk& before, const Work& work) {
        examined_.clear();
        const std::vector<Moment> moments = momentsOf(before, work);
        EXPECT_GT(moments.size(), 3U) << "the operation changes hardly anything";
        for (std::size_t at = 0; at < moments.size() && !HasFailure(); ++at) {
            SCOPED_TRACE("cut at change " + std::to_string(at + 1));
            examineOutcomes(moments[at]);
            SCOPED_TRACE("killed there, and cut while the next process tidies up");
            tidyUnderCuts({moments[at].disk.afterKill(), moments[at].reports});
        }
    }

    void tidyUnderCuts(const Moment& moment) {
        for (const std::int64_t now : {kNow, kLater}) {
            const Work tidy = [now](Queues& queues, Reports&) { EXPECT_EQ(queues.start(now), 0); };
            for (const Moment& next : momentsOf(moment.disk, tidy, moment.reports)) {
                examineOutcomes(next);
            }
        }
    }

    void examineOutcomes(const Moment& moment) {
        moment.disk.forEachOutcome([&](const Disk& disk) {
            // Most are found again and again.
            if (!HasFailure() && examined_.insert({disk.files(true), moment.reports}).second) {
                examine(disk, moment.reports);
                if (HasFailure()) {
                    ADD_FAILURE() << "found after the cut: " << namesOf(disk);
                }
            }
        });
    }

    // Two starts, since the first may free what the second removes; then there is nothing but the entries.
    void examine(const Disk& disk, const Reports& reports) {
        MemoryFileSystem files(disk);
        setUp(files, kLater);
        Queues queues({kSpool, "", ""}, files);
        if (stores_ && !GetParam().journal) {
            removeHalf(queues, reports);
        }
        check_(queues, reports, false);
        EXPECT_EQ(queues.start(kLater), 0);
        EXPECT_EQ(queues.start(kLater), 0);
        check_(queues, reports, true);
        std::size_t entries = 0;
        for (const QueueKind kind : kQueueKinds) {
            entries += wholeEntries(*queues.find(kind)).size();
        }
        EXPECT_EQ(files.disk.files().size(), 2 * entries) << namesOf(files.disk);
    }

    static std::string namesOf(const Disk& disk) {
        std::string names;
        for (const auto& [name, bytes] : disk.files()) {
            names += name + " (" + std::to_string(bytes.size()) + ")\n";
        }
        return names;
    }

    // Without a journal, an entry that was not reported as stored may lack its message. People see and remove
    // it.
    static void removeHalf(Queues& queues, const Reports& reports) {
        for (const QueueKind kind : kQueueKinds) {
            std::vector<std::string> half;
            EXPECT_EQ(queues.find(kind)->forEach([&half](ListedEntry&& entry) {
                half.insert(half.end(), entry.message ? 0 : 1, entry.id);
                return true;
            }),
                      0);
            for (const std::string& id : half) {
                EXPECT_FALSE(reports.contains(std::string(queueName(kind)) + "/" + id)) << id;
                EXPECT_TRUE(QueueAdmin(queues, "gw").remove(kind, id).done());
            }
        }
    }

    Check check_;
    bool stores_ = false;
    std::set<std::pair<std::map<std::string, std::string>, Reports>> examined_;
};

} // namespace quzo::platform::test
