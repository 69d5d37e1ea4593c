// The envelope that a message file is given, and token values from the command line.
#include "host/scan/envelope.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
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

class EnvelopeTable : public testing::TestWithParam<Case> {};

TEST_P(EnvelopeTable, Is) {
    const Case& c = GetParam();
    const auto msg = platform::MailMessage::parse(std::string(c.header) + "\n\nbody\n", platform::Limits{});
    const Envelope envelope = envelopeOf(*msg, c.from, c.to);
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

TEST(Addresses, AreReadInProportionToTheirNumber) {
    struct Repeated {
        const char* entry;
        std::size_t addresses; // of 100,000 entries
    };
    for (const Repeated& c : {Repeated{"a ,", 100000}, Repeated{"a@b, ", 100000}, Repeated{"a:", 0},
                              Repeated{"(", 0}, Repeated{"N <a@b>,", 100000}, Repeated{"\"a\" ", 0}}) {
        std::string list;
        for (int i = 0; i < 100000; ++i) {
            list += c.entry;
        }
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(addressesIn(list).size(), c.addresses) << c.entry;
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5)) << c.entry;
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
