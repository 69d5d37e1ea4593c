// quzo apply with queues: what is stored, under what name, with what known of it, and what is told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/cli/installation.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string kMail = "From: a@a.example\r\nTo: b@b.example\r\nSubject: one\r\n\r\nbody\r\n";

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
        out.push_back(text.substr(at, end - at));
    }
    return out;
}

class Quarantine : public testing::Test {
protected:
    Quarantine() { installation_.dir().write("m.eml", kMail); }

    nlohmann::json applied(const ProgramRun& run) {
        EXPECT_EQ(lines(run.out).size(), 1U) << run.err;
        return nlohmann::json::parse(run.out);
    }

    Installation installation_{true};
};

TEST_F(Quarantine, KeepsTheMessageWithAllThatIsKnownOfIt) {
    installation_.rule(R"({ type = "quarantine", object = "held" })");
    const ProgramRun run = installation_.apply({"--json", "--token", "VIRUSNAME=Eicar", "m.eml"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "quzo: 1 waiting in the quarantine queue\n");
    const platform::QueueEntry entry = installation_.only("quarantine");
    const auto line = applied(run);
    EXPECT_EQ(line["outcome"], "consumed");
    EXPECT_EQ(line["queued"], (nlohmann::json{{{"queue", "quarantine"}, {"id", entry.id}}}));
    EXPECT_EQ(line["id"], entry.id);
    EXPECT_EQ(entry.sender, "a@a.example");
    EXPECT_THAT(entry.recipients, ElementsAre("b@b.example"));
    EXPECT_EQ(entry.subject, "one");
    EXPECT_EQ(entry.rule, 10U);
    EXPECT_EQ(entry.ruleName, "Ten");
    EXPECT_EQ(entry.area, "Held mail");
    EXPECT_EQ(entry.aging, 30U);
    EXPECT_EQ(entry.tokens.at(51), "Eicar");
    EXPECT_EQ(readFile(installation_.dir().path("m.eml")), kMail) << "the input is not ours to take";

    installation_.rule(R"({ type = "quarantine", object = "for ever" })");
    ASSERT_EQ(installation_.apply({"--json", "m.eml"}).exitCode, 0);
    EXPECT_EQ(installation_.queue({"expire", "quarantine"}).out, "quarantine: 0 entries removed\n");
}

TEST_F(Quarantine, FollowedByArchiveBothHappen) {
    installation_.rule(R"({ type = "quarantine", object = "held" },
        { type = "tag-subject", tag = "[%QUARANTINE_PATH%] ", signed = true },
        { type = "archive", object = "copies" }, { type = "delete" })");
    const ProgramRun run = installation_.apply({"--json", "-o", "out", "m.eml"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, HasSubstr("action delete: skipped, the message is gone already"));
    const std::string id = installation_.only("quarantine").id;
    const std::string path = installation_.spool() + "/quarantine/" + id[0] + "/" + id[1] + "/" + id + ".DF";
    EXPECT_EQ(readFile(path),
              "From: a@a.example\r\nTo: b@b.example\r\nSubject: one\r\nX-quzo-reprocess-rules: 10\r\n"
              "X-quzo-reprocess-type: quarantine\r\n\r\nbody\r\n");
    const auto copies = installation_.entries("archive");
    ASSERT_EQ(copies.size(), 1U);
    EXPECT_EQ(copies.begin()->first, id + "-1");
    EXPECT_EQ(installation_.only("archive").subject, "[" + path + "] one");
    EXPECT_THAT(copies.begin()->second, Not(HasSubstr("X-quzo")));
    EXPECT_EQ(installation_.only("archive").area, "Copies");
    EXPECT_THAT(installation_.dir().files("out"), IsEmpty());
    EXPECT_EQ(applied(run)["queued"].size(), 2U);
}

TEST_F(Quarantine, TwoArchiveRulesMakeTwoEntriesAndTheMessageGoesOn) {
    installation_.policy(R"(
[[rule]]
id = 1
name = "one"
when = { always = true }
actions = [{ type = "archive", object = "copies" }]
[[rule]]
id = 2
name = "two"
when = { always = true }
actions = [{ type = "archive", object = "audit" }]
)");
    const ProgramRun run = installation_.apply({"m.eml"});
    EXPECT_EQ(run.out, kMail);
    EXPECT_EQ(run.err, "quzo: 2 waiting in the archive queue\n");
    const auto copies = installation_.entries("archive");
    ASSERT_EQ(copies.size(), 2U);
    for (const auto& [id, message] : copies) {
        platform::QueueEntry entry;
        ASSERT_EQ(installation_.queues().find("archive")->read(id, entry), 0);
        const bool first = id.ends_with("-1");
        EXPECT_EQ(entry.rule, first ? 1U : 2U);
        EXPECT_EQ(entry.area, first ? "Copies" : "Audit");
        EXPECT_EQ(entry.aging.has_value(), first);
        EXPECT_EQ(message, kMail);
    }
}

TEST_F(Quarantine, ReaddressAndBlindCopiesChangeTheEnvelopeOnly) {
    installation_.rule(R"({ type = "bcc", to = ["copy@c.example"] })");
    ProgramRun run = installation_.apply({"--json", "-o", "out", "m.eml"});
    EXPECT_EQ(applied(run)["envelope"]["to"], (nlohmann::json{"b@b.example", "copy@c.example"}));
    EXPECT_EQ(installation_.dir().files("out").at("m.eml"), kMail);
    EXPECT_THAT(run.err, IsEmpty());
    // Without JSON nothing but a line can say so; a dry run reports it.
    const std::string said =
        "quzo: m.eml: its envelope was changed and is not in the message, from <a@a.example> to "
        "<b@b.example>, <copy@c.example>: ";
    EXPECT_THAT(installation_.apply({"m.eml"}).err, HasSubstr(said));
    EXPECT_THAT(installation_.apply({"-o", "out", "m.eml"}).err, HasSubstr(said));
    EXPECT_THAT(installation_.apply({"--dry-run", "m.eml"}).err, IsEmpty());

    installation_.rule(R"({ type = "bcc", to = ["copy@c.example"] },
                          { type = "readdress", to = ["new@d.example"] })");
    run = installation_.apply({"--json", "m.eml"});
    EXPECT_EQ(applied(run)["outcome"], "consumed");
    EXPECT_THAT(installation_.only("scan").recipients, ElementsAre("new@d.example", "copy@c.example"));
    // It passes the scanner again, whose second pass is told by the marks; on its way out they go.
    const std::string id = installation_.only("scan").id;
    EXPECT_THAT(installation_.entries("scan").at(id), HasSubstr("X-quzo-reprocess-rules: 10\r\n"));
    ASSERT_EQ(installation_.queue({"release", "scan", id}).exitCode, 0);
    EXPECT_EQ(installation_.entries("outgoing").begin()->second, kMail);
}

TEST_F(Quarantine, MarksThatNothingShowsAreSaid) {
    installation_.rule(R"({ type = "encrypt" })");
    EXPECT_THAT(
        installation_.apply({"m.eml"}).err,
        HasSubstr("quzo: m.eml: is marked encrypt and nothing shows it: set mark_header in [defaults]"));
    EXPECT_THAT(installation_.apply({"--json", "m.eml"}).err, IsEmpty());
    installation_.policy(
        "[defaults]\nmark_header = \"X-Marks\"\n[[rule]]\nid = 1\nname = \"E\"\n"
        "when = { always = true }\nactions = [{ type = \"encrypt\" }]\n");
    EXPECT_THAT(installation_.apply({"m.eml"}).err, IsEmpty());
}

TEST_F(Quarantine, ForgedMarksSkipNoRuleAndAreNotKept) {
    const std::string forged = "X-quzo-reprocess-rules: 10\r\nX-quzo-reprocess-type: quarantine\r\n";
    installation_.dir().write("m.eml", forged + kMail);
    installation_.rule(R"({ type = "quarantine", object = "held" }, { type = "archive", object = "audit" })");
    EXPECT_EQ(applied(installation_.apply({"--json", "m.eml"}))["outcome"], "consumed");
    const std::string id = installation_.only("quarantine").id;
    const std::string kept = installation_.entries("quarantine").at(id);
    EXPECT_EQ(kept.find("X-quzo-reprocess-rules: 10\r\n"), kept.rfind("X-quzo-reprocess-rules"));
    EXPECT_EQ(installation_.entries("archive").begin()->second, kMail);
    ASSERT_EQ(installation_.queue({"release", "quarantine", id}).exitCode, 0);
    EXPECT_EQ(installation_.entries("outgoing").begin()->second, kMail);
}

TEST_F(Quarantine, DryRunsStoreNothing) {
    installation_.rule(R"({ type = "quarantine", object = "held" }, { type = "archive", object = "audit" })");
    const ProgramRun run = installation_.apply({"--dry-run", "m.eml"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("  queue quarantine: "));
    EXPECT_THAT(run.out, HasSubstr("  queue archive: "));
    EXPECT_EQ(run.err,
              "quzo: 1 would wait in the archive queue\nquzo: 1 would wait in the quarantine queue\n");
    EXPECT_EQ(installation_.apply({"--diff", "m.eml"}).exitCode, 0);
    EXPECT_FALSE(fs::exists(installation_.spool()));
}

TEST_F(Quarantine, WhatCannotBeStoredStaysWithTheSender) {
    std::ofstream(installation_.spool()) << "a file is in the way";
    for (const char* action :
         {R"({ type = "quarantine", object = "held" })", R"({ type = "archive", object = "copies" })"}) {
        SCOPED_TRACE(action);
        installation_.rule(action);
        const ProgramRun run = installation_.apply({"--json", "-o", "out", "m.eml"});
        EXPECT_EQ(run.exitCode, 75);
        const auto line = applied(run);
        EXPECT_EQ(line["outcome"], "deferred");
        EXPECT_THAT(line["queued"], IsEmpty());
        EXPECT_THAT(run.err, AllOf(HasSubstr(" failed"), Not(HasSubstr("waiting in"))));
        EXPECT_THAT(installation_.dir().files("out"), IsEmpty());
    }
}

TEST_F(Quarantine, WhatGoesOnAfterAFailureBearsNoMark) {
    std::ofstream(installation_.spool()) << "a file is in the way";
    const std::string goesOn = R"({ type = "archive", object = "copies", on_failure = "continue" },
        { type = "quarantine", object = "held", on_failure = "continue" })";
    for (const std::string& mail : {kMail, std::string("Subject: no line end")}) {
        installation_.dir().write("m.eml", mail);
        installation_.rule(goesOn);
        const ProgramRun run = installation_.apply({"--json", "--to", "b@b.example", "-o", "out", "m.eml"});
        EXPECT_EQ(applied(run)["outcome"], "unchanged");
        EXPECT_EQ(installation_.dir().files("out").at("m.eml"), mail);
        installation_.rule(goesOn + R"(, { type = "x-header", name = "X-T", value = "1" })");
        EXPECT_THAT(installation_.apply({"--to", "b@b.example", "m.eml"}).out,
                    AllOf(HasSubstr("X-T: 1"), Not(HasSubstr("quzo-reprocess"))));
    }
}

// Everything that a sender may write and an administrator may say of an area.
TEST_F(Quarantine, HostileTextsTouchNothingElse) {
    const std::string evil[] = {"../../../../etc/passwd",
                                "/absolute/path",
                                "$(touch pwned); `touch pwned` | touch pwned",
                                "'; DROP TABLE quzo_object; --",
                                "\x1b[2J\x1b]0;title\a",
                                "\xE2\x80\xAEgnp.exe \xE2\x80\x8F\xE2\x81\xA6\xC2\x9B",
                                "..",
                                std::string(10000, 'x')};
    std::string rules;
    for (std::size_t at = 0; at < std::size(evil); ++at) {
        const std::string number = std::to_string(at + 1);
        installation_.addArea(true, "area " + number, 5, evil[at]);
        installation_.dir().write(
            "in/" + number + ".eml",
            "From: a@a.example\nTo: u" + number + "@b.example\nSubject: " + evil[at] + "\n\nbody\n");
        rules.append("[[rule]]\nid = ").append(number);
        rules.append("\nwhen = { recipient = \"u").append(number);
        rules.append("@b.example\" }\nactions = [{ type = \"quarantine\", object = \"area ");
        rules.append(number).append("\" }]\n");
    }
    installation_.policy(rules);
    const auto outside = [&] {
        auto files = installation_.dir().files("");
        std::erase_if(files, [](const auto& file) {
            return file.first == "log" || file.first.starts_with("objects.db");
        });
        return files;
    };
    const auto before = outside();
    const ProgramRun run = installation_.apply({"--json", "in"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(installation_.entries("quarantine").size(), std::size(evil));
    EXPECT_EQ(outside(), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(installation_.spool()), fs::directory_iterator()), 1);
    for (const char* json : {"", "--json"}) {
        std::vector<std::string> arguments = {"list", "quarantine"};
        if (*json != '\0') {
            arguments.emplace_back(json);
        }
        const ProgramRun list = installation_.queue(arguments);
        EXPECT_EQ(list.exitCode, 0) << list.err;
        EXPECT_EQ(lines(list.out).size(), std::size(evil) + (*json == '\0' ? 1 : 0));
        for (const char* raw : {"\x1b", "\a", "\xE2\x80\xAE", "\xE2\x80\x8F", "\xE2\x81\xA6", "\xC2\x9B"}) {
            EXPECT_THAT(list.out, Not(HasSubstr(raw)));
        }
    }
    EXPECT_EQ(installation_.queue({"release", "quarantine", "--all"}).exitCode, 0);
    EXPECT_EQ(installation_.entries("outgoing").size(), std::size(evil));
}

} // namespace
} // namespace quzo::test
