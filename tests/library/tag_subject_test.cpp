// Subject tagging, against a message whose every answer is set and a converter that records its calls.
#include "fake_platform.h"
#include "quzo/actions/act_tag_subject.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

class TagSubjectTest : public LibraryTest {
protected:
    TagSubjectTest() { fake().charset = "dst"; }

    bool tag(const std::string& text, bool modifySigned = false) {
        ActTagSubject action;
        const std::string setting = (modifySigned ? "T" : "F") + text;
        EXPECT_TRUE(action.construct(setting.data(), static_cast<unsigned>(setting.size())));
        EXPECT_EQ(action.serialize(), setting);
        bool consumed = true;
        const bool done = action.takeAction(&message, nullptr, consumed, tokens, adapter, namedObjects);
        EXPECT_FALSE(consumed);
        return done;
    }

    void switchOn(const std::string& key) {
        settings.values["MessageModule/" + key] = "1";
        start();
    }

    // The calls that were made, without the tests for protection before each.
    Strings calls() {
        Strings all = fake().calls;
        for (const char* skipped : {"isEncrypted", "isSigned"}) {
            if (!all.empty() && all.front() == skipped) {
                all.erase(all.begin());
            }
        }
        return all;
    }

    std::string subjectToken() { return tokens.valueOrEmpty(ScanToken::Subject); }
};

TEST_F(TagSubjectTest, ProtectedMessagesAreLeftAloneUnlessAsked) {
    message.root.add("Subject", "s", "cs");
    const struct {
        bool isSigned, isEncrypted;
        Strings calls;
    } rows[] = {{true, false, {"isEncrypted", "isSigned"}}, {false, true, {"isEncrypted"}}};
    for (const auto& row : rows) {
        message.isSignedAnswer = row.isSigned;
        message.isEncryptedAnswer = row.isEncrypted;
        fake().calls.clear();
        EXPECT_TRUE(tag("%FOO%%SENDER%"));
        EXPECT_EQ(fake().calls, row.calls);
        EXPECT_EQ(log.lines, Strings{}); // the tag's tokens were not even looked up
    }
    fake().calls.clear();
    EXPECT_TRUE(tag("[t] ", true));
    EXPECT_EQ(fake().calls.back(), "setValue '[t] s' cs");
}

TEST_F(TagSubjectTest, TheUsualWay) {
    tokens.set(ScanToken::RuleName, "R1");
    message.root.add("Received", "x");
    message.root.add("SUBJECT", "hello", "cs");
    EXPECT_TRUE(tag("[%RULENAME%] "));
    EXPECT_EQ(calls(), (Strings{"write field 1", "convert cs>utf-8 room 2042 flag 1",
                                "convert utf-8>cs room 2048 flag 0", "setValue '[R1] hello' cs"}));
    EXPECT_EQ(subjectToken(), "[R1] hello");
    EXPECT_EQ(log.lines, Strings{"L3 Tag Subject Action find subject:hello"});
}

// Which charsets are tried in which order, for each set of failures. "own" is the charset of the subject's
// words, "dst" that of the message, "us-ascii" the installation's.
TEST_F(TagSubjectTest, OrderOfAttempts) {
    using Bad = std::set<std::pair<std::string, std::string>>;
    const struct {
        const char* what;
        const char* own;
        Bad bad;
        Strings conversions;
        const char* stored; // null: nothing is stored
    } rows[] = {
        {"a field without charset is in the message's", "", {}, {"dst>utf-8", "utf-8>dst"}, "dst"},
        {"own charset unreadable", "own", {{"own", "utf-8"}}, {"own>utf-8", "dst>utf-8", "utf-8>own"}, "own"},
        {"own and message's unreadable",
         "own",
         {{"own", "utf-8"}, {"dst", "utf-8"}},
         {"own>utf-8", "dst>utf-8", "us-ascii>utf-8", "utf-8>own"},
         "own"},
        {"nothing readable",
         "own",
         {{"own", "utf-8"}, {"dst", "utf-8"}, {"us-ascii", "utf-8"}},
         {"own>utf-8", "dst>utf-8", "us-ascii>utf-8"},
         nullptr},
        {"own charset lacks a character",
         "own",
         {{"utf-8", "own"}},
         {"own>utf-8", "utf-8>own", "utf-8>dst"},
         "own"},
        {"none can carry it",
         "own",
         {{"utf-8", "own"}, {"utf-8", "dst"}},
         {"own>utf-8", "utf-8>own", "utf-8>dst"},
         "utf-8"},
    };
    for (const auto& row : rows) {
        message.root.fields.clear();
        message.root.add("Subject", "s", row.own);
        fake().badConversions = row.bad;
        fake().calls.clear();
        log.lines.clear();
        EXPECT_TRUE(tag("T")) << row.what;
        Strings expected{"write field 0"};
        for (const std::string& conversion : row.conversions) {
            const bool decoding = conversion.substr(0, 6) != "utf-8>";
            expected.push_back("convert " + conversion +
                               (decoding ? " room 2046 flag 1" : " room 2048 flag 0"));
        }
        if (row.stored != nullptr) {
            expected.push_back("setValue 'Ts' " + std::string(row.stored));
        } else {
            EXPECT_EQ(lines(3).back(), "Ignore subject tagging due to error 'five' (5).");
        }
        EXPECT_EQ(calls(), expected) << row.what;
    }
}

TEST_F(TagSubjectTest, StoringAndItsFallbacks) {
    const struct {
        const char* what;
        const char* own;
        const char* message;
        bool notEncoding;
        std::set<std::string> refused;
        Strings stores;
        bool done;
    } rows[] = {
        {"raw when asked and without charset", "", "dst", true, {}, {"null"}, true},
        {"not raw with a charset", "own", "dst", true, {}, {"own"}, true},
        {"Latin-1 family raw", "ISO-8859-15", "dst", false, {}, {"null"}, true},
        {"Latin-1 of the message", "", "iso-8859-1", false, {}, {"null"}, true},
        {"refused charset: raw", "own", "dst", false, {"own"}, {"own", "null"}, true},
        {"refused altogether", "own", "dst", false, {"own", ""}, {"own", "null"}, false},
        {"raw refused", "", "dst", true, {""}, {"null", "null"}, false},
    };
    for (const auto& row : rows) {
        settings.values["MessageModule/TagNotEncoding"] = row.notEncoding ? "1" : "0";
        start();
        fake().charset = row.message;
        message.root.fields.clear();
        message.root.add("Subject", "s", row.own).refused = row.refused;
        EXPECT_EQ(tag("T"), row.done) << row.what;
        Strings stores;
        for (const std::string& call : calls()) {
            if (call.compare(0, 14, "setValue 'Ts' ") == 0) {
                stores.push_back(call.substr(14));
            }
        }
        EXPECT_EQ(stores, row.stores) << row.what;
    }
}

TEST_F(TagSubjectTest, WithoutAnyCharset) {
    fake().charset = nullptr;
    settings.values["MessageModule/DefaultSourceCharset"] = "";
    start();
    message.root.add("Subject", "s");
    EXPECT_TRUE(tag("T"));
    EXPECT_EQ(calls(), (Strings{"write field 0", "convert >utf-8 room 2046 flag 1",
                                "convert >utf-8 room 2046 flag 1", "convert utf-8> room 2048 flag 0"}));
    EXPECT_EQ(message.root.fields[0]->value, "s");
    switchOn("TagNotEncoding");
    message.root.fields[0]->refused = {""};
    EXPECT_FALSE(tag("T"));
    EXPECT_EQ((Strings{fake().calls.end() - 3, fake().calls.end()}),
              (Strings{"setValue 'Ts' null", "setValue 'Ts' ", "setValue 'Ts' null"}));
}

TEST_F(TagSubjectTest, ASecondSubjectDoesNotShowTheRestOfTheFirst) {
    message.root.add("Subject", "a long first subject", "one");
    message.root.add("Subject", "s2", "two");
    message.root.add("Subject", "", "three").valueIsNull = true;
    EXPECT_TRUE(tag("T"));
    EXPECT_EQ(message.root.fields[0]->value, "Ta long first subject");
    EXPECT_EQ(message.root.fields[1]->value, "Ts2");
    EXPECT_EQ(subjectToken(), "Ta long first subject");
    EXPECT_EQ(lines(3).back(), "Tag Subject Action find subject:(null)");
}

TEST_F(TagSubjectTest, DirectSplice) {
    switchOn("TagDirectly");
    const struct {
        std::string raw, tag;
        const char* stored; // null: nothing
    } rows[] = {
        {"Subject: hello\r\n", "[t] ", "setValue '[t]  hello' null"},
        {"Subject:x\n", "[t]", "setValue '[t]x\n' null"}, // a lone LF stays
        {"Subject\r\n", "[t]", nullptr},                  // no colon
        {"Subject:\r\n", "t", "setValue 't' null"},
        {"Subject: a:b\r\n", "t", "setValue 't a:b' null"},
    };
    for (const auto& row : rows) {
        message.root.fields.clear();
        message.root.add("Subject", "value").raw = row.raw;
        fake().calls.clear();
        EXPECT_TRUE(tag(row.tag));
        EXPECT_EQ(calls(), row.stored != nullptr ? (Strings{"write field 0", row.stored}) : Strings{})
            << row.raw;
    }
    EXPECT_EQ(subjectToken(), "");
    for (const auto& [raw, text] :
         {std::pair<std::string, std::string>{"", "t"}, {"Subject: v\r\n", "\xC3\xA9"}}) {
        message.root.fields.clear();
        message.root.add("Subject", "value", "own").raw = raw;
        EXPECT_TRUE(tag(text));
        EXPECT_EQ(fake().calls.back(), "setValue '" + text + "value' own"); // the encoded way
    }
}

TEST_F(TagSubjectTest, AddingASubject) {
    message.root.fields.push_back(nullptr);
    message.root.add("X", "y").nameIsNull = true;
    EXPECT_TRUE(tag("[t] "));
    EXPECT_EQ(calls(),
              (Strings{"convert utf-8>dst room 2048 flag 1", "addHeaderField -1 Subject '[t] ' dst"}));
    EXPECT_EQ(subjectToken(), "");
    message.root.fields.clear(); // no header fields at all
    message.root.takesFields = false;
    EXPECT_FALSE(tag("[t] "));
    fake().badConversions = {{"utf-8", "dst"}};
    EXPECT_TRUE(tag("[t] "));
    EXPECT_EQ(lines(3), Strings{"Ignore subject tagging due to error 'five' (5)."});
}

TEST_F(TagSubjectTest, TheWalk) {
    FakeEntity broken;
    FakeEntity second;
    broken.error = 1;
    broken.add("Subject", "broken", "own");
    second.add("Subject", "second", "own");
    message.root.add("Subject", "first", "own");
    message.root.sibling = &broken;
    broken.sibling = &second;
    EXPECT_TRUE(tag("T"));
    EXPECT_EQ(message.root.fields[0]->value, "Tfirst");
    EXPECT_EQ(broken.fields[0]->value, "broken");
    EXPECT_EQ(second.fields[0]->value, "Tsecond");
    EXPECT_EQ(subjectToken(), "Tfirst");
    // The tag alone is added to the second, whatever an earlier subject left behind.
    second.fields.clear();
    EXPECT_TRUE(tag("T"));
    EXPECT_EQ(fake().calls.back(), "addHeaderField -1 Subject 'T' dst");
    message.hasRoot = false;
    EXPECT_TRUE(tag("T"));
}

TEST_F(TagSubjectTest, LongTextsAreCut) {
    const std::string big(3000, 'b');
    message.root.add("Subject", big, "own");
    EXPECT_TRUE(tag("T"));
    EXPECT_EQ(message.root.fields[0]->value, "T" + std::string(2046, 'b'));
    message.root.fields[0]->value = "s";
    EXPECT_TRUE(tag(big));
    EXPECT_EQ(message.root.fields[0]->value, std::string(2047, 'b'));
    message.root.fields[0]->value = "s";
    EXPECT_TRUE(tag(std::string(2046, 'x') + "\xE3\x81\x82")); // not in the middle of a character
    EXPECT_EQ(message.root.fields[0]->value, std::string(2046, 'x') + "s");
}

TEST_F(TagSubjectTest, NoMessage) {
    ActTagSubject action;
    ASSERT_TRUE(action.construct("Tx", 2));
    bool consumed = true;
    EXPECT_FALSE(action.takeAction(nullptr, nullptr, consumed, tokens, adapter, namedObjects));
    EXPECT_FALSE(consumed);
    EXPECT_FALSE(action.construct("T", 1));
}

TEST(RemoveNullCharInplaceTest, Table) {
    char buffer[] = {'\0', 'a', '\0', '\0', 'b', 'c', 'X'};
    RemoveNullCharInplace(buffer, 6);
    EXPECT_EQ(std::string(buffer, 7), std::string("abc\0\0\0X", 7));
    RemoveNullCharInplace(buffer, 0);
    EXPECT_EQ(buffer[0], 'a');
}

} // namespace
} // namespace quzo::test
