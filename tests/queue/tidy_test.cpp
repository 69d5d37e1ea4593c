// Tidying up now and then: once an hour for each queue, by one process, and by another when that one dies.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>

#include <chrono>
#include <ctime>

#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

class TidyTest : public QueueTest {
protected:
    TidyTest() {
        EXPECT_EQ(storeNamed(*queues_.find("outgoing"), "AB1"), 0);
        EXPECT_EQ(storeNamed(*queues_.find("failed"), "AB1"), 0);
    }

    // An unfinished file, old enough for tidying to take it away.
    void leave(const char* queue) const {
        std::ofstream(leftover(queue)) << "x";
        std::filesystem::last_write_time(
            leftover(queue), std::filesystem::file_time_type::clock::now() - std::chrono::hours(100));
    }
    bool left(const char* queue) const { return std::filesystem::exists(leftover(queue)); }
    std::string leftover(const char* queue) const {
        return root_ + "/" + queue + "/A/B/.AB2.DF.999999999-1-01234567-0.tmp";
    }
    std::string stamp(const char* queue) const { return root_ + "/" + queue + "/.tidied"; }

    const std::int64_t now_ = std::time(nullptr);
    Queues queues_{{root_, "", ""}, files_};
};

TEST_F(TidyTest, OncePerHourAndQueue) {
    struct Row {
        std::int64_t after; // seconds since the last one that tidied
        bool done;
    };
    const Row rows[] = {{0, true},          {0, false},          {kHour - 1, false},
                        {kHour, true},      {-kHour + 1, false}, // a clock that is a little behind
                        {-30 * kHour, true} /* a stamp from far ahead */};
    std::int64_t last = now_;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.after);
        leave("outgoing");
        Queues another({root_, "", ""}, files_);
        EXPECT_EQ(another.startIfDue(last + row.after), 0);
        EXPECT_EQ(left("outgoing"), !row.done);
        last = row.done ? last + row.after : last;
    }
    leave("outgoing");
    leave("failed");
    std::filesystem::remove(stamp("failed"));
    EXPECT_EQ(queues_.startIfDue(last), 0);
    EXPECT_TRUE(left("outgoing") && !left("failed")) << "each queue has a time of its own";
    EXPECT_FALSE(std::filesystem::exists(root_ + "/scan")) << "and nothing is made where there is none";
    EXPECT_EQ(wholeEntries(*queues_.find("outgoing")).size(), 1U);
    EXPECT_EQ(queues_.start(last), 0);
    EXPECT_FALSE(left("outgoing")) << "start() does not ask";
}

TEST_F(TidyTest, OneProcessAtATimeAndAnotherWhenItDies) {
    leave("outgoing");
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const int file = ::open(stamp("outgoing").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const bool locked = ::flock(file, LOCK_EX) == 0 && ::write(ends[1], "y", 1) == 1;
        ::pause();
        ::_exit(locked ? 0 : 1);
    }
    char answer = 0;
    ASSERT_EQ(::read(ends[0], &answer, 1), 1);
    EXPECT_EQ(queues_.startIfDue(now_), 0);
    EXPECT_TRUE(left("outgoing")) << "somebody is at it";
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(ends[0]);
    ::close(ends[1]);
    EXPECT_EQ(queues_.startIfDue(now_), 0);
    EXPECT_FALSE(left("outgoing")) << "who was killed has finished nothing";
}

// The file that keeps the time cannot be had: the work is done all the same.
TEST_F(TidyTest, WithoutAStampItIsDoneEachTime) {
    std::filesystem::create_directory(stamp("outgoing"));
    for (int round = 0; round < 2; ++round) {
        leave("outgoing");
        EXPECT_EQ(queues_.startIfDue(now_), 0);
        EXPECT_FALSE(left("outgoing"));
    }
}

} // namespace
} // namespace quzo::platform::test
