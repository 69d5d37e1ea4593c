// The notify action: its settings, its templates, the guard against notifying about notifications, the trap;
// and the texts that need no message: dates, Message-IDs, labels.
#include <cstdlib>
#include <ctime>

#include "fake_platform.h"
#include "quzo/notify/act_notify.h"
#include "quzo/notify/notification_date.h"
#include "quzo/notify/notification_texts.h"
#include "quzo/notify/notify_settings.h"
#include "quzo/notify/pop3_labels.h"
#include "quzo/settings/ui_quarantine_area.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

// An object that says that it is of another type.
template <typename Object, QuzoNamedObj::NaObjType type>
class Liar : public Object {
public:
    QuzoNamedObj::NaObjType getType() const override { return type; }
};

class NotifyTest : public LibraryTest {
protected:
    NotifyTest() {
        fake().convCopies = true;
        area.description = "Virus found";
        area.recipients = "admin@x";
        namedObjects.objects = {{3, &area},  {4, &second},     {5, nullptr},
                                {6, &other}, {7, &noTemplate}, {8, &hidden}};
        second.description = "Second";
        second.recipients = "second@x";
    }

    bool notify(const std::string& ids) {
        ActNotify action;
        EXPECT_TRUE(action.construct(ids.data(), static_cast<unsigned>(ids.size())));
        bool consumed = true;
        fake().calls.clear();
        const bool done = action.takeAction(&message, &message, consumed, tokens, adapter, namedObjects);
        EXPECT_FALSE(consumed);
        return done;
    }

    static std::size_t sent() {
        std::size_t count = 0;
        for (const std::string& call : fake().calls) {
            count += call == "sendComposed" || call.starts_with("submitForScan") ? 1 : 0;
        }
        return count;
    }

    uiNotifyArea area;
    uiNotifyArea second;
    uiQuarantineArea other;
    Liar<uiQuarantineArea, QuzoNamedObj::NaObjType::NotifyArea> noTemplate;
    Liar<uiNotifyArea, QuzoNamedObj::NaObjType::QuarantineArea> hidden;
};

TEST_F(NotifyTest, SettingsAndTheirLinesInOrder) {
    const Strings order = {"MessageModule/IgnoreSnmpError",
                           "General-Notification/SNMPServer",
                           "General-Notification/Community",
                           "General-Notification/MailFrom",
                           "General-Notification/NotificationSkipScan",
                           "General-Notification/NotificationHideRecipients",
                           "General-Notification/NotificationGetSenderFromMIME",
                           "quzo_manager/scanner_id"};
    EXPECT_TRUE(ActNotify::init(settings, log));
    EXPECT_EQ(settings.reads, order);
    EXPECT_EQ(log.lines,
              (Strings{"L2 No SNMP server address configured. SNMP Trap for notification will be ignored.",
                       "L2 Missing community string, default is 'xq7amb'.",
                       "L2 SMTP Notification Mail From is empty."}));
    EXPECT_EQ(notifySettings().community, "");
    log.lines.clear();
    settings.values = {{order[0], "2"}, {order[1], "snmp.x"}, {order[2], "public"}, {order[3], "n@x"},
                       {order[4], "1"}, {order[5], "0"},      {order[6], "-1"},     {order[7], "4294967295"}};
    EXPECT_TRUE(ActNotify::init(settings, log));
    EXPECT_EQ(log.lines, (Strings{"L3 SNMP server address: snmp.x", "L3 SNMP Community string: public",
                                  "L3 SMTP Notification Mail From:"}));
    const NotifySettings& read = notifySettings();
    EXPECT_TRUE(read.ignoreSnmpError && read.skipScan && read.senderFromMime);
    EXPECT_FALSE(read.hideRecipients);
    EXPECT_EQ(read.mailFrom, "n@x");
}

TEST_F(NotifyTest, TemplatesInOrderUntilOneFails) {
    EXPECT_TRUE(notify("2-4-3"));
    EXPECT_EQ(sent(), 2U);
    EXPECT_EQ(adapter.recipientsThen, Strings{"admin@x"});
    const struct {
        const char* ids;
        std::size_t sentBefore;
        const char* line;
    } rows[] = {
        {"2-3-9", 1, "Invalid name object type reference. id=9"},
        {"2-5-3", 0, "Invalid name object type reference. id=5"},
        {"3-3-6-4", 1, "Incorrect name object type reference. type=3"},
        {"2-7-3", 0, "Incorrect name object type reference. type=1"},
        {"2-8-3", 0, "Incorrect name object type reference. type=3"},
    };
    for (const auto& row : rows) {
        EXPECT_FALSE(notify(row.ids));
        EXPECT_EQ(sent(), row.sentBefore) << row.ids;
        expectL1(row.line);
    }
    adapter.sendError = 5;
    EXPECT_FALSE(notify("2-3-4"));
    EXPECT_EQ(sent(), 1U);
    expectL1("Failed to send notification through SMTP Adapter, error 5.");
    expectL1("Failed to send out notification, named 'Virus found' (id=3).");
    bool consumed = true;
    EXPECT_FALSE(ActNotify().takeAction(&message, nullptr, consumed, tokens, adapter, namedObjects));
    EXPECT_FALSE(consumed);
}

TEST_F(NotifyTest, ANotificationIsNotNotifiedOf) {
    const struct {
        const char* reprocessed;
        const char* type;
        bool notifies;
    } rows[] = {{"yes", "notification", false}, {"yes", "quarantine", true}, {"yes", nullptr, true},
                {"no", "notification", true},   {"", "notification", true},  {"YES", "notification", true}};
    for (const auto& row : rows) {
        message.root.fields.clear();
        if (row.type != nullptr) {
            message.root.add("X-quzo-reprocess-type", row.type);
        }
        tokens.set(ScanToken::Reprocessed, row.reprocessed);
        log.lines.clear();
        EXPECT_TRUE(notify("1-3"));
        EXPECT_EQ(sent(), row.notifies ? 1U : 0U);
        if (!row.notifies) {
            EXPECT_EQ(log.lines,
                      Strings{"L2 Skip SMTP notification due to it's a notification mail already."});
        }
    }
}

TEST_F(NotifyTest, Traps) {
    area.snmpTrapType = 30;
    const struct {
        const char* what;
        const char* text;
        const char* server;
        const char* ignore;
        const char* line; // level and text; null: none
        const char* trap; // the call; null: none
        int error;
        bool asked, done;
    } rows[] = {
        {"sent", "by %RULENAME%", "snmp.x", "0", nullptr, "trap snmp.x 30 'pub' 'by R' 0", 0, true, true},
        {"not asked for", "text", "snmp.x", "0", nullptr, nullptr, 0, false, true},
        {"no text", "", "snmp.x", "0", nullptr, nullptr, 0, true, true},
        {"no server", "text", "", "0", "L2 Ignore SNMP Trap due to missing server address.", nullptr, 0, true,
         true},
        {"failed", "t", "s", "0", "L1 Failed to send SNMP Trap, error: 9.", "trap s 30 'pub' 't' 0", 9, true,
         false},
        {"ignored", "t", "s", "1", "L2 Ignore SNMP Trap sending error. (9)", "trap s 30 'pub' 't' 0", 9, true,
         true},
    };
    tokens.set(ScanToken::RuleName, "R");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        settings.values = {{"General-Notification/SNMPServer", row.server},
                           {"General-Notification/Community", "pub"},
                           {"MessageModule/IgnoreSnmpError", row.ignore}};
        start();
        area.sendSnmpTrap = row.asked;
        area.snmpMessage = row.text;
        fake().trapError = row.error;
        EXPECT_EQ(notify("1-3"), row.done);
        EXPECT_EQ(sent(), 1U) << "the mail goes whatever becomes of the trap";
        Strings traps;
        for (const std::string& call : fake().calls) {
            if (call.starts_with("trap ")) {
                traps.push_back(call);
            }
        }
        EXPECT_EQ(traps, row.trap == nullptr ? Strings{} : Strings{row.trap});
        if (!row.done) {
            expectL1("Failed to send out notification, named 'Virus found' (id=3).");
        }
        if (row.line != nullptr) {
            EXPECT_EQ(log.lines.back(), row.line);
        }
        log.lines.clear();
    }
}

TEST(NotificationTextTest, MessageIds) {
    EXPECT_EQ(notificationMessageId(10, 0x123'0000'00ABULL, "AB12"), "<A-123AB-AB12>");
    EXPECT_EQ(notificationMessageId(0xFFFFFFFFU, 0, ""), "<FFFFFFFF-00->");
    EXPECT_EQ(notificationMessageId(1, 1, std::string(3000, 'x').c_str()).size(), 1023U);
}

TEST(NotificationTextTest, Pop3Labels) {
    const std::pair<const char*, bool> rows[] = {{"a POP3_Mail_Sender b", true},
                                                 {"POP3FromLabel@*", true},
                                                 {"POP3FromLabel@x", false},
                                                 {"xPOP3ToLabel@*x", true},
                                                 {"pop3_mail_recipient", false},
                                                 {"", false},
                                                 {nullptr, false},
                                                 {"POP3_Mail_Recipient2", true}};
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(_is_pop3_email(text), expected) << shown(text);
    }
}

// A time zone for one scope.
class Zone {
public:
    explicit Zone(const char* name) {
        if (const char* value = std::getenv("TZ"); value != nullptr) { // NOLINT(concurrency-mt-unsafe)
            former_ = value;
            had_ = true;
        }
        set(name);
    }
    ~Zone() { set(had_ ? former_.c_str() : nullptr); }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

private:
    static void set(const char* name) {
        if (name != nullptr) {
            ::setenv("TZ", name, 1); // NOLINT(concurrency-mt-unsafe)
        } else {
            ::unsetenv("TZ"); // NOLINT(concurrency-mt-unsafe)
        }
        ::tzset();
    }

    std::string former_;
    bool had_ = false;
};

TEST(NotificationTextTest, DatesInTimeZones) {
    constexpr std::time_t kWinter = 1136214245; // 2006-01-02 15:04:05 UTC
    constexpr std::time_t kSummer = 1151852645; // 2006-07-02 15:04:05 UTC
    constexpr std::time_t kSpring = 1774746000; // 2026-03-29 01:00:00 UTC
    constexpr std::time_t kAutumn = 1792890000; // 2026-10-25 01:00:00 UTC
    const struct {
        const char* zone;
        std::time_t time;
        const char* date;
    } rows[] = {
        {"UTC0", kWinter, "Mon, 02 Jan 2006 15:04:05 +0000"},
        {"IST-5:30", kWinter, "Mon, 02 Jan 2006 20:34:05 +0530"},
        {"<-03>3", kWinter, "Mon, 02 Jan 2006 12:04:05 -0300"},
        {"<-0330>3:30", kSummer, "Sun, 02 Jul 2006 11:34:05 -0330"},
        {"<+1345>-13:45", kWinter, "Tue, 03 Jan 2006 04:49:05 +1345"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", kWinter, "Mon, 02 Jan 2006 16:04:05 +0100"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", kSummer, "Sun, 02 Jul 2006 17:04:05 +0200"},
        // Both sides of a change.
        {"CET-1CEST,M3.5.0,M10.5.0/3", kSpring - 1, "Sun, 29 Mar 2026 01:59:59 +0100"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", kSpring, "Sun, 29 Mar 2026 03:00:00 +0200"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", kAutumn - 1, "Sun, 25 Oct 2026 02:59:59 +0200"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", kAutumn, "Sun, 25 Oct 2026 02:00:00 +0100"},
        // Half an hour of daylight saving time, as on Lord Howe Island, counts as a whole one.
        {"<+1030>-10:30<+11>-11,M10.5.0,M3.5.0", kWinter, "Tue, 03 Jan 2006 02:04:05 +1130"},
        {"<+1030>-10:30<+11>-11,M10.5.0,M3.5.0", kSummer, "Mon, 03 Jul 2006 01:34:05 +1030"},
        // Winter as the time that deviates, as in Ireland and Morocco, is two hours off.
        {"IST-1GMT0,M10.5.0,M3.5.0/1", kSpring - 1, "Sun, 29 Mar 2026 00:59:59 +0200"},
        {"IST-1GMT0,M10.5.0,M3.5.0/1", kSpring, "Sun, 29 Mar 2026 02:00:00 +0100"},
        {"IST-1GMT0,M10.5.0,M3.5.0/1", kAutumn - 1, "Sun, 25 Oct 2026 01:59:59 +0100"},
        {"IST-1GMT0,M10.5.0,M3.5.0/1", kAutumn, "Sun, 25 Oct 2026 01:00:00 +0200"},
        {"UTC0", -1, "Wed, 31 Dec 1969 23:59:59 +0000"},
    };
    for (const auto& row : rows) {
        const Zone zone(row.zone);
        EXPECT_EQ(notificationDate(row.time), row.date) << row.zone;
    }
}

} // namespace
} // namespace quzo::test
