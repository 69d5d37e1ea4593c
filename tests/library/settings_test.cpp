// The three text forms of settings and the administration-side objects.
#include "fake_platform.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/positional.h"
#include "quzo/settings/setting_text.h"
#include "quzo/settings/ui_fieldless.h"
#include "quzo/settings/ui_handoff.h"
#include "quzo/settings/ui_insert_xheader_tag.h"
#include "quzo/settings/ui_postpone.h"
#include "quzo/settings/ui_readdress.h"
#include "quzo/settings/ui_tag_subject.h"

namespace quzo::test {
namespace {

using Ids = std::vector<unsigned>;

bool constructFrom(QuzoAction& action, const std::string& text) {
    return action.construct(text.data(), static_cast<unsigned>(text.size()));
}

TEST(PositionalTest, NumberFields) {
    const struct {
        std::string text;
        long value;
        long moved; // characters that the cursor moves
    } rows[] = {
        {"12:", 12, 3},
        {"7x8", 7, 2},
        {"", 0, 1},
        {"abc", 0, 1},
        {" +5:", 5, 4},
        {"-1:", 4294967295, 3},
        {"-5:", 4294967291, 3},
        {" -0:", 0, 4},
        {"- 5:", 0, 1}, // a sign alone is no number
        {"-4294967295:", 1, 12},
        {"-4294967296:", 4294967295, 12},
        {"-18446744073709551615:", 4294967295, 22},
        {"-18446744073709551616:", 4294967295, 22},
        {"4294967295:", 4294967295, 11},
        {"4294967296:", 4294967295, 11},
        {"99999999999999999999999:", 4294967295, 24},
    };
    for (const auto& row : rows) {
        const SettingText text(row.text.data(), static_cast<unsigned>(row.text.size()));
        const char* cursor = text.begin();
        char* end = nullptr;
        long value = -1;
        EXPECT_TRUE(_get_numeric_data(value, cursor, end));
        EXPECT_EQ(value, row.value) << row.text;
        EXPECT_EQ(cursor - text.begin(), row.moved) << row.text;
    }
}

TEST(PositionalTest, StringFields) {
    const struct {
        std::string text;
        unsigned budget;
        const char* value; // null: refused
        unsigned left;     // budget afterwards
    } rows[] = {
        {"3:abc:", 6, "abc", 5},
        {"5:abc:", 6, nullptr, 5},
        {"3;abc:", 6, "abc", 5}, // separators are not checked
        {"0::", 3, "", 2},
        {"", 0, nullptr, 0},
        {"3:abc:", 4, nullptr, 3}, // the length is not below what is left
        {"3:abc:", 5, "abc", 4},
        {"12:", 1, nullptr, 1},
        {":x", 2, nullptr, 2},
        {"::", 2, "", 2},
        {"3:abcd", 6, nullptr, 5},
        {"4294967295:abc:", 15, nullptr, 5},
        {"18446744073709551615:abc:", 25, nullptr, 5},
        {"18446744073709551620:abc:", 25, nullptr, 5},
        {"-1:abc:", 7, nullptr, 5},
        {"-4294967293:abc:", 16, "abc", 5},
    };
    for (const auto& row : rows) {
        const SettingText text(row.text.data(), static_cast<unsigned>(row.text.size()));
        const char* cursor = text.begin();
        char* end = nullptr;
        unsigned budget = row.budget;
        std::string value = "before";
        const bool read = _get_string_data(value, cursor, end, budget);
        EXPECT_EQ(read, row.value != nullptr) << row.text;
        EXPECT_EQ(value, row.value != nullptr ? row.value : "before") << row.text;
        EXPECT_LE(budget, row.budget);
        if (read) {
            EXPECT_EQ(budget, row.left) << row.text;
            EXPECT_EQ(cursor[-1], ':');
        }
    }
    const char* none = nullptr;
    char* end = nullptr;
    unsigned budget = 9;
    std::string value;
    EXPECT_FALSE(_get_string_data(value, none, end, budget));
}

TEST(PositionalTest, ANulEndsTheValueButNotTheField) {
    const std::string bytes("3:a\0c:1:z:", 10);
    const SettingText text(bytes.data(), static_cast<unsigned>(bytes.size()));
    const char* cursor = text.begin();
    char* end = nullptr;
    unsigned budget = text.length();
    std::string value;
    EXPECT_TRUE(_get_string_data(value, cursor, end, budget));
    EXPECT_EQ(value, "a");
    EXPECT_TRUE(_get_string_data(value, cursor, end, budget));
    EXPECT_EQ(value, "z");
}

TEST(PositionalTest, WhatIsWrittenIsRead) {
    std::string out;
    appendSettingNumber(out, 30);
    appendSettingString(out, "Q:9");
    EXPECT_EQ(out, "30:3:Q:9:");
}

class IdListTest : public LibraryTest {};

TEST_F(IdListTest, Reading) {
    const struct {
        std::string text;
        bool read;
        Ids ids;
    } rows[] = {
        {"3-7-12-40", true, {7, 12, 40}},
        {"3-7-12", false, {7, 12}},
        {"2-7-12-40", true, {7, 12}},
        {"2,7;12", true, {7, 12}},
        {"0-0", false, {}},
        {"", false, {}},
        {"1-", false, {}},
        {"1", false, {}},
        {"2-7-x", false, {7}},
        {"1-4294967296", true, {4294967295}},
        {"2--5--1", true, {4294967291, 4294967295}},
        {"4294967295-1-2", false, {1, 2}},
        {"x-1", false, {}},
    };
    for (const auto& row : rows) {
        QuzoActionN action(QuzoAction::ActionType::Notify, true);
        Ids ids{99};
        EXPECT_EQ(action.getNamedObjectIds(row.text, ids), row.read) << row.text;
        Ids expected{99};
        expected.insert(expected.end(), row.ids.begin(), row.ids.end());
        EXPECT_EQ(ids, expected) << row.text; // appended, not replaced
    }
}

TEST_F(IdListTest, WritingAndItsAsymmetry) {
    QuzoActionN action(QuzoAction::ActionType::Notify, true);
    EXPECT_EQ(action.serialize(), "0-0");
    EXPECT_FALSE(constructFrom(action, "0-0"));
    expectL1("Failed to construct Action Notify with setting: '0-0' (max 32 chars)");
    EXPECT_FALSE(constructFrom(action, std::string(40, 'y')));
    expectL1("Failed to construct Action Notify with setting: '" + std::string(32, 'y') + "' (max 32 chars)");
    EXPECT_FALSE(action.construct(nullptr, 7));
    expectL1("Failed to construct Action Notify with setting: '' (max 32 chars)");
    EXPECT_TRUE(constructFrom(action, "1-5"));
    EXPECT_EQ(action.serialize(), "1-5");
    EXPECT_TRUE(action.hasNamedObjects());
    EXPECT_TRUE(action.requiresOriginalMsg());
    bool consumed = true;
    EXPECT_FALSE(action.takeAction(&message, nullptr, consumed, tokens, adapter, namedObjects));
    EXPECT_TRUE(consumed);
}

// A parser of a derived class is used by construct.
class OwnParser : public QuzoActionN {
public:
    OwnParser() : QuzoActionN(ActionType::Stamp, false) {}
    bool getNamedObjectIds(const char*, int, std::vector<unsigned>& ids) override {
        ids.push_back(4711);
        return true;
    }
};

TEST_F(IdListTest, ConstructUsesTheVirtualParser) {
    OwnParser action;
    EXPECT_TRUE(constructFrom(action, "no list at all"));
    EXPECT_EQ(action.serialize(), "1-4711");
}

class UiTest : public LibraryTest {};

TEST_F(UiTest, XHeaderTexts) {
    const struct {
        std::string text, name, value; // name empty: refused
    } rows[] = {
        {"X-Scanned: yes", "X-Scanned", "yes"},
        {" X-A :  one two ", "X-A", "one two"},
        {"X: a:b", "X", "a:b"},
        {"X-A:", "", ""},
        {"X-A:   ", "", ""},
        {": v", "", ""},
        {"no colon", "", ""},
        {"X-A: tab\there", "", ""},
        {"X-A: line\r\nX-B: 2", "", ""},
        {"X-A: \x80", "", ""},
        {"X-A: \x7F", "", ""},
        {"X:" + std::string(510, 'v'), "X", std::string(510, 'v')},
        {"X:" + std::string(511, 'v'), "", ""},
        {std::string("X-A: a\0b", 8), "X-A", "a"},
        {"", "", ""},
    };
    for (const auto& row : rows) {
        uiInsertXHeaderTag settingsObject;
        ASSERT_EQ(constructFrom(settingsObject, row.text), !row.name.empty()) << row.text;
        if (!row.name.empty()) {
            EXPECT_EQ(settingsObject.serialize(), row.name + ":" + row.value);
        }
    }
}

TEST_F(UiTest, TagTexts) {
    uiTagSubject tag;
    EXPECT_FALSE(constructFrom(tag, ""));
    EXPECT_FALSE(constructFrom(tag, "T"));
    EXPECT_FALSE(tag.construct(nullptr, 9));
    ASSERT_TRUE(constructFrom(tag, "F[spam] "));
    bool flag = true;
    std::string text;
    tag.getTagSubjectAction(flag, text);
    EXPECT_FALSE(flag);
    EXPECT_EQ(text, "[spam] ");
    ASSERT_TRUE(constructFrom(tag, "TT"));
    EXPECT_EQ(tag.serialize(), "TT");
    ASSERT_TRUE(constructFrom(tag, "xy"));
    EXPECT_EQ(tag.serialize(), "Fy");
}

TEST_F(UiTest, BlobTexts) {
    uiHandoff handoff;
    ASSERT_TRUE(constructFrom(handoff, "ip=10.0.0.1;port=25;"));
    EXPECT_EQ(handoff.serialize(), "ip=10.0.0.1;port=25;");
    EXPECT_FALSE(constructFrom(handoff, "ip=10.0.0.2;"));
    EXPECT_EQ(handoff.ip, "10.0.0.2"); // taken before the missing port was seen
    EXPECT_EQ(handoff.port, 25);
    EXPECT_FALSE(constructFrom(handoff, std::string("ip=a;port=1;\0", 13))); // the whole setting counts
    EXPECT_FALSE(handoff.construct(nullptr, 5));
    uiPostpone postpone;
    ASSERT_TRUE(constructFrom(postpone, "hour=300;min=5;"));
    EXPECT_EQ(postpone.hour, 300);
    EXPECT_EQ(postpone.min, 5);
    uiReaddress readdress;
    uiBcc bcc;
    readdress.setRcpt("a@b");
    bcc.setRcpt("a@b");
    EXPECT_EQ(readdress.serialize(), bcc.serialize());
    EXPECT_STREQ(bcc.getRcpt(), "a@b");
}

TEST_F(UiTest, NoneActsAndEachHasItsType) {
    uiDelete del;
    uiReaddress readdress;
    uiDeleteAttachment attachment;
    uiVirusClean clean;
    uiTagSubject tag;
    uiBcc bcc;
    uiHandoff handoff;
    uiPostpone postpone;
    uiFerrowick ferrowick;
    uiInsertXHeaderTag header;
    uiIBEEncrypt encrypt;
    const struct {
        QuzoAction* action;
        unsigned type;
        bool answersIds;
        bool fieldless;
    } rows[] = {
        {&del, 1, true, true},       {&readdress, 3, true, false}, {&attachment, 4, true, true},
        {&clean, 5, true, true},     {&tag, 7, false, false},      {&bcc, 9, true, false},
        {&handoff, 11, true, false}, {&postpone, 12, true, false}, {&ferrowick, 16, true, true},
        {&header, 18, false, false}, {&encrypt, 21, true, true},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(static_cast<unsigned>(row.action->getType()), row.type);
        for (bool consumed : {false, true}) {
            const bool before = consumed;
            EXPECT_FALSE(row.action->takeAction(&message, nullptr, consumed, tokens, adapter, namedObjects));
            EXPECT_EQ(consumed, before);
        }
        Ids ids{3};
        EXPECT_EQ(row.action->getNamedObjectIds("1-5", 3, ids), row.answersIds) << row.type;
        EXPECT_EQ(ids, Ids{3});
        EXPECT_FALSE(row.action->hasNamedObjects());
        EXPECT_FALSE(row.action->requiresOriginalMsg());
        if (row.fieldless) {
            EXPECT_TRUE(row.action->construct("any \x01 thing", 11));
            EXPECT_EQ(row.action->serialize().size(), row.type == 21 ? 23U : 0U);
        }
    }
}

} // namespace
} // namespace quzo::test
