// quzo queue list and show: what people and programs see of entries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/cli/queue_fixture.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST_F(Queue, ListsATableForPeople) {
    EXPECT_THAT(installation_.queue({"list", "quarantine"}).out, IsEmpty());
    fillThree();
    fs::create_directories(installation_.spool() + "/quarantine/D/D");
    installation_.dir().write("spool/quarantine/D/D/DD.json", "{broken");
    const ProgramRun run = installation_.queue({"list", "quarantine"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(
        run.out,
        "ID                           AGE   SIZE SENDER                     SUBJECT                        "
        "    RULE AREA\n"
        "AA                           40d   4.9K a@a.example                Invoice 7                      "
        "      10 Suspicious\n"
        "BB                            2d     22 x@X.example                Lottery                        "
        "      20\n"
        "CC                            1m     14 <>                         invoice 8                      "
        "         Other\n"
        "DD                         cannot be read: what is known of it is damaged\n");
}

TEST_F(Queue, NoTextMakesALineOfItsOwn) {
    std::string stacked = "e";
    for (int i = 0; i < 500; ++i) {
        stacked += "\xCC\x81";
    }
    const std::string wide = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E";
    const std::string texts[] = {
        std::string("a\0b\nDD  1d  forged\r\n", 20), // NOLINT(bugprone-string-literal-with-embedded-nul)
        "\x1b[1;1H\x1b[2J\xC2\x9B\x7F",
        "\xE2\x80\xAE\xE2\x80\x8F\xE2\x81\xA7\xD8\x9C right to left \xE2\x80\xA8 line \xEF\xBB\xBF",
        std::string(10000, 'x'),
        std::string(10000, '\n'),
        wide + wide + wide + wide + wide,
        stacked,
        "\xFF\xFE\xC0\xAF\xED\xA0\x80",
    };
    int number = 0;
    for (const std::string& text : texts) {
        platform::QueueEntry entry = entryNamed("AA" + std::to_string(number++));
        entry.sender = entry.subject = entry.ruleName = entry.area = text;
        entry.recipients = {text};
        entry.rule = 4294967295U;
        installation_.fill("failed", entry, "x");
    }
    const std::string out = installation_.queue({"list", "failed"}).out;
    std::size_t lines = 0;
    for (std::size_t at = 0, end = 0; (end = out.find('\n', at)) != std::string::npos; at = end + 1) {
        ++lines;
        const std::string line = out.substr(at, end - at);
        EXPECT_LT(line.size(), 260U);
        for (const char c : line) {
            EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F) << line;
        }
        for (const char* hidden : {"\xE2\x80\xAE", "\xE2\x80\x8F", "\xE2\x81\xA7", "\xD8\x9C", "\xE2\x80\xA8",
                                   "\xEF\xBB\xBF", "\xC2\x9B", "\xFF"}) {
            EXPECT_THAT(line, Not(HasSubstr(hidden)));
        }
    }
    EXPECT_EQ(lines, std::size(texts) + 1);
    // All of what is shown of one entry: each text has one line, however long.
    for (int i = 0; i < number; ++i) {
        const std::string shown = installation_.queue({"show", "failed", "AA" + std::to_string(i)}).out;
        EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 13) << shown.substr(0, 300);
    }
}

TEST_F(Queue, ListsWhatTheConditionsLetThrough) {
    fillThree();
    struct Row {
        std::vector<std::string> conditions;
        const char* ids;
    };
    const Row rows[] = {
        {{}, "AABBCC"},
        {{"--sender", "*@x.example"}, "BB"},
        {{"--recipient", "c@*"}, "AABB"},
        {{"--subject", "*INVOICE*"}, "AACC"},
        {{"--subject", "invoice"}, ""},
        {{"--rule", "10"}, "AA"},
        {{"--rule", "prog*"}, "AA"},
        {{"--area", "other"}, "CC"},
        {{"--area", "3"}, "AA"},
        {{"--older-than", "2d"}, "AABB"},
        {{"--older-than", "1w"}, "AA"},
        {{"--younger-than", "12h"}, "CC"},
        {{"--younger-than", "49h", "--older-than", "5m"}, "BB"},
        {{"--larger-than", "21"}, "AABB"},
        {{"--larger-than", "22"}, "AA"},
        {{"--larger-than", "4K"}, "AA"},
        {{"--smaller-than", "22"}, "CC"},
        {{"--smaller-than", "23"}, "BBCC"},
        {{"--rule", "10", "--subject", "Lottery"}, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.conditions));
        EXPECT_EQ(listed(row.conditions), row.ids);
    }
    for (const auto& wrong : {std::vector<std::string>{"--older-than", "3"},
                              {"--older-than", "d"},
                              {"--older-than", "-1d"},
                              {"--younger-than", "0s"},
                              {"--larger-than", "x"},
                              {"--older-than", "99999999999w"},
                              {"--smaller-than", "0"},
                              {"--rule", "99999999999"}}) {
        std::vector<std::string> arguments = {"list", "quarantine"};
        arguments.insert(arguments.end(), wrong.begin(), wrong.end());
        const ProgramRun run = installation_.queue(arguments);
        EXPECT_EQ(run.exitCode, 64) << wrong[1];
        EXPECT_THAT(run.err, StartsWith("quzo: " + wrong[0] + ": '" + wrong[1] + "' is no "));
    }
}

TEST_F(Queue, ShowsReasonHeadersAndBytes) {
    platform::QueueEntry entry = entryNamed("AB12");
    entry.subject = "f\xC3\xBCr \x1b[31m you\xFF";
    entry.rule = 10;
    entry.ruleName = "Pro\ngrams";
    entry.areaId = 3;
    entry.area = "Suspicious";
    entry.aging = 30;
    entry.tokens[51] = "Eicar";
    const std::string header = "Subject: x\r\nX-Evil: \x1b[2J\r\n\tfolded\r\n";
    const std::string message = header + "\r\nSecret: body" + std::string(1, '\0') + "\xFF\r\n";
    installation_.fill("quarantine", entry, message, 3 * kDay);

    const std::string text = installation_.queue({"show", "quarantine", "AB12"}).out;
    for (const char* line :
         {"queue:       quarantine\n", "id:          AB12\n", "sender:      <a@a.example>\n",
          "recipient:   <b@b.example>\n", "recipient:   <c@c.example>\n", "rule:        10 Pro\\x0Agrams\n",
          "area:        3 Suspicious\n", "(3d ago)\n", "(after 30 days)\n", "%VIRUSNAME%: Eicar\n",
          "subject:     f\xC3\xBCr \\x1B[31m you\\xFF\n", "\n\nSubject: x\nX-Evil: \\x1B[2J\n    folded\n"}) {
        EXPECT_THAT(text, HasSubstr(line));
    }
    EXPECT_THAT(text, Not(HasSubstr("Secret")));

    const auto json =
        nlohmann::json::parse(installation_.queue({"show", "quarantine", "AB12", "--json"}).out);
    EXPECT_EQ(json["header"], header);
    EXPECT_EQ(json["subject"], "f\xC3\xBCr \x1b[31m you\xEF\xBF\xBD");
    EXPECT_EQ(json["rule"], (nlohmann::json{{"id", 10}, {"name", "Pro\ngrams"}}));
    EXPECT_EQ(json["aging"], 30);
    EXPECT_EQ(json["state"], "waiting");
    EXPECT_EQ(installation_.queue({"show", "quarantine", "AB12", "--raw"}).out, message);
}

TEST_F(Queue, SaysThatTheSpoolIsNotThere) {
    const ProgramRun run = installation_.queue({"list", "archive"});
    EXPECT_EQ(run.exitCode, 66);
    EXPECT_EQ(run.err.find("quzo: " + installation_.spool() + ": there is no such directory"), 0U) << run.err;
    fillThree();
    EXPECT_EQ(installation_.queue({"list", "archive"}).exitCode, 0); // of another queue: this one is empty
}

TEST_F(Queue, ShowsAHeaderHoweverItEnds) {
    const std::string longField = "X-Long: " + std::string(200000, 'y') + "\n"; // more than one piece
    const std::pair<std::string, std::string> rows[] = {
        {"A: 1\nB: 2\n\nbody: no\n", "A: 1\nB: 2\n"},
        {"A: 1\nB: 2", "A: 1\nB: 2\n"},
        {"\nbody: no\n", ""},
        {"", ""},
        {longField + "C: 3\r\n\r\nbody: no\n", longField + "C: 3\n"},
        {"A: 1\n" + std::string(65530, 'z') + "\n\nbody: no\n", "A: 1\n" + std::string(65530, 'z') + "\n"},
    };
    int number = 0;
    for (const auto& [message, header] : rows) {
        const std::string id = "AA" + std::to_string(number++);
        installation_.fill("failed", entryNamed(id), message);
        const std::string text = installation_.queue({"show", "failed", id}).out;
        EXPECT_EQ(text.substr(text.find("\n\n") + 2), header) << id;
    }
}

} // namespace
} // namespace quzo::test
