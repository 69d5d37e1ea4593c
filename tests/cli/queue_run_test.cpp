// quzo queue run, retry and status, and what list and show tell of what is on its way.
#include <gmock/gmock.h>

#include "tests/cli/queue_fixture.h"
#include "tests/smtp/fake_server.h"

namespace quzo::test {
namespace {

using platform::test::FakeServer;
using platform::test::ServerStep;
using testing::EndsWith;
using testing::HasSubstr;

class QueueRun : public Queue {
protected:
    void useServer(const std::string& more = {}) {
        installation_.dir().write("quzo.ini", "[platform]\nspool = " + installation_.spool() +
                                                  "\nnext_hop = smtp://127.0.0.1:" +
                                                  std::to_string(server_.port()) + "\ntls = off\n" + more);
    }

    nlohmann::json status(const char* queue) {
        const ProgramRun run = installation_.queue({"status", "--json"});
        EXPECT_EQ(run.exitCode, 0) << run.err;
        for (std::size_t at = 0, end = 0; (end = run.out.find('\n', at)) != std::string::npos; at = end + 1) {
            auto line = nlohmann::json::parse(run.out.substr(at, end - at));
            if (line["queue"] == queue) {
                return line;
            }
        }
        return {};
    }

    FakeServer server_;
};

TEST_F(QueueRun, AFateForEachAndAnExitCodeForAll) {
    useServer();
    server_.setScript([](const ServerStep& step) {
        return step.verb != "RCPT"                                ? std::string()
               : step.argument.find("no@") != std::string::npos   ? "550 5.1.1 \x1b[31mno such user"
               : step.argument.find("busy@") != std::string::npos ? "450 box busy"
                                                                  : "";
    });
    const auto put = [&](const char* id, std::vector<std::string> recipients) {
        platform::QueueEntry entry = entryNamed(id);
        entry.recipients = std::move(recipients);
        installation_.fill("outgoing", entry, "Subject: x\n\nx\n", 120);
    };
    put("AA", {"yes@x"});
    EXPECT_EQ(status("outgoing")["due"], 1);
    ProgramRun run = installation_.queue({"run", "outgoing"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "outgoing: 1 delivered, 0 to be tried again, 0 failed, 0 not due\n");

    put("BB", {"no@x"});
    run = installation_.queue({"run", "outgoing"});
    EXPECT_EQ(run.exitCode, 65);
    EXPECT_THAT(run.out, HasSubstr("outgoing/BB: has failed: 550 5.1.1 \\x1B[31mno such user\n"));
    EXPECT_THAT(installation_.queue({"list", "failed"}).out, HasSubstr("    1     - 550 5.1.1"));

    put("CC", {"busy@x", "yes@x", "no@x"});
    run = installation_.queue({"run", "outgoing"});
    EXPECT_EQ(run.exitCode, 75);
    const ProgramRun list = installation_.queue({"list", "outgoing"});
    EXPECT_THAT(list.out, HasSubstr("busy@x "));
    EXPECT_THAT(list.out, HasSubstr("450 box busy\n"));
    const ProgramRun shown = installation_.queue({"show", "outgoing", "CC"});
    for (const char* fact : {"attempts:    1\n", "reason:      450 box busy\n", "due:         2"}) {
        EXPECT_THAT(shown.out, HasSubstr(fact));
    }
    nlohmann::json outgoing = status("outgoing");
    EXPECT_EQ(outgoing["entries"], 1);
    EXPECT_EQ(outgoing["due"], 0);
    EXPECT_EQ(outgoing["bytes"], 14);
    EXPECT_GE(outgoing["oldest_age"], 120);
    EXPECT_TRUE(outgoing["next_due"].is_string());
    EXPECT_EQ(status("failed")["entries"], 2);

    // Nothing is due, until somebody says so.
    EXPECT_EQ(installation_.queue({"run", "outgoing"}).exitCode, 0);
    EXPECT_EQ(installation_.queue({"retry", "CC"}).out, "outgoing/CC: due\n");
    EXPECT_EQ(status("outgoing")["due"], 1);
    server_.setScript(nullptr);
    EXPECT_EQ(installation_.queue({"run", "outgoing"}).exitCode, 0);
    EXPECT_EQ(server_.messageCount(), 3U);
    EXPECT_EQ(status("outgoing")["entries"], 0);
}

TEST_F(QueueRun, ThePolicySeesWhatWaitsForItAndWhatGoesOnLeavesInTheSameRun) {
    useServer();
    installation_.rule(R"({ type = "tag-subject", tag = "[T]" })");
    installation_.fill("scan", entryNamed("AA"), "Subject: x\n\nx\n");
    EXPECT_EQ(installation_.queue({"run"}).exitCode, 64); // not without a policy
    const ProgramRun run = installation_.queue({"run", "-p", "p.toml"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    ASSERT_EQ(server_.messageCount(), 1U);
    EXPECT_THAT(server_.messages()[0].text, EndsWith(" +0000\r\nSubject: [T]x\r\n\r\nx\r\n"));
}

TEST_F(QueueRun, SaysWhatIsWrongWithTheQuestion) {
    struct Row {
        const char* settings;
        std::vector<std::string> arguments;
        int exitCode;
        const char* fault;
    };
    const Row rows[] = {
        {"", {"run", "quarantine"}, 64, "holds what people decide on"},
        {"", {"run", "nowhere"}, 64, "is no queue"},
        {"", {"retry", "failed", "AA"}, 64, "holds what people decide on"},
        {"", {"retry", "postponed"}, 64, "no entries are named"},
        {"", {"retry", "outgoing", "ZZ"}, 66, "no such entry"},
        {"next_hop = smtp://127.0.0.1 x\n", {"status"}, 78, "write the URL of a mail server"},
        {"next_hop = smtp://u:p@127.0.0.1\n", {"run", "outgoing"}, 78, "set tls = require"},
        {"", {"run", "outgoing"}, 78, "set next_hop in [platform]"},
        {"[runner]\nretry_first = 0s\n", {"status"}, 78, "write a time"},
    };
    installation_.fill("outgoing", entryNamed("AA"), "Subject: x\n\nx\n");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.fault);
        installation_.dir().write("quzo.ini",
                                  "[platform]\nspool = " + installation_.spool() + "\n" + row.settings);
        const ProgramRun run = installation_.queue(row.arguments);
        EXPECT_EQ(run.exitCode, row.exitCode);
        EXPECT_THAT(run.err, HasSubstr(row.fault));
    }
    EXPECT_EQ(ids("outgoing"), "AA");
}

} // namespace
} // namespace quzo::test
