// The envelope that a message file is given, and token values from the command line.
#include "host/scan/envelope.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "host/scan/token_argument.h"

namespace quzo::host {
namespace {

using Strings = std::vector<std::string>;

struct Case {
    const char* name;
    const char* header;
    std::optional<std::string> from;
    Strings to;
    const char* sender;
    Strings recipients;
};

const std::string kLongName = "To: " + std::string(9000, 'n') + " <b@y>, c@y";

class EnvelopeTable : public testing::TestWithParam<Case> {};

TEST_P(EnvelopeTable, Is) {
    const Case& c = GetParam();
    const auto msg = platform::MailMessage::parse(std::string(c.header) + "\n\nbody\n", platform::Limits{});
    const Envelope envelope = envelopeOf(*msg, {}, c.from, c.to);
    EXPECT_EQ(envelope.beyondLimit, "");
    EXPECT_EQ(envelope.sender, c.sender);
    EXPECT_EQ(envelope.recipients, c.recipients);
}

INSTANTIATE_TEST_SUITE_P(
    All, EnvelopeTable,
    testing::Values(
        Case{"Given", "From: a@x\nTo: b@y", "g@x", {"h@y", "i@y"}, "g@x", {"h@y", "i@y"}},
        Case{"GivenNullSender", "From: a@x\nTo: b@y", "", {}, "", {"b@y"}},
        Case{"ReturnPathFirst", "Return-Path: <r@x>\nFrom: a@x\nTo: b@y", {}, {}, "r@x", {"b@y"}},
        Case{"NullReturnPath", "Return-Path: <>\nFrom: a@x", {}, {}, "", {}},
        Case{"FirstOfFrom", "From: \"A, the first\" <a@x>, b@x", {}, {}, "a@x", {}},
        Case{"BadReturnPath", "Return-Path: <a b@x>\nFrom: c@x", {}, {}, "c@x", {}},
        Case{"AllFieldsOnce",
             "From: a@x\nTo: B <b@y>, c@y\nCc: C@Y,\n d@y\nTo: e@y\nBcc: f@y",
             {},
             {},
             "a@x",
             {"b@y", "c@y", "e@y", "d@y", "f@y"}},
        Case{"Groups", "To: team: b@y, C <c@y>;, d@y (comment)", {}, {}, "", {"b@y", "c@y", "d@y"}},
        Case{"QuotedName", "To: \"x, y; <z@z>\" <b@y>", {}, {}, "", {"b@y"}},
        Case{"EncodedName", "To: =?utf-8?Q?J=C3=B6rg?= <b@y>", {}, {}, "", {"b@y"}},
        Case{"LongName", kLongName.c_str(), {}, {}, "", {"b@y", "c@y"}},
        Case{"Semicolons", "To: b@y; C <c@y>", {}, {}, "", {"b@y", "c@y"}},
        Case{"Commas",
             "To: \"B, \\\"x\" <b@y>, (c, (d)) e@y, f@[IPv6:::1]",
             {},
             {},
             "",
             {"b@y", "e@y", "f@[IPv6:::1]"}},
        Case{"Unclosed", "To: a@y, <b@y, c@y", {}, {}, "", {"a@y", "b@y", "c@y"}},
        Case{"Nobody", "To: undisclosed-recipients:;", {}, {}, "", {}}),
    [](const testing::TestParamInfo<Case>& row) { return row.param.name; });

// Half of the recipients would be a wrong envelope, so it is all or none.
TEST(Envelope, HasNoMoreRecipientsThanTheLimit) {
    const auto msg = platform::MailMessage::parse(
        "From: f@x\nTo: a@y, A@Y, b@y\nTo: b@Y\nBcc: c@y\nTo: a@y\n\nbody\n", platform::Limits{});
    platform::Limits limits;
    for (const std::size_t allowed : {0U, 3U, 4U}) {
        limits.recipients = allowed;
        const Envelope envelope = envelopeOf(*msg, limits, {}, {});
        EXPECT_EQ(envelope.recipients, (Strings{"a@y", "b@y", "c@y"})) << allowed;
        EXPECT_EQ(envelope.beyondLimit, "") << allowed;
    }
    for (const std::size_t allowed : {1U, 2U}) {
        limits.recipients = allowed;
        const Envelope envelope = envelopeOf(*msg, limits, {}, {});
        EXPECT_TRUE(envelope.recipients.empty());
        EXPECT_EQ(envelope.sender, "f@x");
        EXPECT_EQ(envelope.beyondLimit,
                  "names more than " + std::to_string(allowed) + " recipients (limit_recipients)");
    }
    EXPECT_EQ(envelopeOf(*msg, limits, {}, {"g@y", "h@y", "i@y"}).beyondLimit, "") << "the caller's own";
}

TEST(Envelope, SeesTheHeaderThatTheLimitsLetThrough) {
    const auto msg = platform::MailMessage::parse("A: 1\nB: 2\nTo: a@y\n\nbody\n", platform::Limits{});
    platform::Limits limits;
    limits.headerFields = 2;
    EXPECT_TRUE(envelopeOf(*msg, limits, {}, {}).recipients.empty());
}

std::size_t addressesIn(std::string_view value) {
    std::size_t count = 0;
    eachAddress(value, [&](const std::string&) { return ++count != 0; });
    return count;
}

TEST(Addresses, AreReadHoweverMany) {
    struct Repeated {
        const char* entry;
        std::size_t addresses; // of 200,000 entries
    };
    for (const Repeated& c :
         {Repeated{"a ,", 200000}, Repeated{"a@b, ", 200000}, Repeated{"a:", 0}, Repeated{"(", 0},
          Repeated{"N <a@b>,", 200000}, Repeated{"\"a\" ", 0}, Repeated{"<a:", 0}, Repeated{"\\\"(a", 0},
          Repeated{"<@a,@b:", 0}, Repeated{"(a) b c,", 0}, Repeated{"a\r\n ,", 200000}}) {
        std::string list;
        for (int i = 0; i < 200000; ++i) {
            list += c.entry;
        }
        EXPECT_EQ(addressesIn(list), c.addresses) << c.entry;
    }
}

TEST(TokenArgument, SetsValidText) {
    TokenMap<ScanToken> tokens;
    EXPECT_EQ(applyTokenArgument("virusname=a=b", tokens), "");
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::VirusName), "a=b");
    EXPECT_EQ(applyTokenArgument("7=", tokens), "");
    ASSERT_NE(tokens.find(ScanToken::WholeMailFinding), nullptr);
    EXPECT_THAT(applyTokenArgument("VIRUSNAME", tokens), testing::HasSubstr("NAME=VALUE"));
    EXPECT_THAT(applyTokenArgument("NOSUCH=x", tokens), testing::HasSubstr("quzo tokens"));
}

} // namespace
} // namespace quzo::host
