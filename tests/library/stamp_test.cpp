// The stamp action: its settings, when it leaves a message alone, what it hands to the platform.
#include <algorithm>

#include "fake_platform.h"
#include "quzo/actions/act_stamp.h"
#include "quzo/settings/ui_quarantine_area.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

class StampTest : public LibraryTest {
protected:
    StampTest() {
        area.stampText = "one\x03two";
        area.position = 1;
        area.signedTnefMode = 1;
        namedObjects.objects = {{5, &area}, {6, &other}};
        settings.values["MessageModule/UseUTF8AsPreferCharsetForStamp"] = "0";
    }

    bool stamp(const std::string& setting = "1-5") {
        ActStamp action;
        action.construct(setting.data(), static_cast<unsigned>(setting.size()));
        bool consumed = true;
        fake().calls.clear();
        const bool done = action.takeAction(&message, nullptr, consumed, tokens, adapter, namedObjects);
        EXPECT_TRUE(consumed); // never written
        return done;
    }

    void set(const std::string& key, const std::string& value) {
        settings.values[key] = value;
        start();
    }

    // The arguments of insertStamp; empty when it was not called.
    std::string inserted() {
        for (const std::string& call : fake().calls) {
            if (call.starts_with("insertStamp ")) {
                return call.substr(12);
            }
        }
        return {};
    }

    uiStampArea area;
    uiQuarantineArea other;
};

TEST_F(StampTest, IsHandedOverAsItIs) {
    EXPECT_EQ(ActStamp().getType(), QuzoAction::ActionType::Stamp);
    EXPECT_TRUE(stamp());
    EXPECT_EQ(fake().calls,
              (Strings{"findContentType ms-tnef deep", "isSigned", "isEncrypted", "locator 1 8 8 1",
                       "insertStamp 1 'one\r\ntwo' 20 utf-8 us-ascii", "delete locator"}));
    area.position = 7; // anything but 1
    tokens.set(ScanToken::RuleName, "R");
    area.stampText = "by %RULENAME%";
    EXPECT_TRUE(stamp());
    EXPECT_EQ(inserted(), "2 'by R' 20 utf-8 us-ascii");
    tokens.set(ScanToken::RuleName, "");
    area.stampText = "%RULENAME%";
    EXPECT_TRUE(stamp());
    EXPECT_EQ(inserted(), "");
}

TEST_F(StampTest, NoMessageWritesHtml) {
    tokens.set(ScanToken::Subject, "x\x1C<b>\x03y");
    area.stampText = "about %SUBJECT%";
    EXPECT_TRUE(stamp());
    EXPECT_EQ(inserted(), "1 'about x<b>\x03y' 20 utf-8 us-ascii");
    tokens.set(ScanToken::RuleName, "R\x1C");
    area.stampText = "about %SUBJECT%\x03\x1C\x03<i>%RULENAME%</i>";
    EXPECT_TRUE(stamp());
    EXPECT_EQ(inserted(), "1 'about x<b>\x03y\r\n\x1C\r\n<i>R</i>' 20 utf-8 us-ascii");
}

TEST_F(StampTest, NeedsItsArea) {
    bool consumed = false;
    EXPECT_FALSE(ActStamp().takeAction(&message, nullptr, consumed, tokens, adapter, namedObjects));
    EXPECT_EQ(lines(1), Strings{});
    const struct {
        const char* setting;
        const char* line;
    } rows[] = {{"1-9", "Invalid name object type reference. id=9"},
                {"2-6-5", "Incorrect name object type reference. type=3"}};
    for (const auto& row : rows) {
        EXPECT_FALSE(stamp(row.setting));
        expectL1(row.line);
        EXPECT_EQ(fake().calls, Strings{});
    }
}

TEST_F(StampTest, LeavesProtectedMessagesAlone) {
    const struct {
        const char* what;
        bool tnef, isSigned, isEncrypted;
        Strings calls;
    } rows[] = {
        {"tnef", true, false, false, {"findContentType ms-tnef deep"}},
        {"signed", false, true, false, {"findContentType ms-tnef deep", "isSigned"}},
        {"encrypted", false, false, true, {"findContentType ms-tnef deep", "isSigned", "isEncrypted"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        fake().foundTypes = row.tnef ? std::set<std::string>{"ms-tnef"} : std::set<std::string>{};
        message.isSignedAnswer = row.isSigned;
        message.isEncryptedAnswer = row.isEncrypted;
        for (const unsigned mode : {1U, 3U}) {
            area.signedTnefMode = mode;
            EXPECT_TRUE(stamp());
            EXPECT_EQ(fake().calls, row.calls);
        }
        area.signedTnefMode = 2;
        EXPECT_TRUE(stamp());
        EXPECT_EQ(fake().calls.front().substr(0, 7), "locator");
        EXPECT_NE(inserted(), "");
    }
    area.signedTnefMode = 1;
    fake().typeSearchWorks = false;
    message.isEncryptedAnswer = false;
    EXPECT_TRUE(stamp());
    expectL1("Failed to gather content type ('ms-tnef') information.");
    EXPECT_NE(inserted(), "");
}

TEST_F(StampTest, ChoosesACharset) {
    const struct {
        const char* what;
        std::map<std::string, std::string> settings;
        const char* ofMessage;
        const char* wanted;
    } rows[] = {
        {"the default", {}, "koi8-r", "us-ascii"},
        {"utf-8 for stamps", {{"MessageModule/UseUTF8AsPreferCharsetForStamp", "1"}}, nullptr, "utf-8"},
        {"the message's",
         {{"MessageModule/UseMailCharsetAsDestinationCharset", "1"},
          {"MessageModule/PreferCharsetAsUTF8", "1"}},
         "koi8-r",
         "koi8-r"},
        {"the message has none",
         {{"MessageModule/UseMailCharsetAsDestinationCharset", "1"}},
         nullptr,
         "us-ascii"},
        {"utf-8 whatever was chosen", {{"MessageModule/PreferCharsetAsUTF8", "1"}}, "koi8-r", "utf-8"},
        {"none at all", {{"General-Notification/PreferredCharset", ""}}, nullptr, "null"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        settings.values = row.settings;
        settings.values.try_emplace("MessageModule/UseUTF8AsPreferCharsetForStamp", "0");
        start();
        fake().charset = row.ofMessage;
        area.stampText = "x";
        EXPECT_TRUE(stamp());
        EXPECT_EQ(inserted(), std::string("1 'x' 20 utf-8 ") + row.wanted);
        const std::string shownCharset = std::string(row.wanted) == "null" ? "" : row.wanted;
        const Strings told = lines(3);
        EXPECT_NE(std::find(told.begin(), told.end(), "PreferCharset has been set to " + shownCharset),
                  told.end());
    }
}

TEST_F(StampTest, BlankLinesPileUpOnOneObject) {
    set("general/NumOfBlankLineBeforeStampMessage", "2");
    EXPECT_TRUE(stamp());
    EXPECT_EQ(inserted(), "1 '\r\n\r\none\r\ntwo' 20 utf-8 us-ascii");
    EXPECT_TRUE(stamp());
    EXPECT_EQ(inserted(), "1 '\r\n\r\n\r\n\r\none\r\ntwo' 20 utf-8 us-ascii");
    set("general/NumOfBlankLineBeforeStampMessage", "-3");
    area.stampText = "x";
    EXPECT_TRUE(stamp());
    EXPECT_EQ(inserted(), "1 'x' 20 utf-8 us-ascii");
}

TEST_F(StampTest, LongLinesAreDividedFirst) {
    set("MessageModule/DisclaimerLineLimit", "3");
    area.stampText = "abcdef";
    EXPECT_TRUE(stamp());
    EXPECT_EQ(fake().calls[3], "locator 1 8 8 1");
    EXPECT_EQ(inserted(), "1 'abc\r\ndef' 20 utf-8 us-ascii");
    expectL1("Long line detected '6'");
    expectL1("Long line divided '5'");
    set("MessageModule/DisclaimerLineLimit", "5000"); // counts as 998
    area.stampText = std::string(1001, 'x');
    EXPECT_TRUE(stamp());
    EXPECT_EQ(fake().calls[3], "locator 1 1003 1003 1");
    expectL1("Long line detected '1001'");
    expectL1("Long line divided '1000'");
}

TEST_F(StampTest, FailuresOfTheInsertion) {
    fake().stampError = 5;
    EXPECT_FALSE(stamp());
    expectL1(
        "Failed to insert stamp into message. Error: five (5), modify signed/tnef: 0, dst charset: us-ascii");
    EXPECT_EQ(fake().calls.back(), "delete locator");
    set("MessageModule/IgnoreInsertError", "1");
    area.signedTnefMode = 2;
    EXPECT_TRUE(stamp());
    EXPECT_EQ(
        lines(2).back(),
        "Stamp insertion failure is ignored. Error: five (5), modify signed/tnef: 1, dst charset: us-ascii");
    fake().locatorWorks = false;
    EXPECT_FALSE(stamp());
    expectL1("Failed to create in-memory resource locator (length 8 bytes) for disclaimer insertion.");
}

TEST_F(StampTest, ReadsItsSettingsInOrder) {
    settings.values["MessageModule/IgnoreInsertError"] = "1";
    settings.values["MessageModule/InsertStampAsAttachment"] = "2";
    settings.reads.clear();
    EXPECT_TRUE(ActStamp::init(settings, log));
    EXPECT_EQ(settings.reads,
              (Strings{"MessageModule/IgnoreInsertError", "MessageModule/DisclaimerLineLimit",
                       "general/NumOfBlankLineBeforeStampMessage", "MessageModule/InsertStampAsAttachment",
                       "MessageModule/PreferCharsetAsUTF8"}));
    EXPECT_EQ(fake().calls, Strings{"as attachment 1"});
    EXPECT_EQ(log.lines,
              (Strings{"L2 Ignore stamp insertion failure", "L3 NumOfBlankLineBeforeStampMessage:0"}));
    settings.values.clear();
    EXPECT_TRUE(ActStamp::init(settings, log));
    EXPECT_EQ(fake().calls, Strings{"as attachment 1"}); // not again
}

} // namespace
} // namespace quzo::test
