// One message against a server that takes, refuses, hangs up, says nonsense or nothing.
#include "tests/smtp/sender_fixture.h"

namespace quzo::platform::test {
namespace {

using Fate = RecipientAnswer::Fate;
using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(Sender, TakesEachAnswerForWhatItIs) {
    struct Row {
        const char* name;
        const char* verb;
        const char* argument;
        std::string answer;
        const char* fates; // of a@x, b@x, c@x
        std::size_t messages;
        const char* reason; // of the last that was not accepted
    };
    const Row rows[] = {
        {"all taken", "-", "", "", "AAA", 1, ""},
        {"greeting refused", "GREET", "", "554 go away", "LLL", 0, "554 go away"},
        {"greeting busy", "GREET", "", "421 too busy", "LLL", 0, "421 too busy"},
        {"no greeting", "GREET", "", kDrop, "LLL", 0, "no connection"},
        {"greeting of another kind", "GREET", "", "SSH-2.0-x", "LLL", 0, "no connection"},
        {"hangs up at EHLO", "EHLO", "", kDrop, "LLL", 0, "no connection"},
        {"sender refused", "MAIL", "", "550 not you", "RRR", 0, "550 not you"},
        {"sender later", "MAIL", "", "451 greylisted", "LLL", 0, "451 greylisted"},
        {"closing at MAIL", "MAIL", "", "421 closing", "LLL", 0, "421 closing"},
        {"hangs up at MAIL", "MAIL", "", kDrop, "LLL", 0, "hung up"},
        {"nonsense at MAIL", "MAIL", "", "what?", "LLL", 0, "is none"},
        {"a number of the third hundred", "MAIL", "", "354 go on", "LLL", 0, "354 go on"},
        {"one refused", "RCPT", "b@x", "550-5.1.1 no\r\n550 such user", "ARA", 1, "550 5.1.1 no such user"},
        {"one later", "RCPT", "b@x", "450 box busy", "ALA", 1, "450 box busy"},
        {"too many recipients", "RCPT", "c@x", "552 too many", "AAL", 1, "552 too many"},
        {"all refused", "RCPT", "", "550 nobody", "RRR", 0, "550 nobody"},
        {"closing at a recipient", "RCPT", "b@x", "421 closing", "LLL", 0, "421 closing"},
        {"hangs up at a recipient", "RCPT", "b@x", kDrop, "LLL", 0, "hung up"},
        {"nonsense at a recipient", "RCPT", "b@x", kRaw + "\xff\r\n", "LLL", 0, "is none"},
        {"DATA refused", "DATA", "", "554 no", "RRR", 0, "554 no"},
        {"DATA later", "DATA", "", "451 no", "LLL", 0, "451 no"},
        {"DATA taken for another command", "DATA", "", "250 fine", "LLL", 0, "250 fine"},
        {"hangs up at DATA", "DATA", "", kDrop, "LLL", 0, "hung up"},
        {"answers before the message", "DATA", "", kRaw + "354 go\r\n250 thanks\r\n", "LLL", 0, "250 thanks"},
        {"message refused", "END", "", "554 spam", "RRR", 0, "554 spam"},
        {"message later", "END", "", "452 disk full", "LLL", 0, "452 disk full"},
        {"hangs up at the end", "END", "", kDrop, "LLL", 0, "is not known"},
        {"nonsense at the end", "END", "", "ok", "LLL", 0, "is not known"},
        {"hangs up in the message", "DATA", "", kDropInside, "LLL", 0, "connection was lost"},
    };
    for (const Row& row : rows) {
        for (const bool pipelining : {true, false}) {
            SCOPED_TRACE(std::string(row.name) + (pipelining ? ", pipelined" : ""));
            FakeServer server(answering(row.verb, row.argument, row.answer));
            server.setExtensions(pipelining ? std::vector<std::string>{"PIPELINING"}
                                            : std::vector<std::string>{});
            SmtpSender sender(options_);
            const std::string large(row.answer == kDropInside ? 20000000 : 0, 'x');
            SendJob wanted = job({"a@x", "b@x", "c@x"}, large.empty() ? kMessage : large);
            wanted.hop.port = server.port();
            const SendResult result = sender.send(wanted);
            EXPECT_EQ(fates(result), row.fates);
            EXPECT_EQ(server.messageCount(), row.messages);
            std::string reason;
            for (const RecipientAnswer& answer : result.answers) {
                reason = answer.fate == Fate::Accepted ? reason : answer.text;
            }
            EXPECT_THAT(reason, HasSubstr(row.reason));
        }
    }
}

TEST_F(Sender, AServerThatSaysNothingIsGivenUpInTime) {
    options_.timeout = std::chrono::seconds(1);
    for (const char* verb : {"GREET", "EHLO", "MAIL", "RCPT", "DATA", "END"}) {
        SCOPED_TRACE(verb);
        FakeServer server(answering(verb, "", kHang));
        SmtpSender sender(options_);
        SendJob wanted = job({"a@x"});
        wanted.hop.port = server.port();
        const SendResult result = sender.send(wanted);
        EXPECT_EQ(fates(result), "L");
        EXPECT_THAT(result.answers[0].text, testing::AnyOf(HasSubstr("in time"), HasSubstr("imeout")));
    }
}

// A server that refuses and goes on as if nothing was gets no message at all, not even an empty one.
TEST_F(Sender, NothingIsSentToNobody) {
    for (const char* refusing : {"MAIL", "RCPT"}) {
        SCOPED_TRACE(refusing);
        std::size_t ends = 0;
        FakeServer server([&](const ServerStep& step) {
            ends += step.verb == "END" ? 1 : 0;
            return step.verb == refusing ? std::string("550 no")
                   : step.verb == "RCPT" ? std::string("250 fine")
                   : step.verb == "DATA" ? std::string("354 go on")
                                         : std::string();
        });
        SmtpSender sender(options_);
        SendJob wanted = job({"a@x"});
        wanted.hop.port = server.port();
        EXPECT_EQ(fates(sender.send(wanted)), "R");
        server.setScript(nullptr);
        EXPECT_EQ(fates(sender.send(wanted)), "A");
        EXPECT_EQ(ends, 0U);
        EXPECT_EQ(server.messages().at(0).text, kMessage);
    }
}

TEST_F(Sender, OneConnectionServesManyAndFollowsTheServer) {
    SmtpSender sender(options_);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(fates(sender.send(job({"a@x"}))), "A");
    }
    EXPECT_EQ(server_.connections(), 1);

    // What is refused leaves no trace for the next one.
    server_.setScript(answering("RCPT", "bad", "550 no"));
    EXPECT_EQ(fates(sender.send(job({"bad@x"}))), "R");
    server_.setScript(answering("END", "", "554 spam"));
    EXPECT_EQ(fates(sender.send(job({"a@x"}))), "R");
    server_.setScript(answering("DATA", "", "451 later"));
    EXPECT_EQ(fates(sender.send(job({"a@x"}))), "L");
    server_.setScript(nullptr);
    EXPECT_EQ(fates(sender.send(job({"a@x"}))), "A");
    EXPECT_EQ(server_.connections(), 1);
    EXPECT_THAT(server_.messages().back().recipients, ElementsAre("<a@x>"));

    // A server that closes a connection that was kept gets a new one, and each message once.
    for (const std::string& end : {kDrop, std::string("421 closing")}) {
        const int before = server_.connections();
        server_.setScript([&](const ServerStep& step) {
            return step.verb == "MAIL" && step.connection == before ? end : std::string();
        });
        const std::size_t messages = server_.messageCount();
        EXPECT_EQ(fates(sender.send(job({"a@x"}))), "A");
        EXPECT_EQ(server_.connections(), before + 1);
        EXPECT_EQ(server_.messageCount(), messages + 1);
    }
    const FakeServer other;
    SendJob wanted = job({"a@x"});
    wanted.hop.port = other.port();
    EXPECT_EQ(fates(sender.send(wanted)), "A");
    EXPECT_EQ(other.messageCount(), 1U);
}

TEST_F(Sender, SaysWhatTheServerCanAndTheMessageNeeds) {
    const std::string eightBit = "Subject: x\n\n\xe4\n";
    struct Row {
        std::vector<std::string> extensions;
        std::string sender;
        std::vector<std::string> recipients;
        std::string message;
        std::string mail; // behind MAIL; empty: nothing is sent
        const char* fates;
    };
    const Row rows[] = {
        {{}, "f@x", {"a@x"}, eightBit, "FROM:<f@x>", "A"},
        {{}, "", {"a@x"}, "x", "FROM:<>", "A"},
        {{"8BITMIME"}, "f@x", {"a@x"}, "x", "FROM:<f@x>", "A"},
        {{"8bitmime", "SIZE"}, "f@x", {"a@x"}, eightBit, "FROM:<f@x> SIZE=17 BODY=8BITMIME", "A"},
        {{"SMTPUTF8"}, "f@x", {"a@x"}, "x", "FROM:<f@x>", "A"},
        {{"SMTPUTF8"}, "f@x", {"\xc3\xa4@x"}, "x", "FROM:<f@x> SMTPUTF8", "A"},
        {{}, "f@x", {"a@x", "\xc3\xa4@x"}, "x", "FROM:<f@x>", "AR"},
        {{}, "\xc3\xa4@x", {"a@x"}, "x", "", "R"},
        {{"SIZE 10"}, "f@x", {"a@x"}, "12345678\n", "FROM:<f@x> SIZE=10", "A"},
        {{"SIZE 10"}, "f@x", {"a@x"}, "123456789\n", "", "R"},
        {{"SIZE 99999999999999999999"}, "f@x", {"a@x"}, "x", "FROM:<f@x> SIZE=3", "A"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sender + " " + row.mail);
        FakeServer server;
        server.setExtensions(row.extensions);
        SmtpSender sender(options_);
        SendJob wanted = job(row.recipients, row.message);
        wanted.hop.port = server.port();
        wanted.sender = row.sender;
        EXPECT_EQ(fates(sender.send(wanted)), row.fates);
        std::string mail;
        for (const std::string& line : server.commands()) {
            mail = line.starts_with("MAIL ") ? line.substr(5, line.size() - 7) : mail;
        }
        EXPECT_EQ(mail, row.mail);
    }
}

TEST_F(Sender, NoServerIsNoAnswer) {
    std::uint16_t port = 0;
    {
        const FakeServer gone;
        port = gone.port();
    }
    SmtpSender sender(options_);
    SendJob wanted = job({"a@x"});
    wanted.hop.port = port;
    SendResult result = sender.send(wanted);
    EXPECT_EQ(fates(result), "L");
    EXPECT_TRUE(result.unreachable);
    wanted.hop.host = "evil\r\nRSET";
    result = sender.send(wanted);
    EXPECT_EQ(fates(result), "R");
    EXPECT_FALSE(result.unreachable);
}

// A message that cannot be read to its end is not ended for the server either.
TEST_F(Sender, HalfAMessageIsNone) {
    SmtpSender sender(options_);
    SendJob wanted = job({"a@x"});
    int calls = 0;
    wanted.message = [&](const std::function<bool(std::string_view)>& sink) {
        return sink("Subject: x\r\n\r\nhalf\r\n") && ++calls == 1;
    };
    EXPECT_EQ(fates(sender.send(wanted)), "L");
    EXPECT_EQ(fates(sender.send(job({"b@x"}))), "A");
    ASSERT_EQ(server_.messageCount(), 1U);
    EXPECT_EQ(server_.messages()[0].text, kMessage);
}

} // namespace
} // namespace quzo::platform::test
