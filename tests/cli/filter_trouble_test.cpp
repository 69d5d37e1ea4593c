// quzo filter when something goes wrong: no trouble of ours ends with anything but 75, and a message is there
// once.
#include <random>

#include "tests/cli/filter_fixture.h"

namespace quzo::test {
namespace {

TEST_F(Filter, EveryTroubleOfOursIsTriedAgain) {
    const Words good = {"-f", "a@a", "--", "b@b"};
    const std::string big = std::string(kMail) + "\n" + std::string(1 << 20, 'x');
    struct Row {
        const char* fault;
        std::string settings = {};
        std::string spool = "spool";
        std::string log = "log";
        std::string store = "objects.db";
        std::string policy = {};
        Words words = {"-f", "a@a", "--", "b@b"};
        std::string mail = kMail;
        Words options = {};
        Surroundings surroundings = {};
        int exitCode = 75;
        int lines = 1;
    };
    const Row rows[] = {
        {.fault = "the file cannot be read", .options = {"-c", "no.ini"}},
        {.fault = "write a number of bytes", .settings = "limit_message = many\n"},
        {.fault = "no.toml", .options = {"-p", "no.toml"}},
        {.fault = "p.toml:1", .policy = "[[rule"},
        {.fault = "is no database",
         .store = "quzo.ini",
         .policy = "[[rule]]\nid = 1\nwhen = { always = true }\n"
                   "actions = [{ type = \"quarantine\", object = \"held\" }]\n"},
        {.fault = "no directory for the queues", .options = {"-c", "bare.ini"}},
        {.fault = "the log no/log cannot be opened", .log = "no/log"},
        {.fault = "does not take the message", .spool = "quzo.ini", .lines = 2},
        {.fault = "does not take the message", .mail = big, .surroundings = {.maxFileBytes = 1 << 19}},
        {.fault = "cannot be given the message",
         .mail = big,
         .options = {"--sendmail", "./sendmail"},
         .surroundings = {.maxFileBytes = 1 << 19}},
        {.fault = "enough memory",
         .mail = std::string(kMail) + std::string(100 << 20, 'x'),
         .surroundings = {.maxMemory = 200 << 20}},
        {.fault = "is required", .words = {"--", "b@b"}},
        {.fault = "there are no recipients", .words = {"-f", "a@a"}},
        {.fault = "not expected", .words = {"-f", "a@a", "b@b"}},
        {.fault = "not expected", .words = {"-f", "a@a", "-h@x"}},
        {.fault = "not expected", .words = {"--bogus", "-f", "a@a", "--", "b@b"}},
        {.fault = "stands alone", .words = {"--help", "-f", "a@a", "--", "b@b"}},
        {.fault = "is no address", .words = {"-f", "a b@a", "--", "b@b"}},
        {.fault = "is no address", .words = {"-f", "a@a", "--", "b@b\nRCPT TO:<c@c>"}},
        {.fault = "is no address", .words = {"-f", "a@a", "--", "b@b", ""}},
        {.fault = "is empty", .mail = ""},
        {.fault = "is empty", .settings = "on_limit = refuse\n", .mail = ""},
        {.fault = "line 'From '", .mail = std::string("From a@a Thu Jan  1 00:00:00 1970\n") + kMail},
        {.fault = "limit of 20 bytes", .settings = "limit_message = 20\non_limit = defer\n"},
        {.fault = "limit of 20 bytes", .settings = "limit_message = 20\n", .exitCode = 65},
        {.fault = "limit_nesting",
         .settings = "limit_nesting = 1\non_limit = refuse\n",
         .policy = "[[rule]]\nid = 1\nwhen = { body = 'x' }\nactions = [{ type = \"delete\" }]\n",
         .mail = "Content-Type: message/rfc822\n\nContent-Type: message/rfc822\n\nSubject: y\n\ny\n",
         .exitCode = 65},
        {.fault = "header field", .settings = "on_limit = defer\n", .mail = "\x1f\x8b no mail"},
        {.fault = "header field", .mail = "\x1f\x8b no mail", .exitCode = 65},
        {.fault = "./no: cannot be run", .options = {"--sendmail", "./no"}},
        {.fault = "./quzo.ini: cannot be run", .options = {"--sendmail", "./quzo.ini"}},
    };
    installation_.dir().write("bare.ini", "[platform]\nlog = log\n");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.fault);
#ifdef __SANITIZE_ADDRESS__ // which needs all of the address space
        if (row.surroundings.maxMemory != 0) {
            continue;
        }
#endif
        installation_.dir().write("quzo.ini", "[platform]\nspool = " + row.spool + "\nlog = " + row.log +
                                                  "\nstore = sqlite3://" + row.store + "\n" + row.settings);
        installation_.rule(kTag);
        if (!row.policy.empty()) {
            installation_.policy(row.policy);
        }
        const ProgramRun run = filter(row.words, row.mail, row.options, row.surroundings);
        EXPECT_EQ(run.exitCode, row.exitCode);
        EXPECT_THAT(run.err, HasSubstr(row.fault));
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), row.lines) << run.err;
        EXPECT_THAT(run.err, testing::StartsWith("quzo: "));
        EXPECT_THAT(installation_.dir().files("spool"), IsEmpty());
        EXPECT_FALSE(fs::exists(installation_.dir().path("argv")));
    }
    for (const Words& words : {Words{"-x", "filter"},
                               {"--version", "filter"},
                               {"-c", "quzo.ini", "filter"},
                               {"filter", "--help", "--", "b@b"}}) {
        EXPECT_EQ(installation_.dir().quzo(words).exitCode, 75) << words[0];
    }
    installation_.dir().write("quzo.ini", "[platform]\nspool = spool\nlimit_message = 20\non_limit = pass\n");
    EXPECT_EQ(filter(good, kMail).exitCode, 0);
}

TEST_F(Filter, SendmailIsNotBelievedUnlessItEndsWell) {
    installation_.rule(std::string(R"({ type = "archive", object = "copies" }, )") + kTag);
    Words hows = {"kill -TERM $$", "kill -KILL $$", "kill -SEGV $$"};
    for (int code : {1, 2, 127, 255, 64, 65, 66, 67, 68, 69, 70, 71, 72, 73, 74, 75, 76, 77, 78}) {
        hows.push_back("exit " + std::to_string(code));
    }
    for (const std::string& how : hows) {
        SCOPED_TRACE(how);
        installation_.dir().write("how", how);
        const ProgramRun run = toSendmail({"-f", "a@a", "--", "b@b"}, kMail);
        EXPECT_EQ(run.exitCode, 75);
        // Never at the beginning, where a mail server would take it for an answer.
        EXPECT_THAT(run.err, testing::MatchesRegex("quzo: ./sendmail: .*: 5.1.1 no such user: [^\n]*\n"));
        // However often it is tried, there is one copy.
        EXPECT_EQ(installation_.entries("archive").size(), 1U);
    }
}

TEST_F(Filter, ASecondAttemptFindsWhatTheFirstHasStored) {
    const Words envelope = {"-f", "a@a", "--", "b@b"};
    const auto attempts = [&](const char* queue, const std::string& mail) {
        for (int i = 0; i < 2; ++i) {
            const ProgramRun run = filter(envelope, mail);
            EXPECT_EQ(run.exitCode, 0) << run.err;
        }
        const std::size_t count = installation_.entries(queue).size();
        fs::remove_all(installation_.spool());
        return count;
    };
    installation_.rule(R"({ type = "quarantine", object = "held" })");
    EXPECT_EQ(attempts("quarantine", kMail), 1U);
    installation_.rule(kTag);
    EXPECT_EQ(attempts("outgoing", kMail), 1U);
    // Nothing tells two of these apart from one that comes again.
    EXPECT_EQ(attempts("outgoing", "Subject: x\n\nx\n"), 2U);

    // Others, and others' copies of it, are messages of their own.
    EXPECT_EQ(filter(envelope, kMail).exitCode, 0);
    EXPECT_EQ(filter({"-f", "a@a", "--", "c@c"}, kMail).exitCode, 0);
    EXPECT_EQ(filter({"-f", "", "--", "b@b"}, kMail).exitCode, 0);
    EXPECT_EQ(filter(envelope, std::string(kMail) + "x").exitCode, 0);
    EXPECT_EQ(installation_.entries("outgoing").size(), 4U);
}

TEST_F(Filter, KilledAtAnyMomentTheMessageIsThereOnce) {
    installation_.rule(kTag);
    const Words envelope = {"-f", "a@a", "--", "b@b"};
    const std::string expected = replaced(kMail, "Subject: x", "Subject: [T]x");
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same each time
    int killed = 0;
    for (int message = 0; message < 8; ++message) {
        for (int attempt = 0; attempt < 12; ++attempt) {
            const unsigned when = std::uniform_int_distribution<unsigned>(1000, 60000)(random);
            const ProgramRun run = filter(envelope, kMail, {}, {.killAfter = when});
            EXPECT_TRUE(run.exitCode == 0 || run.exitCode == 128 + SIGKILL) << run.exitCode << run.err;
            killed += run.exitCode != 0 ? 1 : 0;
        }
        EXPECT_EQ(filter(envelope, kMail).exitCode, 0);
        EXPECT_THAT(installation_.entries("outgoing"), ElementsAre(testing::Pair(testing::_, expected)));
        fs::remove_all(installation_.spool());
    }
    EXPECT_GT(killed, 0);

    // The worst moment: the message has its name, and what is known of it has not.
    EXPECT_EQ(filter(envelope, kMail).exitCode, 0);
    for (const auto& [name, content] : installation_.dir().files("spool")) {
        if (name.ends_with(".json")) {
            fs::remove(installation_.dir().path("spool/" + name));
        }
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        const ProgramRun run = filter(envelope, kMail);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(installation_.only("outgoing").recipients, Words{"b@b"});
    }
}

} // namespace
} // namespace quzo::test
