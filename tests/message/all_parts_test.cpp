// Readings of a message beyond its own tree: what they list, and that limits hold for all of them together.
#include "platform/message/all_parts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/message/mail_message.h"

namespace quzo::platform::test {

namespace {

constexpr Limits kNoLimits{0, 0, 0, 0, 0};

struct Seen {
    std::size_t parts = 0;
    std::size_t own = 0;
    bool limited = false;
};

Seen seen(const std::string& text, const Limits& limits) {
    const auto message = MailMessage::parse(text, limits);
    const AllParts all(*message, limits);
    Seen result{all.parts().size(), 0, all.limited()};
    for (const SeenPart& part : all.parts()) {
        result.own += part.own ? 1 : 0;
    }
    return result;
}

// `levels` messages in each other, each quoted-printable, and a text.
std::string nested(std::size_t levels, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < levels; ++i) {
        all += "Content-Type: message/rfc822\nContent-Transfer-Encoding: quoted-printable\n\n";
    }
    return all + "A: b\n\n" + text;
}

// Multiparts in each other that two fields describe in two ways; both boundaries are used, so that each level
// doubles what there is to read.
std::string doubling(std::size_t levels) {
    std::string all = "A: b\n\nx\n";
    for (std::size_t i = 0; i < levels; ++i) {
        const std::string a = "a" + std::to_string(i);
        const std::string b = "b" + std::to_string(i);
        all = "Content-Type: multipart/mixed; boundary=" + a +
              "\nContent-Type: multipart/mixed; boundary=" + b + "\n\n--" + a + "\n--" + b + "\n" + all;
    }
    return all;
}

TEST(AllParts, OrdinaryMailHasNoOtherReading) {
    for (const char* text :
         {"A: b\r\n\r\nhello\r\n", "A: b\n\nhello\n", "",
          "Content-Type: multipart/mixed; "
          "boundary=\"=_a'b(c)?d/e.f:g\"\r\n\r\n--=_a'b(c)?d/e.f:g\r\n\r\nx\r\n"
          "--=_a'b(c)?d/e.f:g--\r\n",
          "Content-Type: multipart/mixed; boundary=a; type=b (c)\n\n--a\nContent-Type: message/rfc822\n\n"
          "Content-Transfer-Encoding: base64\n\neA==\n--a--\n",
          "Content-Transfer-Encoding: base64\nContent-Type: image/png; name=a\n\neA==\n"}) {
        const Seen result = seen(text, Limits{});
        EXPECT_EQ(result.parts, result.own) << text;
        EXPECT_FALSE(result.limited) << text;
    }
}

TEST(AllParts, PlacesAreThoseOfTheMessage) {
    const std::string text = "Content-Type: multipart/mixed; boundary=o\n\n--o\n\nx\n--o\n" + nested(2, "y") +
                             "\n--o\n\nz\r!\n--o--\n";
    const auto message = MailMessage::parse(text, Limits{});
    const AllParts all(*message, Limits{});
    std::vector<std::string> places;
    for (const SeenPart& part : all.parts()) {
        places.push_back((part.own ? "own " : "in ") + std::to_string(part.number) + "-" +
                         std::to_string(part.behind));
    }
    // The decoded message and the text in it; the whole with its lone carriage return as a line end.
    EXPECT_THAT(places, testing::ElementsAre("own 0-4", "own 1-2", "own 2-3", "own 3-4", "in 2-3", "in 0-4",
                                             "in 0-4", "in 0-4", "in 0-4", "in 2-3", "in 0-4", "in 0-4"));
}

TEST(AllParts, LimitsHoldForAllReadingsTogether) {
    struct Case {
        Limits limits;
        std::size_t parts; // at most
        bool limited;
    };
    const std::string text = nested(5, "x");
    for (const Case& c :
         {Case{kNoLimits, 6, false}, Case{{0, 0, 5, 0, 0}, 6, false}, Case{{0, 0, 4, 0, 0}, 5, true},
          Case{{0, 0, 1, 0, 0}, 2, true}, Case{{0, 0, 0, 6, 0}, 6, false}, Case{{0, 0, 0, 5, 0}, 5, true},
          Case{{0, 0, 0, 1, 0}, 1, true}, Case{{0, 0, 0, 0, 6}, 5, true}}) {
        const Seen result = seen(text, c.limits);
        EXPECT_EQ(result.limited, c.limited) << c.limits.nesting << " " << c.limits.parts;
        EXPECT_LE(result.parts, c.parts) << c.limits.nesting << " " << c.limits.parts;
        EXPECT_TRUE(c.limited || result.parts == c.parts) << c.limits.nesting << " " << c.limits.parts;
    }
}

TEST(AllParts, BombsEndAtALimit) {
    const Seen branches = seen(doubling(60), Limits{});
    EXPECT_TRUE(branches.limited);
    EXPECT_LE(branches.parts, Limits{}.parts);

    // Nothing but bytes limits this one: a hundred megabytes made from one.
    const Seen bytes = seen(nested(100, std::string(1U << 20U, 'x')), kNoLimits);
    EXPECT_TRUE(bytes.limited);
    EXPECT_LT(bytes.parts, 80U);
    EXPECT_GT(bytes.parts, 40U);
}

} // namespace

} // namespace quzo::platform::test
