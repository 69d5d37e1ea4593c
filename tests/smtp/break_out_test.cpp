// Addresses and messages made to become more than they are, between a sender and its server.
#include <random>

#include "platform/mta/smtp/wire_message.h"
#include "tests/smtp/sender_fixture.h"

namespace quzo::platform::test {
namespace {

using Fate = RecipientAnswer::Fate;

// Addresses and messages made to break out: each command is one of ours, and the server gets the messages
// that were taken, one each, line for line.
TEST_F(Sender, NothingBreaksOutOfItsCommandOrItsMessage) {
    std::mt19937 random(11);
    const std::vector<std::string> pieces = {"a",
                                             "b@x",
                                             "\r\n",
                                             "\r",
                                             "\n",
                                             std::string(1, '\0'),
                                             " ",
                                             "<",
                                             ">",
                                             "\"",
                                             "@",
                                             "RSET",
                                             "\t",
                                             "\x7f",
                                             "\xc3\xa4",
                                             "\xff",
                                             "DATA",
                                             ">\r\nRCPT TO:<e@x",
                                             "\\",
                                             ",",
                                             "\r\n.\r\n",
                                             "QUIT",
                                             "\xe2\x80\xa8",
                                             "> SIZE=1",
                                             "postmaster",
                                             "[1.2.3.4]",
                                             "\x1b"};
    const std::vector<std::string> parts = {
        "\r\n.\r\n",           "\n.\n", "\r.\r", "\n.\r\n", "\r\n.\n", ".",       "..",
        "MAIL FROM:<e@x>\r\n", "\r\n",  "\r",    "\n",      "text",    "\r\n.\r", std::string("\0", 1)};
    const auto made = [&](const std::vector<std::string>& from, std::size_t most) {
        std::string text;
        for (std::size_t left = 1 + random() % most; left > 0; --left) {
            text += from[random() % from.size()];
        }
        return text;
    };
    server_.setExtensions({"PIPELINING", "SMTPUTF8"});
    SmtpSender sender(options_);
    std::vector<std::string> sent;
    for (int round = 0; round < 400; ++round) {
        const std::string message = made(parts, 12);
        SendJob wanted = job({made(pieces, 4), "good@x", made(pieces, 4)}, message);
        wanted.sender = random() % 4 == 0 ? made(pieces, 4) : "f@x";
        const SendResult result = sender.send(wanted);
        const bool senderUsed = fates(result) != "RRR";
        EXPECT_EQ(result.answers[1].fate, senderUsed ? Fate::Accepted : Fate::Refused);
        if (senderUsed) {
            WireEncoder encoder;
            std::string wire;
            encoder.add(message, wire);
            encoder.finish(wire);
            sent.push_back(wire);
        }
    }
    const std::vector<ServerMessage> messages = server_.messages();
    ASSERT_EQ(messages.size(), sent.size());
    EXPECT_GT(sent.size(), 300U);
    for (std::size_t i = 0; i < sent.size(); ++i) {
        WireEncoder encoder;
        std::string wire;
        encoder.add(messages[i].text, wire);
        encoder.finish(wire);
        EXPECT_EQ(wire, sent[i]);
        EXPECT_THAT(messages[i].recipients, testing::Contains("<good@x>"));
    }
    for (const std::string& line : server_.commands()) {
        EXPECT_THAT(line, testing::MatchesRegex("(EHLO gw.example.com|MAIL FROM:<[^<> ]*>( SMTPUTF8)?|"
                                                "RCPT TO:<[^<> ]*>|DATA|RSET|QUIT)\r\n"));
    }
}

} // namespace
} // namespace quzo::platform::test
