// One message through an installation, without a program around it.
#include "host/gateway/message_pipeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/gateway/installation.h"
#include "quzo/core/error_text.h"
#include "tests/cli/program.h"

namespace quzo::host::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kMessage = "From: a@a.example\nTo: b@b.example\nSubject: hello\n\nx\n";

class MessagePipelineTest : public ::testing::Test {
protected:
    MessagePipelineTest() {
        dir.write("quzo.ini", "[platform]\nstore = sqlite3://o.db\nspool = sp\nlimit_header = 1K\n");
        dir.write("p.toml", R"([defaults]
mark_header = "X-Marks"
[[rule]]
id = 1
when = { subject = "hello" }
actions = [{ type = "archive", object = "mail" }, { type = "tag-subject", tag = "[T]" }]
[[rule]]
id = 2
when = { always = true }
actions = [{ type = "encrypt" }]
)");
        Needs store{.iniFile = dir.path("quzo.ini"), .policyFile = {}};
        store.store = Needs::Store::Open;
        store.library = false;
        Installation first;
        EXPECT_TRUE(first.open(store));
        EXPECT_TRUE(first.store().add(0, platform::ObjectKind::ArchiveArea, "mail", "0:0::"));
        EXPECT_TRUE(installation.open({.iniFile = dir.path("quzo.ini"), .policyFile = dir.path("p.toml")}))
            << installation.findings().at(0).line();
    }

    MessageResult pass(MessageJob job) {
        return passMessage(*installation.snapshot(), installation.queues(), std::move(job));
    }

    static MessageJob jobOf(std::string bytes) {
        MessageJob job;
        job.bytes = std::move(bytes);
        return job;
    }

    static std::string textOf(const MessageResult& result) {
        std::string text;
        EXPECT_TRUE(result.write([&](std::string_view piece) {
            text += piece;
            return true;
        }));
        EXPECT_EQ(text.size(), result.size());
        return text;
    }

    quzo::test::TemporaryDirectory dir;
    Installation installation;
};

TEST_F(MessagePipelineTest, ADryRunTellsWhatTheRealOneDoes) {
    for (const bool dry : {true, false}) {
        MessageJob job = jobOf(kMessage);
        job.sender = "";
        job.recipients = {"c@c.example"};
        job.dryRun = dry;
        const MessageResult result = pass(std::move(job));
        EXPECT_EQ(result.scan.outcome, Outcome::Modified);
        EXPECT_EQ(textOf(result),
                  "From: a@a.example\nTo: b@b.example\nSubject: [T]hello\nX-Marks: encrypt\n\nx\n");
        EXPECT_EQ(result.envelope.sender, "");
        EXPECT_THAT(result.envelope.recipients, ElementsAre("c@c.example"));
        EXPECT_THAT(result.scan.marks, ElementsAre("encrypt"));
        EXPECT_THAT(result.scan.rules, SizeIs(2));
        ASSERT_THAT(result.queued, SizeIs(1));
        EXPECT_EQ(result.queued[0].queue, "archive");
        EXPECT_THAT(dir.files("sp"), SizeIs(dry ? 0 : 2));
    }
}

TEST_F(MessagePipelineTest, ASecondPassSkipsRulesAndTrustsItsMarks) {
    MessageJob job = jobOf(std::string("X-Marks: decrypt\n") + kMessage);
    job.skipRules = {1, 2};
    job.trustMarks = true;
    MessageResult result = pass(std::move(job));
    EXPECT_EQ(result.scan.outcome, Outcome::Unchanged);
    EXPECT_EQ(textOf(result), std::string("X-Marks: decrypt\n") + kMessage);
    EXPECT_EQ(result.envelope.sender, "a@a.example");
    EXPECT_THAT(result.envelope.recipients, ElementsAre("b@b.example"));

    job = jobOf(std::string("X-Marks: decrypt\n") + kMessage);
    job.skipRules = {1, 2};
    result = pass(std::move(job));
    EXPECT_EQ(textOf(result), kMessage) << "from outside it is believed by nobody";
}

TEST_F(MessagePipelineTest, WhatIsBeyondALimitIsSeenByNoRule) {
    const MessageResult result = pass(jobOf("X: " + std::string(2000, 'x') + "\n" + kMessage));
    EXPECT_EQ(result.scan.outcome, Outcome::Failed);
    ASSERT_TRUE(result.scan.error);
    EXPECT_EQ(result.scan.error->code, kErrorLimit);
    EXPECT_THAT(result.scan.rules, IsEmpty());
    EXPECT_THAT(dir.files("sp"), IsEmpty());
}

} // namespace
} // namespace quzo::host::test
