// The ledger of notifications: by a clock of our own, by several processes, with damaged files, on disks that
// fail and under power cuts. What is held back is summed up, once, whatever happens.
#include "platform/mta/notice_ledger.h"

#include <fcntl.h>

#include <random>

#include "platform/mta/notice_names.h"
#include "platform/mta/notice_summary.h"
#include "quzo/core/error_text.h"
#include "tests/queue/memory_file_system.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

Notice noticeTo(const std::string& recipient, std::uint32_t rule = 10, const std::string& subject = "x") {
    return {recipient, rule, "Rule", subject};
}

const Notice kNotice = noticeTo("a@example.com");
const std::string kFile = noticeIdentifier("a@example.com", 10);

// What a walk over what is due finds.
struct Summed {
    std::uint64_t count = 0;
    std::vector<std::string> ids;
    std::vector<HeldNotices> held;
};

Summed sumUp(NoticeLedger& ledger, std::int64_t now, int result = 0) {
    Summed out;
    const int error =
        ledger.sumUpDue(now, [&](const NoticeRecord&, const HeldNotices& held, const std::string& id) {
            out.count += held.count;
            out.ids.push_back(id);
            out.held.push_back(held);
            return result;
        });
    EXPECT_EQ(error, out.ids.empty() ? 0 : result);
    return out;
}

class NoticeTest : public QueueTest {
protected:
    std::string path(const std::string& name) const {
        return root_ + "/notices/" + name[0] + "/" + name[1] + "/" + name;
    }

    // Waits for the work of several processes and gives the sum of their exit codes.
    static int together(int processes, const std::function<int()>& work) {
        std::vector<pid_t> children;
        for (int i = 0; i < processes; ++i) {
            children.push_back(::fork());
            if (children.back() == 0) {
                ::_exit(work());
            }
        }
        int sum = 0;
        for (const pid_t child : children) {
            int status = 0;
            EXPECT_EQ(::waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFEXITED(status));
            sum += WEXITSTATUS(status);
        }
        return sum;
    }

    NoticeLedger ledger_{root_ + "/notices", files_};
};

TEST_F(NoticeTest, TheFirstOfAnHourGoOut) {
    struct Row {
        std::int64_t at; // seconds after the first
        const char* recipient;
        std::uint32_t rule;
        bool goes;
    };
    const Row rows[] = {
        {0, "a@example.com", 10, true},
        {1, "a@example.com", 10, true},
        {2, "A@Example.COM", 10, false},
        {2, "a@example.com", 11, true},
        {2, "b@example.com", 10, true},
        {kHour - 1, "a@example.com", 10, false},
        {kHour, "a@example.com", 10, true},
        {kHour - 5, "a@example.com", 10, true}, // a clock set back a little
        {kHour + 9, "a@example.com", 10, false},
        {2 * kHour, "a@example.com", 10, true},
        {-30 * kHour, "a@example.com", 10, true}, // and far back
    };
    for (const Row& row : rows) {
        NoticeLedger another(root_ + "/notices", files_);
        EXPECT_EQ(another.count(noticeTo(row.recipient, row.rule), 2, kNow + row.at), row.goes)
            << row.at << " " << row.recipient;
    }
}

TEST_F(NoticeTest, TheOthersAreSummedUpWhenItIsOver) {
    for (int i = 0; i < 50; ++i) {
        const std::string subject =
            "n" + std::to_string(i) + "\r\nBcc: x" + std::string(i == 3 ? 900 : 0, 'y');
        EXPECT_EQ(ledger_.count(noticeTo("a@example.com", 10, subject), 3, kNow + i), i < 3);
    }
    EXPECT_EQ(sumUp(ledger_, kNow + kHour - 1).count, 0U);
    const Summed first = sumUp(ledger_, kNow + kHour, kErrorNoSpace);
    EXPECT_TRUE(ledger_.count(kNotice, 1, kNow + kHour));
    EXPECT_FALSE(ledger_.count(kNotice, 1, kNow + kHour + 1));
    const Summed again = sumUp(ledger_, kNow + kHour + 2);
    EXPECT_EQ(again.ids, first.ids) << "what could not be sent is tried again, and is the same";
    ASSERT_EQ(again.held.size(), 1U);
    const HeldNotices& held = again.held[0];
    EXPECT_EQ(held.count, 47U);
    EXPECT_EQ(held.first, kNow + 3);
    EXPECT_EQ(held.last, kNow + 49);
    ASSERT_EQ(held.firstSubjects.size(), HeldNotices::kFirst);
    ASSERT_EQ(held.lastSubjects.size(), HeldNotices::kLast);
    EXPECT_LE(held.firstSubjects.front().size(), NoticeRecord::kMaxSubject + 3);
    EXPECT_EQ(held.firstSubjects.back(), "n12\\x0D\\x0ABcc: x");
    EXPECT_EQ(held.lastSubjects.front(), "n40\\x0D\\x0ABcc: x");
    EXPECT_EQ(sumUp(ledger_, kNow + 2 * kHour).count, 1U);
    EXPECT_TRUE(filesBelow(root_).empty()) << "nothing stays of what is over";
}

// However long nobody sums up, and whatever goes wrong with it: all are sent or told of.
TEST_F(NoticeTest, NothingIsLostOverManyHours) {
    std::mt19937 random(5);
    std::uniform_int_distribution<int> any(0, 999);
    std::int64_t now = kNow;
    std::uint64_t asked = 0;
    std::uint64_t sent = 0;
    std::uint64_t told = 0;
    for (int i = 0; i < 3000; ++i, ++asked) {
        now += any(random) < 10 ? any(random) * 20 : any(random) / 20;
        const Notice notice = noticeTo(any(random) < 500 ? "a@x" : "b@x", any(random) < 500 ? 1 : 2);
        const bool goes = ledger_.count(notice, 4, now);
        sent += goes ? 1 : 0;
        if (any(random) < 100) { // the mail was not stored
            ledger_.takeBack(notice, goes);
            sent -= goes ? 1 : 0;
            --asked;
        }
        if (any(random) < 5) {
            told += sumUp(ledger_, now).count;
        } else if (any(random) < 5) {
            sumUp(ledger_, now, kErrorNoSpace);
        }
    }
    told += sumUp(ledger_, now + kHour).count;
    EXPECT_EQ(sent + told, asked);
    EXPECT_GT(told, sent);
    EXPECT_TRUE(filesBelow(root_).empty());
}

TEST_F(NoticeTest, ProcessesCountTogetherAndSumUpOnce) {
    EXPECT_EQ(together(4,
                       [&] {
                           int went = 0;
                           for (int i = 0; i < 50; ++i) {
                               went +=
                                   NoticeLedger(root_ + "/notices", files_).count(kNotice, 20, kNow) ? 1 : 0;
                           }
                           return went;
                       }),
              20);
    EXPECT_EQ(together(4, [&] { return sumUp(ledger_, kNow + kHour).count == 180 ? 1 : 0; }), 1);
}

TEST_F(NoticeTest, WhoWaitsTooLongForALockSendsUncounted) {
    EXPECT_TRUE(ledger_.count(kNotice, 1, kNow));
    FileHandle directory;
    ASSERT_EQ(files_.openAt(AT_FDCWD, std::filesystem::path(path(kFile)).parent_path().c_str(), O_RDONLY, 0,
                            directory),
              0);
    ASSERT_EQ(files_.tryLock(directory.get()), 0);
    EXPECT_TRUE(
        NoticeLedger(root_ + "/notices", files_, std::chrono::milliseconds(20)).count(kNotice, 1, kNow));
    directory.reset();
    EXPECT_FALSE(ledger_.count(kNotice, 1, kNow));
}

TEST_F(NoticeTest, ADamagedFileIsSetAsideAndCountingBeginsAnew) {
    ASSERT_TRUE(ledger_.count(noticeTo("b@example.com"), 1, kNow));
    const std::string others = content(path(noticeIdentifier("b@example.com", 10) + ".json"));
    const std::string record =
        R"({"format":1,"recipient":"a@example.com","rule":10,"rule_name":"","start":1,"sent":1,"held":)";
    const std::string held = R"({"due":1,"first":1,"last":1,"count":1,"first_subjects":[],"last_subjects":)";
    const std::string damaged[] = {"",
                                   std::string(100, '\0'),
                                   "{}",
                                   others,
                                   record + "7}",
                                   record + "[{}]}",
                                   record + "[" + held + "[1]}]}",
                                   record + "[" + held + "[]},",
                                   record + "[" + held + "[]}," + held + "[]}," + held + "[]}]}",
                                   std::string(60000, '['),
                                   record + "[]}" + std::string(kMaxNoticeText, ' ')};
    for (const std::string& text : damaged) {
        SCOPED_TRACE(text.substr(0, 300));
        std::filesystem::create_directories(std::filesystem::path(path(kFile)).parent_path());
        std::ofstream(path(kFile + ".json"), std::ios::binary) << text;
        EXPECT_TRUE(ledger_.count(kNotice, 1, kNow));
        EXPECT_EQ(content(path(kFile + ".unreadable")), text);
        EXPECT_FALSE(ledger_.count(kNotice, 1, kNow)) << "by then it counts again";
        std::ofstream(path(kFile + ".json"), std::ios::binary) << text;
        EXPECT_EQ(sumUp(ledger_, kNow + kHour).count, 0U);
    }
}

using Trouble = TroubleFileSystem::Trouble;

// Whatever call fails, or is the last of the process: who was told "held back" is told of it later, once.
TEST_F(NoticeTest, OnADiskThatFailsNothingIsLostAndNothingToldTwice) {
    constexpr int kHeld = 1;
    constexpr int kNoTrouble = 2;
    for (const Trouble trouble : {Trouble::Fail, Trouble::Break, Trouble::DieBefore, Trouble::DieAfter}) {
        int outcome = 0;
        for (int at = 1; (outcome & kNoTrouble) == 0 || outcome == TroubleFileSystem::kDied; ++at) {
            SCOPED_TRACE(std::to_string(static_cast<int>(trouble)) + " at call " + std::to_string(at));
            ASSERT_LT(at, 300);
            clear();
            ASSERT_TRUE(ledger_.count(kNotice, 1, kNow));
            ASSERT_FALSE(ledger_.count(kNotice, 1, kNow));
            outcome = inChild([&] {
                TroubleFileSystem files(trouble, ENOSPC, at);
                NoticeLedger ledger(root_ + "/notices", files);
                Queues queues({root_, "", ""}, files);
                std::size_t composed = 0;
                const bool held = !ledger.count(kNotice, 1, kNow);
                composeDueSummaries(ledger, queues, {"", "gw"}, kNow + kHour, composed);
                return (held ? kHeld : 0) | (files.happened() ? 0 : kNoTrouble);
            });
            Queues queues({root_, "", ""}, files_);
            std::size_t composed = 0;
            EXPECT_EQ(composeDueSummaries(ledger_, queues, {"", "gw"}, kNow + kHour, composed), 0);
            const auto mails = wholeEntries(*queues.find("outgoing"));
            ASSERT_EQ(mails.size(), 1U);
            const bool both = mails.begin()->second.find("2 notifications") != std::string::npos;
            EXPECT_TRUE(both || (outcome & kHeld) == 0 || outcome == TroubleFileSystem::kDied);
        }
    }
}

TEST_F(NoticeTest, APowerCutLosesNothingThatWasHeldBack) {
    for (const bool journal : {true, false}) {
        MemoryFileSystem files{Disk()};
        files.journal = journal;
        std::vector<std::pair<Disk, int>> moments;
        int held = 0;
        files.before = [&] { moments.emplace_back(files.disk, held); };
        NoticeLedger ledger("/spool/notices", files);
        for (int i = 0; i < 4; ++i) {
            held += ledger.count(kNotice, 1, kNow) ? 0 : 1;
        }
        Queues queues({"/spool", "", ""}, files);
        std::size_t composed = 0;
        ASSERT_EQ(composeDueSummaries(ledger, queues, {"", "gw"}, kNow + kHour, composed), 0);
        moments.emplace_back(files.disk, held);
        ASSERT_GT(moments.size(), 40U);
        for (std::size_t at = 0; at < moments.size() && !HasFailure(); ++at) {
            SCOPED_TRACE("cut at change " + std::to_string(at));
            moments[at].first.forEachOutcome([&](const Disk& disk) {
                MemoryFileSystem found(disk);
                NoticeLedger after("/spool/notices", found);
                Queues outgoing({"/spool", "", ""}, found);
                EXPECT_EQ(composeDueSummaries(after, outgoing, {"", "gw"}, kNow + kHour, composed), 0);
                int told = 0;
                int mails = 0;
                EXPECT_EQ(outgoing.find("outgoing")->forEach([&](ListedEntry&& entry) {
                    told += std::atoi(entry.entry.subject.c_str());
                    ++mails;
                    return true;
                }),
                          0);
                EXPECT_TRUE(told == moments[at].second || told == moments[at].second + 1) << told;
                EXPECT_LE(mails, 1);
            });
        }
    }
}

} // namespace
} // namespace quzo::platform::test
