// quzo apply: what goes in, what comes out, where it lands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/cli/apply_fixture.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using Files = std::map<std::string, std::string>;

std::string mail(std::string_view to, std::string_view subject = "one") {
    return "From: a@a.example\nTo: " + std::string(to) + "\nSubject: " + std::string(subject) + "\n\nbody\n";
}

std::string taggedMail() { return "From: a@a.example\nTo: x@b.example\nSubject: [T] one\nX-T: 1\n\nbody\n"; }

class Apply : public ApplyFixture {};

TEST_F(Apply, IsAFilter) {
    const std::string odd = "From someone\nSubject: a\0b\r\nTo: x@c.example\r\n\r\nno end"s;
    EXPECT_EQ(apply({"-"}, {.input = odd}).out, odd);

    dir_.write("m.eml", mail("x@b.example"));
    const ProgramRun tagged = apply({"m.eml"});
    EXPECT_EQ(tagged.exitCode, 0);
    EXPECT_EQ(tagged.out, taggedMail());
    EXPECT_THAT(tagged.err, IsEmpty());

    const ProgramRun consumed = apply({"-"}, {.input = mail("x@gone.example")});
    EXPECT_EQ(consumed.exitCode, 0);
    EXPECT_THAT(consumed.out, IsEmpty());
    EXPECT_EQ(consumed.err, "quzo: -: consumed by rule 20 Gone (delete), nothing is delivered\n");
}

TEST_F(Apply, TakesTheEnvelopeFromTheCommandLine) {
    const std::string bytes = mail("x@b.example");
    EXPECT_EQ(apply({"--to", "y@c.example", "-"}, {.input = bytes}).out, bytes);
    EXPECT_EQ(
        apply({"--from", "", "--to", "y@c.example", "--to", "x@gone.example", "-"}, {.input = bytes}).out,
        "");
}

TEST_F(Apply, TellsTheLogOfEachMessageWhenAsked) {
    dir_.write("in/a\nid=x.eml", mail("x@b.example", "\x1B" + std::string(300, 'x')));
    dir_.write("in/b.eml", mail("x@gone.example"));
    dir_.write("in/c.eml", "");
    const auto run = [&](const char* form, std::vector<std::string> words) {
        dir_.write("q.ini", "[platform]\nlog = log\nlog_level = 0\nlog_messages = "s + form + "\n");
        dir_.write("log", "");
        words.insert(words.end(), {"-c", "q.ini", "in"});
        apply(words);
        return readFile(dir_.path("log"));
    };
    const std::string text = run("text", {"-j", "2", "-o", "out"});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3) << text;
    for (const char* part :
         {"file=\"in/a\\x0Aid=x.eml\" ",
          "rules=10 actions=tag-subject,x-header failed=\"\" outcome=modified ",
          "rules=20 actions=delete failed=\"\" outcome=consumed ", "outcome=failed error=\"is empty"}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
    const std::string json = run("json", {"-o", "out"});
    std::istringstream lines(json);
    std::vector<std::string> outcomes;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t at = line.find("] message: {");
        ASSERT_NE(at, std::string::npos) << line;
        outcomes.push_back(nlohmann::json::parse(line.substr(line.find('{', at)))["outcome"]);
    }
    EXPECT_THAT(outcomes, testing::ElementsAre("modified", "consumed", "failed"));
    EXPECT_EQ(run("off", {"-o", "out"}), "");
    EXPECT_EQ(run("json", {"--dry-run"}), "");
}

// Everything below a directory that is mail, and nothing else.
TEST_F(Apply, WalksDirectories) {
    dir_.write("in/b.eml", mail("x@c.example"));
    dir_.write("in/a/deep/a.eml", mail("x@b.example"));
    dir_.write("in/gone.eml", mail("x@gone.example"));
    dir_.write("in/Maildir/cur/1:2,S", mail("x@c.example"));
    dir_.write("in/Maildir/new/2", mail("x@c.example"));
    dir_.write("in/Maildir/tmp/3", mail("x@c.example"));
    dir_.write("in/notes.txt", "no mail\nhere: none\n");
    dir_.write("in/empty", "");
    dir_.write("elsewhere/c.eml", mail("x@c.example"));
    fs::create_symlink(dir_.path("elsewhere/c.eml"), dir_.path("in/link.eml"));
    fs::create_directory_symlink(dir_.path("elsewhere"), dir_.path("in/linkdir"));
    fs::create_directory_symlink("..", dir_.path("in/loop"));

    const ProgramRun run = apply({"-v", "-o", "out/new", "in"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err,
              "quzo: in/Maildir/tmp/3: is still being delivered: passed over\n"
              "quzo: in/empty: does not begin as mail does: passed over\n"
              "quzo: in/link.eml: is a link: passed over\n"
              "quzo: in/linkdir: is a link: passed over\n"
              "quzo: in/loop: is a link: passed over\n"
              "quzo: in/notes.txt: does not begin as mail does: passed over\n"
              "quzo: 5 messages: 3 unchanged, 1 modified, 1 consumed, 0 deferred, 0 failed\n"
              "quzo: 6 other files passed over\n");
    const Files expected = {{"a/deep/a.eml", taggedMail()},
                            {"b.eml", mail("x@c.example")},
                            {"Maildir/cur/1:2,S", mail("x@c.example")},
                            {"Maildir/new/2", mail("x@c.example")}};
    EXPECT_EQ(dir_.files("out/new"), expected);
}

// What the name or the place says is mail is taken for it, and what stands before a header is kept.
TEST_F(Apply, TakesNamesAndPlacesForMail) {
    const std::string two = "From a@x Mon Jan  1 00:00:00 2001\n" + mail("x@c.example") +
                            "\nFrom b@x Mon Jan  1 00:00:00 2001\n" + mail("x@c.example");
    const Files before = {{"mark.eml", "\xEF\xBB\xBF"},
                          {"BLANK.EML", "\n\n"},
                          {"quoted.eml", ">From x\n"},
                          {"all.msg", "\xEF\xBB\xBF\n>From x\n"},
                          {"Md/cur/1:2,S", "\n"}};
    for (const auto& [name, start] : before) {
        dir_.write("in/" + name, start + mail("x@b.example"));
    }
    dir_.write("in/Md/new/2", two);
    dir_.write("in/Md/cur/.state", "1");
    dir_.write("in/readme", "mail\n");

    const ProgramRun run = apply({"-o", "out", "in"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "quzo: 2 other files passed over: -v names them\n");
    Files expected = {{"Md/new/2", two}};
    for (const auto& [name, start] : before) {
        expected[name] = start + taggedMail();
    }
    EXPECT_EQ(dir_.files("out"), expected);

    EXPECT_EQ(apply({"-o", "part", "in/Md/new"}).exitCode, 0);
    EXPECT_EQ(dir_.files("part"), (Files{{"2", two}}));
    dir_.write("in/Md/new/3", "PK\x03\x04 no header\n");
    EXPECT_EQ(apply({"-o", "out", "in"}).exitCode,
              65); // nothing that is mail by its place is left out in silence
}

TEST_F(Apply, GivesOutputsTheModeOfTheirInputs) {
    for (const auto& [name, mode] :
         std::map<std::string, unsigned>{{"in/a.eml", 0600}, {"in/b.mbox", 0664}}) {
        dir_.write(name,
                   (name == "in/a.eml" ? "" : "From a@x Mon Jan  1 00:00:00 2001\n") + mail("x@c.example"));
        fs::permissions(dir_.path(name), fs::perms(mode));
    }
    EXPECT_EQ(apply({"-o", "out", "in"}).exitCode, 0);
    EXPECT_EQ(fs::status(dir_.path("out/a.eml")).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(dir_.path("out/b.mbox/000001.eml")).permissions(), fs::perms(0664));
}

TEST_F(Apply, PutsSeveralPathsBelowTheirLastComponent) {
    dir_.write("x/in/a.eml", mail("x@c.example"));
    dir_.write("y/single.eml", mail("x@b.example"));
    EXPECT_EQ(apply({"-o", "out", "x/in/", "y/single.eml"}).exitCode, 0);
    EXPECT_EQ(dir_.files("out"), (Files{{"in/a.eml", mail("x@c.example")}, {"single.eml", taggedMail()}}));

    // Again: the same names are replaced.
    dir_.write("x/in/a.eml", mail("x@c.example", "two"));
    EXPECT_EQ(apply({"--sync", "-o", "out", "x/in/", "y/single.eml"}).exitCode, 0);
    EXPECT_EQ(dir_.files("out")["in/a.eml"], mail("x@c.example", "two"));
}

struct MailboxCase {
    const char* what;
    std::string bytes;
    std::vector<std::string> messages; // empty: the file is one message
};

class Mailbox : public Apply, public testing::WithParamInterface<MailboxCase> {};

TEST_P(Mailbox, IsSplitAtItsSeparators) {
    dir_.write("in/box", GetParam().bytes);
    Files expected;
    for (std::size_t at = 0; at < GetParam().messages.size(); ++at) {
        expected["box/00000" + std::to_string(at + 1) + ".eml"] = GetParam().messages[at];
    }
    if (expected.empty()) {
        expected["box"] = GetParam().bytes;
    }
    EXPECT_EQ(apply({"-o", "out", "in"}).exitCode, 0);
    EXPECT_EQ(dir_.files("out"), expected);
}

const std::string kFrom = "From a@a.example Mon Jan  1 10:00:00 2024\n";
const std::string kFromCrlf = "From a@a.example Mon Jan  1 10:00:00 2024\r\n";
const std::string kLarge = "A: 1\n\n" + std::string(700'000, 'x') + "\n";

INSTANTIATE_TEST_SUITE_P(
    Forms, Mailbox,
    testing::Values(
        MailboxCase{
            "two", kFrom + "A: 1\n\none\n\n" + kFrom + "A: 2\n\ntwo\n\n", {"A: 1\n\none\n", "A: 2\n\ntwo\n"}},
        MailboxCase{"crlf",
                    kFromCrlf + "A: 1\r\n\r\none\r\n\r\n" + kFromCrlf + "A: 2\r\n\r\ntwo\r\n",
                    {"A: 1\r\n\r\none\r\n", "A: 2\r\n\r\ntwo\r\n"}},
        MailboxCase{"quoted lines stay, other lines are no separators",
                    kFrom + "A: 1\n\n>From me\nFrom b@b.example 10:00\nB: 1\n\nFrom here on:\nnothing\n\n" +
                        "From b@b.example\n>From c@c.example 10:00\nA: 2\n\nend",
                    {"A: 1\n\n>From me\nFrom b@b.example 10:00\nB: 1\n\nFrom here on:\nnothing\n",
                     ">From c@c.example 10:00\nA: 2\n\nend"}},
        MailboxCase{"blank lines of the message stay",
                    kFrom + "A: 1\n\none\n\n\n\n" + kFrom + "A: 2\n\n\n\n",
                    {"A: 1\n\none\n\n\n", "A: 2\n\n\n"}},
        MailboxCase{"larger than a chunk",
                    kFrom + kLarge + "\n" + kFrom + "A: 2\n\n" + kFrom + kLarge,
                    {kLarge, "A: 2\n", kLarge}},
        MailboxCase{"one message with its From line", kFrom + "A: 1\n\none\n\n", {}},
        MailboxCase{
            "a From line that separates nothing", "From the desk of\nA: 1\n\n" + kFrom + "A: 2\n", {}}),
    [](const auto& each) {
        std::string name = each.param.what;
        std::replace_if(
            name.begin(), name.end(), [](char c) { return c == ' ' || c == ','; }, '_');
        return name;
    });

TEST_F(Apply, TakesOneMessageFromAFileNamedMbox) {
    dir_.write("in/one.mbox", kFrom + "A: 1\n\none\n\n");
    apply({"-o", "out", "in"});
    EXPECT_EQ(dir_.files("out"), (Files{{"one.mbox/000001.eml", "A: 1\n\none\n"}}));
}

// What is larger than the limit waits, is refused, or passes as it is; the others go on.
TEST_F(Apply, KeepsToTheSizeLimit) {
    struct Case {
        const char* onLimit;
        int exitCode;
        std::vector<std::string> written;
    };
    const std::string large = mail("x@c.example", std::string(200, 's'));
    dir_.write("in/1.eml", large);
    dir_.write("in/2.eml", mail("x@c.example"));
    dir_.write("in/box", kFrom + large + "\n" + kFrom + mail("x@c.example"));
    const Case cases[] = {{"defer", 75, {"2.eml", "box/000002.eml"}},
                          {"refuse", 65, {"2.eml", "box/000002.eml"}},
                          {"pass", 0, {"1.eml", "2.eml", "box/000001.eml", "box/000002.eml"}}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.onLimit);
        dir_.write("q.ini",
                   std::string("[platform]\nlimit_message = 150\non_limit = ") + each.onLimit + "\n");
        const ProgramRun run = apply({"-c", "q.ini", "-o", each.onLimit, "in"});
        EXPECT_EQ(run.exitCode, each.exitCode) << run.err;
        std::vector<std::string> names;
        for (const auto& [name, bytes] : dir_.files(each.onLimit)) {
            names.push_back(name);
            EXPECT_EQ(bytes.size(), name.find('1') != std::string::npos ? large.size() : large.size() - 197);
        }
        EXPECT_EQ(names, each.written);
        EXPECT_EQ(
            run.err.find("quzo: in/1.eml: is larger than the limit of 150 bytes (limit_message): ") == 0,
            each.exitCode != 0);
    }
    EXPECT_EQ(apply({"-c", "q.ini", "-o", "x", "nowhere", "in"}).exitCode, 66);
    dir_.write("q.ini", "[platform]\nlimit_message = 150\n");
    EXPECT_EQ(apply({"-c", "q.ini", "-o", "y", "in"}).exitCode, 65);
    dir_.write("q.ini", "[platform]\nlimit_message = 150\non_limit = defer\n");
    EXPECT_EQ(apply({"-c", "q.ini", "-o", "z", "nowhere", "in"}).exitCode, 75);
}

TEST_F(Apply, SaysEachMessageAsJson) {
    dir_.write("in/1.eml", mail("x@b.example"));
    dir_.write("in/2\xff.eml", mail("x@gone.example"));
    dir_.write("in/3.eml", mail("y@c.example"));
    const ProgramRun run = apply({"--json", "-o", "out", "in", "missing"});
    EXPECT_EQ(run.exitCode, 66);
    std::vector<nlohmann::ordered_json> lines;
    std::istringstream stream(run.out);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(nlohmann::ordered_json::parse(line)); // refuses what is no UTF-8
    }
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_THAT(lines[0]["id"].get<std::string>(), testing::MatchesRegex("[0-9A-Z]+"));
    lines[0]["id"] = "ID";
    EXPECT_EQ(lines[0].dump(),
              R"({"file":"in/1.eml","id":"ID","outcome":"modified","output":"out/in/1.eml","error":null,)"
              R"("marks":[],"envelope":{"from":"a@a.example","to":["x@b.example"]},"queued":[],"rules":)"
              R"([{"id":10,"name":"Tag","actions":[{"type":"tag-subject","ok":true,"consumed":false},)"
              R"({"type":"x-header","ok":true,"consumed":false}]}]})");
    EXPECT_EQ(lines[1]["outcome"], "consumed");
    EXPECT_EQ(lines[1]["file"], "in/2\xEF\xBF\xBD.eml");
    EXPECT_EQ(lines[1]["output"], nullptr);
    EXPECT_EQ(lines[2]["outcome"], "unchanged");
    EXPECT_EQ(lines[2]["rules"], nlohmann::ordered_json::array());
    EXPECT_EQ(lines[3]["outcome"], "failed");
    EXPECT_THAT(lines[3]["error"]["text"].get<std::string>(), HasSubstr("No such file"));
}

TEST_F(Apply, DryRunsWriteNothing) {
    dir_.write("in/1.eml", mail("x@b.example"));
    dir_.write("in/2.eml", mail("x@gone.example"));
    const Files before = dir_.files("");
    const ProgramRun dry = apply({"--dry-run", "-o", "out", "in"});
    EXPECT_EQ(dry.out,
              "in/1.eml: modified\n  rule 10 Tag: tag-subject, x-header\n"
              "  envelope: <a@a.example> to <x@b.example>\n"
              "in/2.eml: consumed\n  rule 20 Gone: delete\n  envelope: <a@a.example> to <x@gone.example>\n");
    const ProgramRun diff = apply({"--diff", "in/1.eml"});
    EXPECT_THAT(diff.out,
                HasSubstr("--- in/1.eml\n+++ in/1.eml\n@@ -1,5 +1,6 @@\n From: a@a.example\n"
                          " To: x@b.example\n-Subject: one\n+Subject: [T] one\n+X-T: 1\n \n body\n"));
    EXPECT_EQ(dir_.files(""), before);
    EXPECT_FALSE(fs::exists(dir_.path("out")));
}

} // namespace
} // namespace quzo::test
