// Composing a notification: every text, the order of calls, who gets it, and every way in which it fails.
#include <algorithm>
#include <regex>

#include "fake_platform.h"
#include "quzo/notify/act_notify.h"
#include "quzo/notify/notification_header.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

constexpr const char* kNoSender =
    "L3 Original message sender is empty and cannot be added into SMTP notification recipient.";

class ComposeTest : public LibraryTest {
protected:
    ComposeTest() {
        fake().convCopies = true;
        message.identifier = "SCANNED";
        original.identifier = "ORIGINAL";
        area.sender = "n@x";
        area.recipients = "admin@x;root@x";
        area.subject = "About %SENDER%";
        area.message = "Body of %RULENAME%";
        tokens.set(ScanToken::Sender, "from@x");
        tokens.set(ScanToken::Recipients, "r1@x;r2@x");
        tokens.set(ScanToken::RuleName, "R");
        tokens.set(ScanToken::RuleId, "40");
        message.recipients = {"r1@x", "r2@x"};
        setSwitches({});
    }

    void setSwitches(std::map<std::string, std::string> values) {
        settings.values = {{"General-Notification/PreferredCharset", "utf-8"}};
        for (auto& [key, value] : values) {
            settings.values["General-Notification/" + key] = value;
        }
        start();
    }

    bool run() {
        fake().calls.clear();
        log.lines.clear();
        bool consumed = true;
        const bool done = ActNotify::_runNameObj(&message, &original, consumed, tokens, adapter, area);
        EXPECT_TRUE(consumed) << "never written";
        EXPECT_EQ(count("create message"), count("delete message")) << "a mail is left behind";
        return done;
    }

    static long count(const std::string& call) {
        return std::count(fake().calls.begin(), fake().calls.end(), call);
    }

    // The value that a field had when the mail was sent; "(none)" without it.
    std::string field(const std::string& name) const {
        for (const std::string& one : adapter.headerThen) {
            if (one.starts_with(name + "=")) {
                return one.substr(name.size() + 1);
            }
        }
        return "(none)";
    }

    // The first call that begins so; empty when there is none.
    static std::string call(const std::string& begin) {
        const auto found = std::find_if(fake().calls.begin(), fake().calls.end(),
                                        [&](const std::string& one) { return one.starts_with(begin); });
        return found == fake().calls.end() ? std::string() : *found;
    }

    static void failOnCreated(std::function<void(FakeMessage&)> prepare) {
        fake().prepareCreated = std::move(prepare);
    }

    uiNotifyArea area;
    FakeMessage original;
};

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
        one = std::regex_replace(one,
                                 std::regex("Date '[A-Z][a-z]{2}, [0-9]{2} [A-Z][a-z]{2} [0-9]{4} "
                                            "[0-9]{2}:[0-9]{2}:[0-9]{2} [-+][0-9]{4}'"),
                                 "Date NOW");
        one = std::regex_replace(one, std::regex("'<A-[1-9A-F][0-9A-F]{10,}-SCANNED>'"), "ID");
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
                              "setHeader Date NOW null",
                              "setHeader MIME-Version '1.0' null",
                              "setHeader To 'admin@x;root@x;from@x;r1@x;r2@x' utf-8",
                              "setHeader Message-ID ID null",
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

TEST_F(ComposeTest, TheSenderOfTheMessage) {
    const struct {
        const char* what;
        bool fromMime, worksAsRecipient;
        const char* token; // null: there is none
        const char* from;  // null: there is none
        const char* to;
        Strings recipients, lines;
    } rows[] = {
        {"token", false, true, "t@x", "f@x", "a@x;t@x", {"a@x", "t@x"}, {}},
        {"no token", false, true, nullptr, "f@x", "a@x", {"a@x"}, {kNoSender}},
        {"empty token", false, true, "", "f@x", "a@x", {"a@x"}, {kNoSender}},
        {"one blank", false, true, " ", "f@x", "a@x", {"a@x"}, {kNoSender}},
        {"two blanks", false, true, "  ", "f@x", "a@x;  ", {"a@x", "  "}, {}},
        {"field", true, true, "t@x", "F <f@x>", "a@x;F <f@x>", {"a@x", "F <f@x>"}, {}},
        {"no field", true, true, "t@x", nullptr, "a@x", {"a@x"}, {kNoSender}},
        {"refused",
         true,
         false,
         "",
         "f@x",
         "a@x;f@x",
         {"a@x"},
         {"L3 Invalid message sender for SMTP Notification recipient.", kNoSender}},
    };
    area.subject = "s";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        setSwitches({{"NotificationGetSenderFromMIME", row.fromMime ? "1" : "0"}});
        area.recipients = "a@x";
        area.notifySender = true;
        message.root.fields.clear();
        if (row.from != nullptr) {
            message.root.add("From", row.from);
        }
        tokens.RemoveToken(ScanToken::Sender);
        if (row.token != nullptr) {
            tokens.set(ScanToken::Sender, row.token);
        }
        fake().refusedRecipient = row.worksAsRecipient ? "" : "f@x";
        EXPECT_TRUE(run());
        EXPECT_EQ(field("To"), row.to);
        EXPECT_EQ(adapter.recipientsThen, row.recipients);
        EXPECT_EQ(Strings(log.lines.begin(), log.lines.end() - 1), row.lines);
        EXPECT_EQ(message.root.fields.size(), row.from != nullptr ? 1U : 0U);
    }
    area.recipients = "";
    fake().refusedRecipient = "";
    EXPECT_TRUE(run());
    EXPECT_EQ(field("To"), ";f@x");
}

// Text that could be read as more than one address becomes no recipient.
TEST_F(ComposeTest, ASenderIsNeverSeveralRecipients) {
    const std::pair<const char*, bool> rows[] = {
        {"a@x;b@x", false},       {"a@x;", false},          {"A <a@x>; b@x", false},
        {"a@x,b@x", false},       {"\"A; B\" <a@x>", true}, {"\"A\\\";\" <a@x>", true},
        {"\"A\\\\\";b@x", false}, {"a\\;b@x", false},       {"a@x (B, C)", true},
        {"(\";\") a@x", true},    {"(a;b) a@x", false},     {"\"A, B\" <a@x>", true},
        {"A) , B <a@x>", false},  {"\";a@x", true}};
    area.notifySender = true;
    for (const auto& [sender, taken] : rows) {
        tokens.set(ScanToken::Sender, sender);
        EXPECT_TRUE(run());
        EXPECT_EQ(count(std::string("setRcpt '") + sender + "' append"), taken ? 1 : 0) << sender;
        EXPECT_EQ(log.lines.front() == "L3 Invalid message sender for SMTP Notification recipient.", !taken);
    }
}

TEST_F(ComposeTest, AHeaderInAnotherCharsetIsPutIntoUtf8) {
    setSwitches({{"NotificationGetSenderFromMIME", "1"}});
    area.notifySender = true;
    fake().conversionPrefix["utf-8"] = "u:";
    message.root.add("From", "f@x", "ISO-2022-JP");
    EXPECT_TRUE(run());
    EXPECT_EQ(field("To"), "admin@x;root@x;u:f@x");
    fake().badConversions = {{"ISO-2022-JP", "utf-8"}};
    EXPECT_TRUE(run());
    EXPECT_EQ(field("To"), "admin@x;root@x;f@x");
    message.root.fields[0]->charset = "UTF-8";
    EXPECT_TRUE(run());
    EXPECT_EQ(field("To"), "admin@x;root@x;f@x");
}

TEST_F(ComposeTest, TheRecipientsOfTheMessage) {
    const std::string hidden = "a@x;\"NotificationRecipients\"<NotificationRecipients>";
    Strings many;
    for (int i = 0; i < 500; ++i) {
        many.push_back("r" + std::to_string(i) + "@x");
    }
    const struct {
        const char* what;
        bool hide;
        Strings original;
        const char* token; // null: there is none
        std::string to;
        Strings added;
    } rows[] = {
        {"two", false, {"b@x", "c@x"}, "b@x;c@x", "a@x;b@x;c@x", {"b@x", "c@x"}},
        {"hidden", true, {"b@x", "c@x"}, "b@x;c@x", hidden, {"b@x", "c@x"}},
        {"no token", false, {"b@x"}, nullptr, "a@x", {"b@x"}},
        {"empty token", false, {"b@x"}, "", "a@x;", {"b@x"}},
        {"none", false, {}, "b@x", "a@x;b@x", {}},
        {"500", true, many, "", hidden, many},
        {"POP3", false, {"pop3_MAIL_recipient7"}, "real@x", "a@x;real@x", {"real@x"}},
        {"POP3 without token", false, {"POP3_Mail_Recipient"}, nullptr, "a@x", {}},
        {"POP3 and another",
         false,
         {"POP3_Mail_Recipient", "b@x"},
         "t@x",
         "a@x;t@x",
         {"POP3_Mail_Recipient", "b@x"}},
        {"shorter", false, {"POP3_Mail_Recipien"}, "t@x", "a@x;t@x", {"POP3_Mail_Recipien"}},
    };
    area.recipients = "a@x";
    area.notifyRecipients = true;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        setSwitches({{"NotificationHideRecipients", row.hide ? "1" : "0"}});
        message.recipients = row.original;
        tokens.RemoveToken(ScanToken::Recipients);
        if (row.token != nullptr) {
            tokens.set(ScanToken::Recipients, row.token);
        }
        EXPECT_TRUE(run());
        EXPECT_EQ(field("To"), row.to);
        Strings expected{"a@x"};
        expected.insert(expected.end(), row.added.begin(), row.added.end());
        EXPECT_EQ(adapter.recipientsThen, expected);
        EXPECT_EQ(message.recipients, row.original);
    }
}

TEST_F(ComposeTest, WithoutARecipientOnlyTheTrapIsSent) {
    setSwitches({{"SNMPServer", "s"}});
    area.sendSnmpTrap = true;
    area.snmpMessage = "t";
    for (const char* recipients : {"", " ; "}) {
        area.recipients = recipients;
        EXPECT_TRUE(run());
        expectL1("No valid recipient in notification message.");
        EXPECT_EQ(call("send"), "");
        EXPECT_EQ(fake().calls.back(), "trap s 0 '' 't' 0");
    }
    area.recipients = "a@x";
    failOnCreated([](FakeMessage& mail) { mail.session.countsNone = true; });
    EXPECT_TRUE(run());
    EXPECT_EQ(log.lines.back(), "L2 Skip SMTP notification due to zero recipient.");
    EXPECT_EQ(count("sendComposed"), 0);
    EXPECT_EQ(fake().calls.back(), "trap s 0 '' 't' 0");
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

TEST_F(ComposeTest, TheFieldFrom) {
    const struct {
        const char* what;
        const char* name;
        bool words;
        const char* from;
    } rows[] = {
        {"a name", "The Gateway", true, "\"=?utf-8?The Gateway?=\" <n@x>"},
        {"a name that cannot be encoded", "The Gateway", false, "\"n@x\" <n@x>"},
        {"no name", "", true, "\"n@x\" <n@x>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        fake().wordsWork = row.words;
        failOnCreated([&row](FakeMessage& mail) { mail.session.sender.name = row.name; });
        EXPECT_TRUE(run());
        EXPECT_EQ(field("From"), row.from);
    }
    EXPECT_EQ(count("free words"), 0);
    area.sender = "\"a\\\"b\"@x";
    failOnCreated({});
    EXPECT_TRUE(run());
    EXPECT_EQ(field("From"), "\"\\\"a\\\\\\\"b\\\"@x\" <\"a\\\"b\"@x>");
    area.sender = "";
    EXPECT_TRUE(run());
    EXPECT_EQ(field("From"), "");
    EXPECT_EQ(call("setSender"), "");

    FakeMessage mail;
    EXPECT_FALSE(_add_sender_into_header(&mail.root, mail.session, "utf-8", false)) << "no sender";
    mail.session.setSender("n@x");
    mail.root.fields[0]->refused = {""};
    EXPECT_FALSE(_add_sender_into_header(&mail.root, mail.session, "utf-8", false));
}

TEST_F(ComposeTest, EveryFailure) {
    const struct {
        const char* what;
        std::function<void(FakeMessage&)> prepare;
        std::function<void(FakePlatform&)> platform;
        const char* line; // level and text
        Strings last;     // calls
    } rows[] = {
        {"create",
         {},
         [](FakePlatform& all) { all.createWorks = false; },
         "L1 Failed to create Message object instance.",
         {"create message"}},
        {"root",
         [](FakeMessage& mail) { mail.hasRoot = false; },
         {},
         "L1 Cannot retrieve root Entity from the composing notification message.",
         {"create message", "delete message"}},
        {"recipients",
         {},
         [](FakePlatform& all) { all.setRcptWorks = false; },
         "L1 Failed to set recipient address(es) into notification message, length 14 byte(s).",
         {"delete message"}},
        {"session",
         [](FakeMessage& mail) { mail.hasSession = false; },
         {},
         "L1 Invalid session information in notification message.",
         {"delete message"}},
        {"sender",
         [](FakeMessage& mail) { mail.session.senderError = 5; },
         {},
         "L1 Failed to set sender address into notification message, error 5 ('five'), length 3 byte(s).",
         {"setSender 'n@x'", "delete session", "delete message"}},
        {"reading back",
         {},
         [](FakePlatform& all) { all.getRcptWorks = false; },
         "L1 Failed to get recipient address(es) from notification message.",
         {"delete session", "delete message"}},
        {"fields",
         [](FakeMessage& mail) { mail.root.takesFields = false; },
         {},
         "L1 Failed to create Message object instance.",
         {"addHeaderField -1 Content-Type '' null", "delete session", "delete message"}},
        {"subject",
         [](FakeMessage& mail) { mail.root.lostField = "Subject"; },
         {},
         "L1 Failed to create Message object instance.",
         {"write field Subject", "delete session", "delete message"}},
        {"locator",
         {},
         [](FakePlatform& all) { all.locatorWorks = false; },
         "L1 Failed to create Resource Locator object before disclaimer insertion.",
         {"locator 1 9 9 1", "delete session", "delete message"}},
        {"content",
         [](FakeMessage& mail) { mail.root.contentError = 5; },
         {},
         "L1 Failed to insert disclaimer message when composing notification message, error 5 ('five').",
         {"delete locator", "delete session", "delete message"}},
        {"attachment",
         [](FakeMessage& mail) { mail.root.insertError = 5; },
         {},
         "L1 Failed to insert scanning message into notification message, error 5 ('five').",
         {"insertMessage ORIGINAL -1", "delete session", "delete message"}},
    };
    area.attachMessage = true;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        setSwitches({{"SNMPServer", "s"}}); // no trap is sent after a failure
        area.sendSnmpTrap = true;
        area.snmpMessage = "t";
        const FakePlatform before = fake();
        fake().prepareCreated = row.prepare;
        if (row.platform) {
            row.platform(fake());
        }
        bool consumed = false;
        fake().calls.clear();
        EXPECT_FALSE(ActNotify::_runNameObj(&message, &original, consumed, tokens, adapter, area));
        EXPECT_EQ(log.lines.back(), row.line);
        const auto size = static_cast<std::ptrdiff_t>(std::min(row.last.size(), fake().calls.size()));
        EXPECT_EQ(Strings(fake().calls.end() - size, fake().calls.end()), row.last);
        fake() = before;
        log.lines.clear();
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
    EXPECT_EQ(log.lines.front(), kNoSender);
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
