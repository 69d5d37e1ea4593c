// quzo filter: what it passes on, both ways, what it tells, and what an action took.
#include "tests/cli/filter_fixture.h"

namespace quzo::test {
namespace {

TEST_F(Filter, PassesOnWhatThePolicyMadeOfMessageAndEnvelope) {
    const std::string tagged = replaced(kMail, "Subject: x", "Subject: [T]x");
    const struct {
        std::string actions;
        std::string sender;
        Words recipients;
        std::string expected;
        Words added = {};
    } rows[] = {
        {R"({ type = "decrypt" })", "a@a.example", {"b@b.example"}, kMail},
        {kTag, "a@a.example", {"b@b.example", "c@c.example"}, tagged},
        {R"({ type = "bcc", to = ["boss@x"] })", "a@a", {"b@b"}, kMail, {"boss@x"}},
        {kTag, "", {"b@b"}, tagged},
        {kTag, "<>", {"b@b"}, tagged},
        {kTag, "-f", {"-oQ/tmp@x", "--help", "--", "[a,b]", "%%", "\"a b\"@x", "g\xc3\xbcnter@x"}, tagged},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.actions + row.sender);
        installation_.rule(row.actions);
        const std::string sender = row.sender == "<>" ? "" : row.sender;
        Words envelope = {"-f", row.sender, "--"};
        envelope.insert(envelope.end(), row.recipients.begin(), row.recipients.end());
        Words recipients = row.recipients;
        recipients.insert(recipients.end(), row.added.begin(), row.added.end());

        for (const char* lineEnd : {"\n", "\r\n"}) {
            const std::string mail = replaced(kMail, "\n", lineEnd);
            ProgramRun run = filter(envelope, mail);
            EXPECT_EQ(run.exitCode, 0);
            EXPECT_THAT(run.err, IsEmpty());
            const platform::QueueEntry entry = installation_.only("outgoing");
            EXPECT_EQ(entry.sender, sender);
            EXPECT_EQ(entry.recipients, recipients);
            EXPECT_EQ(entry.subject, row.expected == tagged ? "[T]x" : "x");
            EXPECT_EQ(installation_.entries("outgoing").begin()->second,
                      replaced(row.expected, "\n", lineEnd));
            fs::remove_all(installation_.spool());

            run = toSendmail(envelope, mail);
            EXPECT_EQ(run.exitCode, 0);
            EXPECT_THAT(run.err, IsEmpty());
            std::string argv = "-G\n-i\n-f\n" + sender + "\n--\n";
            for (const std::string& recipient : recipients) {
                argv += recipient + "\n";
            }
            EXPECT_EQ(made("argv"), argv);
            EXPECT_EQ(made("stdin"), row.expected);
            EXPECT_EQ(stored(), 0U);
        }
    }
}

TEST_F(Filter, TellsTheLogOfTheMessageAndWhereItIs) {
    installation_.dir().write("log.ini", "[platform]\nspool = spool\nlog = log\nlog_messages = text\n");
    installation_.rule(kTag);
    const auto line = [&] {
        std::string text = made("log");
        fs::remove(installation_.dir().path("log"));
        return text.substr(text.find("message: "));
    };
    const Words envelope = {"-f", "a@a", "--", "b@b"};
    EXPECT_EQ(filter(envelope, kMail, {"-c", "log.ini"}).exitCode, 0);
    EXPECT_THAT(line(), testing::ContainsRegex("from=a@a to=b@b .*outcome=modified error=\"\" ms="));
    installation_.dir().write("how", "exit 1");
    EXPECT_EQ(filter(envelope, kMail, {"-c", "log.ini", "--sendmail", "./sendmail"}).exitCode, 75);
    EXPECT_THAT(line(), testing::ContainsRegex("outcome=modified error=\"ended with 1: 5.1.1"));
}

TEST_F(Filter, WhatAnActionTookIsTaken) {
    const struct {
        const char* actions;
        const char* queue; // null: it is gone
    } rows[] = {
        {R"({ type = "delete" })", nullptr},
        {R"({ type = "quarantine", object = "held" })", "quarantine"},
        {R"({ type = "readdress", to = ["boss@x"] })", "scan"},
        {R"({ type = "handoff", host = "mx.example", port = 25 })", "outgoing"},
        {R"({ type = "postpone", at = "00:00" })", "postponed"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.actions);
        installation_.rule(row.actions);
        for (const bool sendmail : {false, true}) {
            const Words envelope = {"-f", "a@a", "--", "b@b"};
            const ProgramRun run = sendmail ? toSendmail(envelope, kMail) : filter(envelope, kMail);
            EXPECT_EQ(run.exitCode, 0);
            EXPECT_THAT(run.err, IsEmpty());
            EXPECT_EQ(stored(), row.queue == nullptr ? 0U : 2U);
            if (row.queue != nullptr) {
                EXPECT_EQ(installation_.only(row.queue).sender, "a@a");
            }
            EXPECT_FALSE(fs::exists(installation_.dir().path("argv")));
            fs::remove_all(installation_.spool());
        }
    }
}

} // namespace
} // namespace quzo::test
