// Signals: what was begun comes to its end, and what was done is told.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "host/cli/console/interrupt.h"
#include "host/cli/console/temporary_files.h"
#include "tests/cli/apply_fixture.h"
#include "tests/places.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kMail = "From: a@a.example\nTo: x@b.example\nSubject: one\n\nbody\n";

class Interrupt : public ApplyFixture {};

// The first signal lets the work come to its end, the second does not wait for it.
TEST_F(Interrupt, TheSecondEndsAtOnceAndLeavesNoTemporaryFile) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const std::string path = dir_.path("half.tmp");
        const pid_t child = ::fork();
        if (child == 0) {
            const host::InterruptWatch watch;
            const host::TemporaryFile file(path);
            ::kill(::getpid(), file.error() == 0 ? number : SIGKILL);
            char none = 0;
            const bool woken = host::readSome(watch.wakeUp(), &none, 0, watch.wakeUp()) < 0;
            ::kill(::getpid(), woken && watch.signal() == number ? number : SIGKILL);
            ::pause();
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == number);
        EXPECT_FALSE(fs::exists(path));
    }
}

// Interrupted while it waits for a message: what was done is told, whole, and the process ends by the signal.
TEST_F(Interrupt, ARunTellsWhatItDid) {
    dir_.write("in/a.eml", kMail);
    dir_.write("in/b.eml", kMail);
    const std::string program = tests::binaryDir() + std::string("/bin/quzo");
    int input[2] = {};
    ASSERT_EQ(::pipe(input), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        bool ready = ::chdir(dir_.path().c_str()) == 0 && ::dup2(input[0], STDIN_FILENO) >= 0;
        for (const auto& [name, number] : {std::pair("out.json", STDOUT_FILENO), {"err", STDERR_FILENO}}) {
            ready = ready && ::dup2(::open(name, O_WRONLY | O_CREAT, 0600), number) >= 0;
        }
        if (ready) {
            ::execl(program.c_str(), "quzo", "apply", "-p", "p.toml", "--json", "-o", "out", "in", "-",
                    nullptr);
        }
        ::_exit(127);
    }
    int status = 0;
    while (!fs::exists(dir_.path("out/in/b.eml")) && ::waitpid(child, &status, WNOHANG) == 0) {
        ::usleep(1000);
    }
    ::kill(child, SIGTERM);
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ::close(input[0]);
    ::close(input[1]);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_THAT(
        readFile(dir_.path("out.json")),
        testing::MatchesRegex("[^\n]*in/a.eml[^\n]*modified[^\n]*\n[^\n]*in/b.eml[^\n]*modified[^\n]*\n"));
    EXPECT_EQ(
        readFile(dir_.path("err")),
        "quzo: interrupted (SIGTERM) after 2 messages: 0 unchanged, 2 modified, 0 consumed, 0 deferred, "
        "0 failed: the others have not been touched\n");
}

} // namespace
} // namespace quzo::test
