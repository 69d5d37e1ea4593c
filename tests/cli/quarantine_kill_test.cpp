// quzo apply is killed at any moment while it quarantines. The sender keeps what was not reported as taken,
// as a mail server does, and gives it again.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>

#include "platform/queue/leaving_message.h"
#include "tests/cli/installation.h"
#include "tests/places.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;

constexpr int kMessages = 2000;
constexpr int kKills = 25;
constexpr std::size_t kEnough = 500; // entries, for the kills to say something

std::string recipientOf(int number) { return "u" + std::to_string(number) + "@b.example"; }

std::string mailNumbered(int number) {
    return "From: a@a.example\r\nTo: " + recipientOf(number) + "\r\nSubject: number " +
           std::to_string(number) + "\r\n\r\n" +
           std::string(static_cast<std::size_t>(number * 37 % 5000), 'x') + "\r\n";
}

class QuarantineKill : public testing::Test {
protected:
    // The sender has mail for everybody again.
    void send() {
        for (int number = 0; number < kMessages; ++number) {
            if (!fs::exists(fileOf(number))) {
                installation_.dir().write("in/" + std::to_string(number) + ".eml", mailNumbered(number));
            }
        }
    }

    // How many messages the sender still has.
    std::ptrdiff_t waiting() const {
        const fs::directory_iterator files(installation_.dir().path("in"));
        return std::distance(begin(files), end(files));
    }

    // Runs the program on the messages that there are, kills it after `limit`, and takes away what it
    // reported as consumed by then. Whether it came to its end.
    bool run(std::chrono::microseconds limit) {
        const std::string out = installation_.dir().path("out.json");
        const std::string program = quzo::tests::binaryDir() + std::string("/bin/quzo");
        const pid_t child = ::fork();
        if (child == 0) {
            const int file = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
            const int log = ::open("/dev/null", O_WRONLY);
            if (file < 0 || ::dup2(file, STDOUT_FILENO) < 0 || ::dup2(log, STDERR_FILENO) < 0 ||
                ::chdir(installation_.dir().path().c_str()) != 0) {
                ::_exit(127);
            }
            ::execl(program.c_str(), "quzo", "apply", "-c", "quzo.ini", "-p", "p.toml", "-j", "8", "--json",
                    "in", nullptr);
            ::_exit(127);
        }
        const auto end = std::chrono::steady_clock::now() + limit;
        int status = 0;
        pid_t ended = 0;
        while (ended == 0 && std::chrono::steady_clock::now() < end) {
            ::usleep(500);
            ended = ::waitpid(child, &status, WNOHANG);
        }
        if (ended == 0) {
            ::kill(child, SIGKILL);
            EXPECT_EQ(::waitpid(child, &status, 0), child);
        }
        EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0) << WEXITSTATUS(status);
        takeReported(readFile(out));
        return WIFEXITED(status);
    }

    void takeReported(const std::string& text) {
        for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
            const auto line = nlohmann::json::parse(text.substr(at, end - at));
            ASSERT_EQ(line["outcome"], "consumed");
            reported_.insert(line["id"].get<std::string>());
            ASSERT_TRUE(fs::remove(installation_.dir().path(line["file"].get<std::string>())));
        }
    }

    // Each entry is whole and one of the messages with its envelope; the queue has every message that the
    // sender was told to forget. Takes the entries out of the queue and gives their number.
    std::size_t takeEntries() {
        std::set<std::string> ids;
        platform::QueueStore& store = *installation_.queues().find("quarantine");
        EXPECT_EQ(store.forEach([&](platform::ListedEntry&& listed) {
            std::string message;
            EXPECT_EQ(listed.error, 0) << listed.id;
            EXPECT_EQ(store.readMessage(listed.id, listed.entry.size, message), 0) << listed.id;
            const int number = listed.entry.recipients.size() == 1
                                   ? std::atoi(listed.entry.recipients.front().c_str() + 1)
                                   : -1;
            EXPECT_EQ(listed.entry.recipients, std::vector<std::string>{recipientOf(number)});
            EXPECT_EQ(listed.entry.sender, "a@a.example");
            EXPECT_EQ(listed.entry.rule, 10U);
            EXPECT_EQ(listed.entry.aging, 30U);
            EXPECT_EQ(platform::withoutMarks(message, listed.entry.markEnd), mailNumbered(number));
            ids.insert(listed.id);
            return true;
        }),
                  0);
        for (const std::string& id : reported_) {
            EXPECT_TRUE(ids.contains(id)) << id << " was reported as stored";
        }
        reported_.clear();
        for (const std::string& id : ids) {
            platform::QueueClaim claim;
            EXPECT_EQ(store.claim(id, claim), platform::ClaimOutcome::Taken);
            EXPECT_EQ(claim.remove(), 0);
        }
        return ids.size();
    }

    std::string fileOf(int number) const {
        return installation_.dir().path("in/" + std::to_string(number) + ".eml");
    }

    // Files that belong to no entry, once all entries have been taken; not the one that says when the queue
    // was tidied up. `age`: all look two hours old from then on.
    std::size_t leftBehind(bool age) {
        std::size_t count = 0;
        for (const auto& entry : fs::recursive_directory_iterator(installation_.spool() + "/quarantine")) {
            count += entry.is_regular_file() && entry.path().filename() != ".tidied" ? 1 : 0;
            if (age && entry.is_regular_file()) {
                fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(2));
            }
        }
        return count;
    }

    Installation installation_{true}; // it is a process that is killed, not a disk
    std::set<std::string> reported_;  // and not taken yet
};

TEST_F(QuarantineKill, NoMessageIsLostAndNoEntryIsHalfThere) {
    installation_.rule(R"({ type = "quarantine", object = "held" })");
    send();
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(run(std::chrono::minutes(5)));
    const auto whole =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin);
    ASSERT_EQ(takeEntries(), kMessages);
    std::mt19937 random(20240229);
    std::uniform_int_distribution<std::int64_t> delay(whole.count() / 20, whole.count() / 5);
    std::size_t entries = 0;
    double patience = 1; // more on a machine that has become busier since
    for (int kill = 0; (kill < kKills || entries <= kEnough) && kill < 5 * kKills && !HasFailure(); ++kill) {
        SCOPED_TRACE("kill " + std::to_string(kill));
        if (waiting() < kMessages / 2) { // so that hardly a run comes to its end before
            send();
        }
        run(std::chrono::microseconds(
            static_cast<std::int64_t>(patience * static_cast<double>(delay(random)))));
        const std::size_t taken = takeEntries();
        patience *= taken < kEnough / kKills ? 1.5 : 1;
        entries += taken;
    }
    EXPECT_GT(entries, kEnough) << "it was killed too early to say anything";
    const std::size_t left = leftBehind(true);
    RecordProperty("Entries", std::to_string(entries));
    RecordProperty("LeftBehind", std::to_string(left));
    send();
    ASSERT_TRUE(run(std::chrono::minutes(5)));
    takeEntries();
    EXPECT_TRUE(fs::is_empty(installation_.dir().path("in"))) << "all were taken in the end";
    EXPECT_EQ(leftBehind(false), 0U) << "the start tidied " << left << " up before";
}

} // namespace
} // namespace quzo::test
