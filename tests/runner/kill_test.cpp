// A runner that is killed at any one of its system calls: the next one ends what it began.
#include <fcntl.h>

#include <set>

#include "tests/runner/runner_support.h"

namespace quzo::host::test {
namespace {

using platform::test::TroubleFileSystem;
using Trouble = TroubleFileSystem::Trouble;

// Writes down whom it has accepted before it says so, for whoever comes after the kill.
class WritingSender final : public platform::MailSender {
public:
    WritingSender(std::string file, const TroubleFileSystem* files) : file_(std::move(file)), files_(files) {}

    platform::SendResult send(const platform::SendJob& job) override {
        platform::SendResult result;
        std::ofstream out(file_, std::ios::app);
        for (const std::string& recipient : job.recipients) {
            const Fate fate = recipient[0] == 'n'                        ? Fate::Refused
                              : recipient[0] == 'l' && files_ != nullptr ? Fate::Later
                                                                         : Fate::Accepted;
            result.answers.push_back({fate, "said"});
            if (fate == Fate::Accepted) {
                out << recipient << ' ' << (files_ != nullptr ? files_->calls() : 0) << '\n';
            }
        }
        return result;
    }

private:
    std::string file_;
    const TroubleFileSystem* files_; // null: of the second runner, for which everybody is ready
};

class KillTest : public RunnerTest {
protected:
    int runWith(platform::Queues& queues, platform::MailSender& sender) {
        RunFigures figures;
        return runner(queues, sender).run(QueueKind::Outgoing, figures);
    }

    // How often each recipient was accepted, and the first runner's system calls before the last of them.
    std::map<std::string, int> served(std::uint64_t& callsBefore) const {
        std::map<std::string, int> times;
        std::ifstream file(root_ + "/served");
        std::string recipient;
        for (std::uint64_t calls = 0; file >> recipient >> calls;) {
            ++times[recipient];
            callsBefore = std::max(callsBefore, calls);
        }
        return times;
    }
};

TEST_F(KillTest, NobodyIsLostAndWhoIsNotedIsNotServedTwice) {
    const std::vector<std::vector<std::string>> lists = {
        {"a@x"}, {"a@x", "no@x"}, {"a@x", "no@x", "later@x"}, {"no@x", "later@x"}, {"no@x"}, {"later@x"}};
    // From the answer to the moment when the disk knows it there are these calls and no more: an update's, or
    // a removal's.
    constexpr std::uint64_t kWindow = 8;
    for (const std::vector<std::string>& recipients : lists) {
        int at = 1;
        for (bool happened = true; happened; ++at) {
            for (const Trouble trouble : {Trouble::DieBefore, Trouble::DieAfter}) {
                SCOPED_TRACE(recipients.front() + "... killed at call " + std::to_string(at));
                clear();
                clock_.time = kNow;
                put(QueueKind::Outgoing, entryFor("AA", recipients));
                happened = platform::test::inChild([&] {
                               TroubleFileSystem files(trouble, 0, at);
                               platform::Queues queues({root_ + "/spool", {}, {}}, files);
                               WritingSender sender(root_ + "/served", &files);
                               runWith(queues, sender);
                               return 0;
                           }) == TroubleFileSystem::kDied;
                ASSERT_EQ(queues_.start(clock_.time), 0);
                clock_.time = kNow + 7200; // also what a runner forgot would be dropped by now
                ASSERT_EQ(queues_.start(clock_.time), 0);
                WritingSender second(root_ + "/served", nullptr);
                runWith(queues_, second);
                ASSERT_EQ(queues_.start(clock_.time), 0);
                std::uint64_t calls = 0;
                const std::map<std::string, int> times = served(calls);
                std::string refused;
                for (const std::string& recipient : recipients) {
                    const auto found = times.find(recipient);
                    const int count = found == times.end() ? 0 : found->second;
                    const bool inWindow = static_cast<std::uint64_t>(at) > calls &&
                                          static_cast<std::uint64_t>(at) <= calls + kWindow;
                    EXPECT_GE(count, recipient[0] == 'n' ? 0 : 1) << recipient;
                    EXPECT_LE(count, happened && inWindow && recipient[0] == 'a' ? 2 : 1) << recipient;
                    refused += recipient[0] == 'n' ? recipient : "";
                }
                EXPECT_EQ(people(QueueKind::Failed), refused);
                EXPECT_EQ(people(QueueKind::Outgoing), "");
            }
        }
        EXPECT_GT(at, 10);
    }
}

} // namespace
} // namespace quzo::host::test
