// What goes over the wire and what comes back, taken by itself.
#include <gtest/gtest.h>

#include <random>

#include "platform/base/next_hop.h"
#include "platform/mta/smtp/reply_reader.h"
#include "platform/mta/smtp/wire_message.h"

namespace quzo::platform::test {
namespace {

std::string encoded(std::string_view message, std::size_t piece) {
    WireEncoder encoder;
    std::string out;
    for (std::size_t at = 0; at < message.size(); at += piece) {
        encoder.add(message.substr(at, piece), out);
    }
    encoder.finish(out);
    return out;
}

TEST(WireMessage, EveryLineEndIsOneAndDotsAreDoubled) {
    const std::pair<std::string, std::string> rows[] = {
        {"", ".\r\n"},
        {"a", "a\r\n.\r\n"},
        {"a\n", "a\r\n.\r\n"},
        {"a\r", "a\r\n.\r\n"},
        {"a\r\n", "a\r\n.\r\n"},
        {"a\r\rb\n\nc\n\rd", "a\r\n\r\nb\r\n\r\nc\r\n\r\nd\r\n.\r\n"},
        {"a\r\r\nb", "a\r\n\r\nb\r\n.\r\n"},
        {".", "..\r\n.\r\n"},
        {"a\n.\nb", "a\r\n..\r\nb\r\n.\r\n"},
        {"a\r.\rMAIL", "a\r\n..\r\nMAIL\r\n.\r\n"},
        {"a\n.\r\nb", "a\r\n..\r\nb\r\n.\r\n"},
        {"a\r\n.\nb", "a\r\n..\r\nb\r\n.\r\n"},
        {"a\r\n..b.\r\n", "a\r\n...b.\r\n.\r\n"},
        {std::string("a\0.\n\xff", 5), std::string("a\0.\r\n\xff\r\n.\r\n", 11)},
    };
    for (const auto& [message, wire] : rows) {
        for (const std::size_t piece : {1U, 2U, 3U, 100U}) {
            EXPECT_EQ(encoded(message, piece), wire) << testing::PrintToString(message) << " by " << piece;
        }
    }
}

// Of random messages: a server that takes dots back gets the lines that were stored, whatever the pieces, no
// line end stands alone, the end stands at the end only, and the size that was promised is kept.
TEST(WireMessage, RandomMessagesEndWhereTheyEnd) {
    std::mt19937 random(7);
    const std::string bytes = "\r\n..aM\xe4";
    for (int round = 0; round < 3000; ++round) {
        std::string message;
        for (std::size_t left = random() % 40; left > 0; --left) {
            message.push_back(bytes[random() % bytes.size()]);
        }
        SCOPED_TRACE(testing::PrintToString(message));
        const std::string wire = encoded(message, 1 + random() % 7);
        std::string lines;
        for (std::size_t i = 0; i < message.size(); ++i) {
            if (message[i] == '\r' || message[i] == '\n') {
                i += message[i] == '\r' && i + 1 < message.size() && message[i + 1] == '\n' ? 1 : 0;
                lines += "\r\n";
            } else {
                lines += message[i];
            }
        }
        lines += lines.empty() || lines.ends_with('\n') ? "" : "\r\n";
        std::string received;
        std::size_t at = 0;
        for (std::size_t end = 0; (end = wire.find("\r\n", at)) != std::string::npos; at = end + 2) {
            const std::string line = wire.substr(at, end - at);
            ASSERT_EQ(line.find_first_of("\r\n"), std::string::npos);
            if (line == ".") {
                ASSERT_EQ(end + 2, wire.size());
                break;
            }
            received += (line.starts_with('.') ? line.substr(1) : line) + "\r\n";
        }
        EXPECT_EQ(received, lines);
        WireFacts facts;
        const std::size_t cut = random() % (message.size() + 1);
        ASSERT_TRUE(measureMessage(
            [&](const auto& sink) { return sink(message.substr(0, cut)) && sink(message.substr(cut)); },
            facts));
        EXPECT_EQ(facts.size, lines.size());
        EXPECT_EQ(facts.eightBit, message.find('\xe4') != std::string::npos);
    }
}

TEST(ReplyReader, TellsRepliesFromWhatIsNone) {
    using State = ReplyReader::State;
    struct Row {
        std::string bytes;
        State state;
        std::string text = {};
    };
    const Row rows[] = {
        {"250 ok\r\n", State::Whole, "250 ok"},
        {"250 ok\n", State::Whole, "250 ok"},
        {"250\r\n", State::Whole, "250"},
        {"250 \r\n", State::Whole, "250"},
        {"550-5.1.1 no\r\n550 such user\r\n", State::Whole, "550 5.1.1 no such user"},
        {"550-no\r\n550-such", State::More},
        {"550-no\r\n", State::More},
        {"25", State::More},
        {"", State::More},
        {"550-no\r\n250 yes\r\n", State::Broken},
        {"hello\r\n", State::Broken},
        {"\r\n", State::Broken},
        {"2500 ok\r\n", State::Broken},
        {"150 ok\r\n", State::Broken},
        {"650 ok\r\n", State::Broken},
        {"25x ok\r\n", State::Broken},
        {std::string(ReplyReader::kMaxReply, '2'), State::Broken},
        {"250-" + std::string(ReplyReader::kMaxReply, 'x') + "\r\n", State::Broken},
        {"250 " + std::string(5000, 'x') + "\r\n", State::Whole,
         "250 " + std::string(ReplyReader::kMaxText - 4, 'x')},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.bytes.substr(0, 40));
        ReplyReader reader;
        SmtpReply reply;
        reader.feed(row.bytes);
        ASSERT_EQ(reader.next(reply), row.state);
        EXPECT_EQ(reply.text, row.text);
    }
    ReplyReader reader; // two that come together
    SmtpReply reply;
    reader.feed("250 a\r\n354 b\r\n4");
    EXPECT_EQ(reader.next(reply), State::Whole);
    EXPECT_EQ(reader.next(reply), State::Whole);
    EXPECT_EQ(reply.code, 354);
    EXPECT_TRUE(reader.pending());
}

TEST(NextHop, ReadsServersAndNothingElse) {
    const std::pair<const char*, NextHop> good[] = {
        {"smtp://mx.example", {"mx.example", 25, false, "", ""}},
        {"smtp://mx.example:2525/", {"mx.example", 2525, false, "", ""}},
        {"smtps://mx.example", {"mx.example", 465, true, "", ""}},
        {"smtp://127.0.0.1:1", {"127.0.0.1", 1, false, "", ""}},
        {"smtp://[::1]:25", {"::1", 25, false, "", ""}},
        {"smtps://u:p%40w@mx:465", {"mx", 465, true, "u", "p@w"}},
    };
    for (const auto& [text, hop] : good) {
        const auto read = readNextHop(text);
        ASSERT_TRUE(read) << text;
        EXPECT_EQ(*read, hop) << text;
    }
    for (const char* text :
         {"", "mx", "http://mx", "smtp://", "smtp://mx:0", "smtp://mx:65536", "smtp://mx:", "smtp://[::1",
          "smtp://[::1]x:25", "smtp://a b", "smtp://mx/path", "smtp://u@mx", "smtp://:p@mx",
          "smtp://u:%0d@mx", "smtp://u:%4@mx", "smtp://mx\r\nRSET", "smtp://::1"}) {
        EXPECT_FALSE(readNextHop(text)) << text;
    }
}

} // namespace
} // namespace quzo::platform::test
