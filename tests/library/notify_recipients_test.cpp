// Who gets a notification, and what its "From" and "To" show.
#include "compose_fixture.h"
#include "quzo/notify/notification_header.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

constexpr const char* kNoSender =
    "L3 Original message sender is empty and cannot be added into SMTP notification recipient.";

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
    fake().prepareCreated = [](FakeMessage& mail) { mail.session.countsNone = true; };
    EXPECT_TRUE(run());
    EXPECT_EQ(log.lines.back(), "L2 Skip SMTP notification due to zero recipient.");
    EXPECT_EQ(count("sendComposed"), 0);
    EXPECT_EQ(fake().calls.back(), "trap s 0 '' 't' 0");
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
        fake().prepareCreated = [&row](FakeMessage& mail) { mail.session.sender.name = row.name; };
        EXPECT_TRUE(run());
        EXPECT_EQ(field("From"), row.from);
        EXPECT_EQ(count("free words"), row.words && *row.name != '\0' ? 1 : 0);
    }
    area.sender = "\"a\\\"b\"@x";
    fake().prepareCreated = {};
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

} // namespace
} // namespace quzo::test
