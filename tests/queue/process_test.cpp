// Several processes on one queue, and processes that are killed at any moment.
#include <fcntl.h>
#include <signal.h>

#include <algorithm>
#include <random>
#include <thread>

#include "platform/queue/process_identity.h"
#include "platform/queue/queue_admin.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

class ProcessTest : public QueueTest {
protected:
    // A child that runs `work`, and the lines that it wrote, one write each.
    struct Child {
        pid_t process = 0;
        int pipe = -1;
    };

    static Child start(const std::function<void(int pipe)>& work) {
        int ends[2];
        EXPECT_EQ(::pipe(ends), 0);
        const pid_t process = ::fork();
        if (process == 0) {
            work(ends[1]);
            ::_exit(0);
        }
        ::close(ends[1]);
        return {process, ends[0]};
    }

    static std::vector<std::string> finish(const Child& child) {
        std::string text;
        char buffer[4096];
        for (ssize_t size = 0; (size = ::read(child.pipe, buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<std::size_t>(size));
        }
        ::close(child.pipe);
        int status = 0;
        EXPECT_EQ(::waitpid(child.process, &status, 0), child.process);
        std::vector<std::string> lines;
        for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
            lines.push_back(text.substr(at, end - at));
        }
        return lines;
    }

    static void say(int pipe, const std::string& line) {
        const std::string text = line + "\n";
        if (::write(pipe, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            ::_exit(1);
        }
    }

    static std::vector<std::string> shuffled(std::vector<std::string> ids, unsigned seed) {
        std::shuffle(ids.begin(), ids.end(), std::mt19937(seed));
        return ids;
    }

    std::vector<std::string> fill(const std::string& queue, unsigned count) {
        std::vector<std::string> ids;
        for (unsigned i = 0; i < count; ++i) {
            ids.push_back(identifier(i));
            EXPECT_EQ(storeNamed(*queues().find(queue), ids.back()), 0);
        }
        return ids;
    }

    Queues& queues() { return queues_; }

    Queues queues_{{root_, "", ""}, files_};
};

TEST_F(ProcessTest, EachEntryIsClaimedByOneProcess) {
    const std::vector<std::string> ids = fill("outgoing", 150);
    std::vector<Child> children;
    for (unsigned seed = 0; seed < 4; ++seed) {
        children.push_back(start([&](int pipe) {
            for (const std::string& id : shuffled(ids, seed)) {
                QueueClaim claim;
                if (queues().find("outgoing")->claim(id, claim) != ClaimOutcome::Taken) {
                    continue;
                }
                if (seed % 2 == 0 && claim.entry().attempts == 0) { // touched and given back first
                    QueueEntry entry = claim.entry();
                    entry.attempts = 1;
                    claim.update(entry);
                } else if (claim.remove() == 0) {
                    say(pipe, id);
                }
            }
        }));
    }
    std::vector<std::string> removed;
    for (const Child& child : children) {
        for (const std::string& id : finish(child)) {
            removed.push_back(id);
        }
    }
    for (const auto& [id, message] : wholeEntries(*queues().find("outgoing"))) {
        removed.push_back(id);
    }
    std::sort(removed.begin(), removed.end());
    std::vector<std::string> all = ids;
    std::sort(all.begin(), all.end());
    EXPECT_EQ(removed, all);
}

TEST_F(ProcessTest, ReleasedByManyWhoAreKilledEachEntryLeavesOnce) {
    const std::vector<std::string> ids = fill("quarantine", 120);
    std::mt19937 random(7);
    std::uniform_int_distribution<unsigned> delay(500, 8000); // microseconds
    const auto release = [&](unsigned seed) {
        Queues own({root_, "", ""}, files_);
        own.start(kNow);
        QueueAdmin admin(own, "gw");
        for (const std::string& id : shuffled(ids, seed)) {
            QueuedEntry released;
            admin.release(QueueKind::Quarantine, id, {}, kNow, released);
        }
    };
    unsigned seed = 0;
    for (int round = 0; round < 40; ++round) {
        std::vector<Child> children;
        for (int i = 0; i < 3; ++i, ++seed) {
            children.push_back(start([&](int) { release(seed); }));
        }
        for (const Child& child : children) {
            ::usleep(delay(random));
            ::kill(child.process, SIGKILL);
        }
        for (const Child& child : children) {
            finish(child);
        }
    }
    release(seed);
    EXPECT_EQ(queues().start(kNow), 0);
    EXPECT_TRUE(wholeEntries(*queues().find("quarantine")).empty());
    std::map<std::string, std::string> expected;
    for (const std::string& id : ids) {
        expected[derivedIdentifier("quarantine", id)] = messageOf(id);
    }
    EXPECT_EQ(wholeEntries(*queues().find("outgoing")), expected);
    EXPECT_EQ(queues().start(std::time(nullptr) + 2 * kHour), 0);
    EXPECT_EQ(filesBelow(root_).size(), 2 * ids.size());
}

TEST_F(ProcessTest, ThreadsOfOneProcessCompeteAsProcessesDo) {
    const std::vector<std::string> ids = fill("quarantine", 100);
    std::atomic<unsigned> released{0};
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed) {
        threads.emplace_back([&, seed] {
            QueueAdmin admin(queues(), "gw");
            for (const std::string& id : shuffled(ids, seed)) {
                QueuedEntry entry;
                released += admin.release(QueueKind::Quarantine, id, {}, kNow, entry).done() ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(released, ids.size());
    EXPECT_EQ(wholeEntries(*queues().find("outgoing")).size(), ids.size());
}

TEST_F(ProcessTest, AClaimLastsAsLongAsItsProcess) {
    fill("outgoing", 1);
    QueueStore& store = *queues().find("outgoing");
    const Child child = start([&](int pipe) {
        QueueClaim claim;
        if (store.claim(identifier(0), claim) == ClaimOutcome::Taken) {
            say(pipe, processIdentity());
            ::pause();
        }
    });
    char buffer[64];
    const ssize_t size = ::read(child.pipe, buffer, sizeof buffer);
    ASSERT_GT(size, 1);
    const std::string owner(buffer, static_cast<std::size_t>(size) - 1);
    QueueClaim claim;
    EXPECT_EQ(store.claim(identifier(0), claim), ClaimOutcome::Busy);
    QueueEntry entry;
    EXPECT_EQ(store.read(identifier(0), entry), 0) << "a claimed entry can be looked at";
    std::size_t removed = 0;
    EXPECT_TRUE(processRuns(owner));
    ::kill(child.process, SIGKILL);
    // Dead, but nobody has waited for it yet.
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child.process), &info, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(processRuns(owner));
    EXPECT_EQ(store.claim(identifier(0), claim), ClaimOutcome::Taken);
    finish(child);
    EXPECT_EQ(store.expire(kNow, removed), 0);
}

TEST(ProcessIdentity, TellsTheSameNumberOfAnotherTimeApart) {
    const std::string own = processIdentity();
    EXPECT_TRUE(isProcessIdentity(own));
    EXPECT_TRUE(processRuns(own));
    const std::string number = own.substr(0, own.find('-'));
    const std::string boot = own.substr(own.rfind('-'));
    EXPECT_FALSE(processRuns(number + "-1" + boot)) << "started at another time";
    const std::string start = own.substr(number.size(), own.size() - number.size() - boot.size());
    EXPECT_FALSE(processRuns(number + start + "-0123abcd")) << "before the last boot";
    EXPECT_EQ(inChild([&] { return processIdentity() == own ? 1 : 0; }), 0) << "a fork is another process";
    for (const char* text : {"", "1", "1-2", "-1-2-01234567", "1-2-0123456g", "1-2-012345678", "0-2-01234567",
                             "1-2-01234567-3", "99999999999999999999-1-01234567", "1/2-01234567"}) {
        EXPECT_FALSE(isProcessIdentity(text)) << text;
    }
}

} // namespace
} // namespace quzo::platform::test
