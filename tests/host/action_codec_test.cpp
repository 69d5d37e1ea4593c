// Setting texts from fields and back, for every type.
#include "host/policy/action_codec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/policy/action_type.h"
#include "host/policy/token_name.h"
#include "quzo/action_table.h"

namespace quzo::host {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

struct RoundTrip {
    const char* type;
    Pairs pairs;
    const char* setting; // null: only the way back is compared
};

class CodecRoundTrip : public testing::TestWithParam<RoundTrip> {};

TEST_P(CodecRoundTrip, GivesTheFieldsBack) {
    const RoundTrip& c = GetParam();
    const Encoded encoded = encodeAction(c.type, c.pairs);
    ASSERT_EQ(encoded.status, CodecStatus::Done) << testing::PrintToString(encoded.faults);
    if (c.setting != nullptr) {
        EXPECT_EQ(encoded.setting, c.setting);
    }
    const Decoded decoded = decodeAction(c.type, encoded.setting);
    ASSERT_EQ(decoded.status, CodecStatus::Done);
    EXPECT_EQ(decoded.fields, c.pairs);
}

INSTANTIATE_TEST_SUITE_P(
    All, CodecRoundTrip,
    testing::Values(RoundTrip{"delete", {}, ""}, RoundTrip{"virus-clean", {}, ""},
                    RoundTrip{"feedback", {}, ""}, RoundTrip{"decrypt", {}, ""},
                    RoundTrip{"encrypt", {}, nullptr}, RoundTrip{"re-encrypt", {}, nullptr},
                    RoundTrip{"tag-subject", {{"tag", "[spam] "}, {"signed", "false"}}, "F[spam] "},
                    RoundTrip{"tag-subject", {{"tag", "x=y"}, {"signed", "true"}}, "Tx=y"},
                    RoundTrip{"x-header", {{"name", "X-A"}, {"value", "one: two"}}, "X-A:one: two"},
                    RoundTrip{"delete-attachment", {{"all", "true"}}, "T"},
                    RoundTrip{"delete-attachment", {{"all", "false"}}, "F"},
                    RoundTrip{"readdress", {{"to", "a@x;b@y"}}, nullptr},
                    RoundTrip{"bcc", {{"to", "a@x"}}, nullptr},
                    RoundTrip{"handoff", {{"host", "mx.example"}, {"port", "25"}}, nullptr},
                    RoundTrip{"postpone", {{"at", "22:05"}}, nullptr},
                    RoundTrip{"stamp", {{"ids", "7,12,40"}}, "3-7-12-40"},
                    RoundTrip{"archive", {{"ids", "4294967295"}}, "1-4294967295"}));

struct Refused {
    const char* type;
    Pairs pairs;
    const char* fault; // begins one of the faults
};

class CodecRefuses : public testing::TestWithParam<Refused> {};

TEST_P(CodecRefuses, AndSaysWhy) {
    const Encoded encoded = encodeAction(GetParam().type, GetParam().pairs);
    EXPECT_EQ(encoded.status, CodecStatus::Refused);
    EXPECT_THAT(encoded.faults, testing::Contains(testing::StartsWith(GetParam().fault)));
}

INSTANTIATE_TEST_SUITE_P(
    All, CodecRefuses,
    testing::Values(Refused{"delete", {{"tag", "x"}}, "tag: delete has no such key"},
                    Refused{
                        "tag-subject", {{"tagg", "x"}}, "tagg: tag-subject has no such key: did you mean"},
                    Refused{"tag-subject", {{"tagg", "x"}}, "tag: it is missing"},
                    Refused{"tag-subject", {{"tag", "x"}, {"tag", "y"}}, "tag: it is given twice"},
                    Refused{"tag-subject", {{"tag", "x"}, {"signed", "T"}}, "signed: 'T' is no flag"},
                    Refused{"tag-subject", {{"tag", "a\nb"}}, "tag: line breaks"},
                    Refused{"x-header", {{"name", "X A"}, {"value", "b"}}, "name: "},
                    Refused{"handoff", {{"host", "h"}, {"port", "0"}}, "port: it is not between"},
                    Refused{"handoff", {{"host", "h"}, {"port", "65536"}}, "port: it is not between"},
                    Refused{"handoff", {{"host", "h"}, {"port", "25x"}}, "port: '25x' is no number"},
                    Refused{"handoff", {{"host", "h h"}, {"port", "25"}}, "host: "},
                    Refused{"postpone", {{"at", "24:00"}}, "at: "},
                    Refused{"postpone", {{"at", "2200"}}, "at: "},
                    Refused{"postpone", {{"at", "-1:00"}}, "at: "},
                    Refused{"bcc", {{"to", "a@x;;b@y"}}, "to: '' is no address"},
                    Refused{"stamp", {{"ids", "0"}}, "ids: '0' is no id"},
                    Refused{"stamp", {{"ids", "4294967296"}}, "ids: "},
                    Refused{"stamp", {{"object", "legal"}}, "object: named objects need a store"}));

TEST(Codec, TellsUnknownTypesFromRefusedSettings) {
    EXPECT_EQ(encodeAction("stmp", {}).status, CodecStatus::UnknownType);
    EXPECT_THAT(decodeAction("stmp", "").faults.at(0), testing::HasSubstr("did you mean 'stamp'?"));
    for (const auto& [type, setting] :
         std::vector<std::pair<const char*, const char*>>{{"tag-subject", "T"},
                                                          {"x-header", "no colon"},
                                                          {"x-header", "X:"},
                                                          {"stamp", "0-0"},
                                                          {"stamp", ""},
                                                          {"handoff", "junk"},
                                                          {"postpone", ""},
                                                          {"bcc", ""}}) {
        EXPECT_EQ(decodeAction(type, setting).status, CodecStatus::Refused) << type << " " << setting;
    }
}

// Stored codes keep their meaning: every type by its number, and the unused numbers stay unused.
TEST(ActionTypes, AreThoseOfTheInterface) {
    std::vector<unsigned> codes;
    for (const PolicyActionType& type : policyActionTypes()) {
        codes.push_back(static_cast<unsigned>(type.type));
        if (type.inThisBuild()) {
            EXPECT_EQ(type.make(type.type)->getType(), type.type) << type.name;
        }
    }
    EXPECT_THAT(codes, testing::ElementsAre(0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 16, 18, 20, 21, 22));
}

// Whoever can take the message away, or must have kept a copy of it, has a message tried again when he fails.
TEST(ActionTypes, FailuresDeferWhereAMessageOrACopyIsAtStake) {
    std::vector<std::string> defer;
    for (const PolicyActionType& type : policyActionTypes()) {
        if (type.failureDefers()) {
            defer.emplace_back(type.name);
        }
        EXPECT_TRUE(type.failureDefers() || !type.canConsume) << type.name;
    }
    EXPECT_THAT(defer, testing::ElementsAre("archive", "delete", "quarantine", "readdress",
                                            "delete-attachment", "handoff", "postpone"));
}

// A policy is refused when one of them is not there.
TEST(ActionTypes, NameEveryQueueThatTheyFill) {
    using platform::QueueKind;
    const std::map<std::string, std::vector<QueueKind>> filled = {
        {"archive", {QueueKind::Archive}},
        {"quarantine", {QueueKind::Quarantine}},
        {"readdress", {QueueKind::Scan}},
        {"notify", {QueueKind::Outgoing, QueueKind::Scan}}, // the latter when a message is attached
        {"handoff", {QueueKind::Outgoing}},
        {"postpone", {QueueKind::Postponed}},
        {"feedback", {QueueKind::Outgoing}},
    };
    for (const PolicyActionType& type : policyActionTypes()) {
        const auto queues = queuesOf(type);
        const auto row = filled.find(type.name);
        EXPECT_EQ(std::vector<QueueKind>(queues.begin(), queues.end()),
                  row == filled.end() ? std::vector<QueueKind>() : row->second)
            << type.name;
        EXPECT_TRUE(!type.stores || !queues.empty()) << type.name;
    }
}

// Both tables know the same types, the library's each once.
TEST(ActionTypes, HaveARowInTheLibrary) {
    std::set<QuzoAction::ActionType> ofLibrary;
    for (const ActionClass& row : actionClasses()) {
        EXPECT_TRUE(ofLibrary.insert(row.type).second) << row.name;
        EXPECT_TRUE(row.init == nullptr || row.make != nullptr) << row.name;
    }
    std::set<QuzoAction::ActionType> ofPolicies;
    for (const PolicyActionType& type : policyActionTypes()) {
        ofPolicies.insert(type.type);
    }
    EXPECT_EQ(ofLibrary, ofPolicies);
}

TEST(TokenNames, AreFoundInAnySpelling) {
    for (const char* name : {"VIRUSNAME", "virusname", "%VirusName%", "51", "0051"}) {
        EXPECT_EQ(findToken(name), ScanToken::VirusName) << name;
    }
    for (const char* bad : {"", "%", "%%", "VIRUS", "%VIRUSNAME", "1234567890", "-1"}) {
        EXPECT_EQ(findToken(bad), std::nullopt) << bad;
    }
    EXPECT_STREQ(tokenName(ScanToken::DateTime), "%DATE&TIME%");
    EXPECT_EQ(tokenName(ScanToken::MarkedEntities), nullptr);
}

} // namespace
} // namespace quzo::host
