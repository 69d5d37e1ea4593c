// Composing a notification: the order of calls, its texts, and every way in which it fails. Who gets it is in
// notify_recipients_test.cpp.
#include <cctype>

#include "compose_fixture.h"
#include "quzo/notify/notification_header.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

// A call without the time that is in it.
std::string shapeOf(std::string call) {
    const std::size_t begin = call.find('\'') + 1;
    if (call.starts_with("setHeader Date ")) {
        for (char& c : call) {
            c = std::isdigit(static_cast<unsigned char>(c)) != 0 ? '0' : c == '-' ? '+' : c;
        }
        call.replace(begin, 3, "Day").replace(begin + 8, 3, "Mon");
        return call;
    }
    const std::size_t number = begin + 3;
    const std::size_t end = call.find_first_not_of("0123456789ABCDEF", number);
    return end >= number + 10 ? call.replace(number, end - number, "X") : call;
}

TEST_F(ComposeTest, TheOrderOfEverything) {
    area.notifySender = area.notifyRecipients = area.attachMessage = area.sendSnmpTrap = true;
    area.snmpMessage = "trap of %RULENAME%";
    area.snmpTrapType = 6;
    setSwitches({{"SNMPServer", "s"}});
    settings.values["quzo_manager/scanner_id"] = "10";
    start();
    ASSERT_TRUE(run());
    Strings calls = fake().calls;
    for (std::string& one : calls) {
        if (one.starts_with("setHeader Date ") || one.starts_with("setHeader Message-ID ")) {
            one = shapeOf(one);
        }
    }
    EXPECT_EQ(calls, (Strings{"conv utf-8>utf-8 strict",
                              "create message",
                              "setRcpt 'admin@x;root@x' replace",
                              "setSender 'n@x'",
                              "write field From",
                              "addHeaderField -1 From '' null",
                              "write field From",
                              "setValue '\"n@x\" <n@x>' null",
                              "setRcpt 'from@x' append",
                              "insertRecipient 3 'r1@x'",
                              "insertRecipient 4 'r2@x'",
                              "delete session", // of the scanned message
                              "write field Content-Type",
                              "addHeaderField -1 Content-Type '' null",
                              "write field Content-Type",
                              "write field Subject",
                              "addHeaderField -1 Subject '' null",
                              "write field Subject",
                              "conv utf-8>utf-8 strict into 1024",
                              "setValue 'About from@x' utf-8",
                              "setValue 'text/html' null",
                              "setParameter charset 'utf-8'",
                              "setHeader Content-Transfer-Encoding 'base64' null",
                              "setHeader Date 'Day, 00 Mon 0000 00:00:00 +0000' null",
                              "setHeader MIME-Version '1.0' null",
                              "setHeader To 'admin@x;root@x;from@x;r1@x;r2@x' utf-8",
                              "setHeader Message-ID '<A-X-SCANNED>' null",
                              "locator 1 9 9 1",
                              "setContent 'Body of R' text/plain utf-8 base64",
                              "delete locator", // by the entity, which took it over
                              "insertMessage ORIGINAL -1",
                              "removeHeaderField 3",
                              "setHeader X-quzo-reprocess-rules '40' null",
                              "setHeader X-quzo-reprocess-type 'notification' null",
                              "submitForScan 1",
                              "removeHeader X-quzo-reprocess-rules",
                              "delete session",
                              "delete message",
                              "trap s 6 '' 'trap of R' 0"}));
    EXPECT_EQ(log.lines, Strings{"L2 set Content-Transfer-Encoding as base64"});
    EXPECT_EQ(adapter.recipientsThen, (Strings{"admin@x", "root@x", "from@x", "r1@x", "r2@x"}));
    EXPECT_EQ(field("X-quzo-reprocess-rules"), "40");
    EXPECT_EQ(field("Content-Type"), "multipart/mixed");
    EXPECT_EQ(field("Content-Transfer-Encoding"), "(none)");
    EXPECT_TRUE(message.root.fields.empty()) << "the scanned message has changed";
}

TEST_F(ComposeTest, WhichMessageIsAttachedAndHowItLeaves) {
    const struct {
        bool attach, modified;
        const char* skipScan;
        const char* inserted;
        const char* sent;
    } rows[] = {
        {false, true, "0", "", "sendComposed"},
        {true, false, "0", "insertMessage ORIGINAL -1", "submitForScan 1"},
        {true, true, "0", "insertMessage SCANNED -1", "submitForScan 1"},
        {true, true, "1", "insertMessage SCANNED -1", "sendComposed"},
    };
    for (const auto& row : rows) {
        setSwitches({{"NotificationSkipScan", row.skipScan}});
        area.attachMessage = row.attach;
        area.attachModifiedMessage = row.modified;
        EXPECT_TRUE(run());
        EXPECT_EQ(call("insertMessage"), row.inserted);
        EXPECT_EQ(call("send") + call("submit"), row.sent);
        const bool marked = std::string(row.sent) != "sendComposed";
        EXPECT_EQ(field("X-quzo-reprocess-type"), marked ? "notification" : "(none)");
        EXPECT_EQ(field("Content-Transfer-Encoding"), row.attach ? "(none)" : "base64");
    }
}

TEST_F(ComposeTest, CharsetsOfSubjectAndBody) {
    const std::string failed = "Cannot convert from charset 'utf-8' to '";
    const struct {
        const char* charset; // the default destination charset
        const char* text;    // subject and body
        bool converts;
        const char* prefix; // put before what was converted
        const char* subject;
        const char* content;
        const char* parameter;
    } rows[] = {
        {"utf-8", "t\xC3\xA9", true, "", "setValue 't\xC3\xA9' utf-8", "'t\xC3\xA9' text/plain utf-8",
         "utf-8"},
        {"UTF-8", "t", true, "", "setValue 't' utf-8", "'t' text/plain utf-8", "UTF-8"},
        {"us-ascii", "t", true, "c:", "setValue 'c:t' us-ascii", "'c:t' text/plain null", "us-ascii"},
        {"US-ASCII", "t", true, "\xE9", "setValue 't' utf-8", "'\xE9t' text/plain utf-8", "utf-8"},
        {"us-ascii", "t\xC3\xA9", false, "", "setValue 't\xC3\xA9' utf-8", "'t\xC3\xA9' text/plain utf-8",
         "utf-8"},
        {"iso-2022-jp", "t", true, "j:", "setValue 'j:t' iso-2022-jp", "'j:t' text/plain iso-2022-jp",
         "iso-2022-jp"},
        {"iso-2022-jp", "t\xC3\xA9", false, "", "setValue 't\xC3\xA9' utf-8", "'t\xC3\xA9' text/plain utf-8",
         "utf-8"},
        {"euc-jp", "t", true, "e:", "setValue 'e:t' euc-jp", "'e:t' text/plain null", "euc-jp"},
        {"utf-8", "", true, "", "setValue '' utf-8", "' ' text/plain utf-8", "utf-8"},
        {"us-ascii", "%RULENAME%", true, "", "setValue 'R' us-ascii", "'R' text/plain null", "us-ascii"},
        {"us-ascii", "%VIRUSNAME%", true, "", "setValue '%VIRUSNAME%' us-ascii", "' ' text/plain null",
         "us-ascii"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.charset) + " " + row.text);
        setSwitches({{"PreferredCharset", row.charset}});
        fake().conversionPrefix = {{row.charset, row.prefix}};
        fake().badConversions.clear();
        if (!row.converts) {
            fake().badConversions = {{"utf-8", row.charset}};
        }
        area.subject = area.message = row.text;
        EXPECT_TRUE(run());
        const auto subject = std::find(fake().calls.begin(), fake().calls.end(), row.subject);
        EXPECT_NE(subject, fake().calls.end()) << ::testing::PrintToString(fake().calls);
        EXPECT_EQ(call("setContent "), std::string("setContent ") + row.content + " base64");
        EXPECT_EQ(call("setParameter "), std::string("setParameter charset '") + row.parameter + "'");
        if (!row.converts) {
            expectL1(failed + row.charset + "', error 5 ('five') with string: " + row.text + ".");
        }
    }
}

TEST_F(ComposeTest, LongTexts) {
    setSwitches({{"PreferredCharset", "us-ascii"}});
    area.subject = std::string(3000, 's');
    area.message = std::string(40, 'm');
    fake().badConversions = {{"utf-8", "us-ascii"}};
    EXPECT_TRUE(run());
    expectL1("Cannot convert from charset 'utf-8' to 'us-ascii', error 5 ('five') with string: " +
             std::string(32, 'm') + ".");
    EXPECT_EQ(field("Subject").size(), 3000U);
    fake().badConversions.clear();
    EXPECT_TRUE(run());
    EXPECT_EQ(field("Subject").size(), 1023U) << "a converted one is cut";
}

// After each of them the mail is gone, and neither it nor a trap was sent.
TEST_F(ComposeTest, EveryFailure) {
    const struct {
        const char* line;
        std::function<void(FakeMessage&)> mail = {};
        std::function<void(FakePlatform&)> platform = {};
    } rows[] = {
        {"Failed to create Message object instance.", {}, [](auto& all) { all.createWorks = false; }},
        {"Cannot retrieve root Entity from the composing notification message.",
         [](auto& mail) { mail.hasRoot = false; }},
        {"Failed to set recipient address(es) into notification message, length 14 byte(s).",
         {},
         [](auto& all) { all.setRcptWorks = false; }},
        {"Invalid session information in notification message.", [](auto& mail) { mail.hasSession = false; }},
        {"Failed to set sender address into notification message, error 5 ('five'), length 3 byte(s).",
         [](auto& mail) { mail.session.senderError = 5; }},
        {"Failed to get recipient address(es) from notification message.",
         {},
         [](auto& all) { all.getRcptWorks = false; }},
        {"Failed to create Message object instance.", [](auto& mail) { mail.root.takesFields = false; }},
        {"Failed to create Message object instance.", [](auto& mail) { mail.root.lostField = "Subject"; }},
        {"Failed to create Resource Locator object before disclaimer insertion.",
         {},
         [](auto& all) { all.locatorWorks = false; }},
        {"Failed to insert disclaimer message when composing notification message, error 5 ('five').",
         [](auto& mail) { mail.root.contentError = 5; }},
        {"Failed to insert scanning message into notification message, error 5 ('five').",
         [](auto& mail) { mail.root.insertError = 5; }},
    };
    area.attachMessage = area.sendSnmpTrap = true;
    area.snmpMessage = "t";
    setSwitches({{"SNMPServer", "s"}});
    const FakePlatform before = fake();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        fake() = before;
        fake().prepareCreated = row.mail;
        if (row.platform) {
            row.platform(fake());
        }
        EXPECT_FALSE(run());
        expectL1(row.line);
        EXPECT_EQ(fake().calls.back(), fake().createWorks ? "delete message" : "create message");
        EXPECT_EQ(call("submit"), "");
    }
}

TEST_F(ComposeTest, MoreFailures) {
    area.notifyRecipients = true;
    message.hasSession = false;
    EXPECT_FALSE(run());
    EXPECT_EQ(log.lines, Strings{"L3 Invalid session information in original message."});
    EXPECT_EQ(fake().calls.back(), "delete message");
    message.hasSession = true;
    adapter.sendError = 7;
    EXPECT_FALSE(run());
    expectL1("Failed to send notification through SMTP Adapter, error 7.");
    EXPECT_EQ(fake().calls.back(), "delete message");
    adapter.sendError = 0;
    // These are only told of.
    fake().prepareCreated = [](FakeMessage& mail) {
        FakeField& subject = mail.root.add("Subject", "");
        subject.refused = {"utf-8"};
        mail.root.add("Content-Type", "").parameterError = 5;
        mail.root.lostField = "From";
    };
    EXPECT_TRUE(run());
    expectL1("Failed to set Subject string, error 3 ('other').");
    EXPECT_EQ(log.lines, (Strings{"L2 Failed to get header 'From'.",
                                  "L2 Cannot set charset to be 'utf-8', error 5 ('five').",
                                  "L2 set Content-Transfer-Encoding as base64"}));
}

TEST_F(ComposeTest, WithoutAMessage) {
    area.notifySender = area.attachMessage = true;
    setSwitches({{"NotificationGetSenderFromMIME", "1"}});
    bool consumed = false;
    EXPECT_TRUE(ActNotify::_runNameObj(nullptr, &original, consumed, tokens, adapter, area));
    EXPECT_EQ(field("Subject"), "About %SENDER%");
    EXPECT_EQ(field("Message-ID"), "");
    EXPECT_EQ(field("To"), "admin@x;root@x") << "there is no sender to notify";
    area.attachModifiedMessage = true;
    fake().calls.clear();
    EXPECT_TRUE(ActNotify::_runNameObj(nullptr, &original, consumed, tokens, adapter, area));
    EXPECT_EQ(call("insertMessage"), "insertMessage null -1") << "the platform refuses it";
    area.notifyRecipients = true;
    EXPECT_FALSE(ActNotify::_runNameObj(nullptr, &original, consumed, tokens, adapter, area));
}

TEST(TransferEncodingTest, GoesFromMultipartsOnly) {
    const struct {
        const char* what;
        std::vector<std::pair<std::string, std::string>> fields;
        int removed; // -1: none
    } rows[] = {
        {"multipart",
         {{"content-type", "MULTIPART/mixed"}, {"X", "y"}, {"CONTENT-transfer-encoding", "8bit"}},
         2},
        {"leaf", {{"Content-Type", "text/plain"}, {"Content-Transfer-Encoding", "8bit"}}, -1},
        {"the second says so",
         {{"Content-Type", "text/plain"},
          {"Content-Transfer-Encoding", "a"},
          {"Content-Type", "multipart/x"},
          {"Content-Transfer-Encoding", "b"}},
         1},
        {"other names", {{"Content-Type-X", "multipart/x"}, {"Content-Transfer-Encoding", "a"}}, -1},
        {"no encoding", {{"Content-Type", "multipart/x"}, {"Content-Transfer-Encodings", "a"}}, -1},
    };
    _remove_content_transfer_encoding_for_multipart_email(nullptr);
    for (const auto& row : rows) {
        FakeEntity entity;
        for (const auto& [name, value] : row.fields) {
            entity.add(name, value);
        }
        FakeField& broken = entity.add("", ""); // neither name nor value can be had
        broken.nameIsNull = broken.valueIsNull = true;
        fake().calls.clear();
        _remove_content_transfer_encoding_for_multipart_email(&entity);
        EXPECT_EQ(fake().calls,
                  row.removed < 0 ? Strings{} : Strings{"removeHeaderField " + std::to_string(row.removed)})
            << row.what;
    }
}

} // namespace
} // namespace quzo::test
