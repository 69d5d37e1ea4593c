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
    ASSERT_EQ(calls.size(), 38U);
    EXPECT_TRUE(std::regex_match(calls[21], std::regex("setHeader Date '[A-Z][a-z]{2}, [0-9]{2} [A-Z][a-z]{2} "
                                                       "[0-9]{4} [0-9:]{8} [-+][0-9]{4}' null")))
        << calls[21];
    EXPECT_TRUE(std::regex_match(calls[24], std::regex("setHeader Message-ID '<A-[0-9A-F]+-SCANNED>' null")))
        << calls[24];
    calls[21] = "date";
    calls[24] = "id";
    EXPECT_EQ(
        calls,
        (Strings{"conv utf-8>utf-8 strict", "create message", "setRcpt 'admin@x;root@x' replace",
                 "setSender 'n@x'", "write field From", "addHeaderField -1 From '' null", "write field From",
                 "setValue '\"n@x\" <n@x>' null", "setRcpt 'from@x' append", "insertRecipient 3 'r1@x'",
                 "insertRecipient 4 'r2@x'", "delete session", "write field Content-Type",
                 "addHeaderField -1 Content-Type '' null", "write field Content-Type", "write field Subject",
                 "addHeaderField -1 Subject '' null", "write field Subject",
                 "conv utf-8>utf-8 strict into 1024", "setValue 'About from@x' utf-8",
                 "setValue 'text/html' null", "date", "setHeader MIME-Version '1.0' null",
                 "setHeader To 'admin@x;root@x;from@x;r1@x;r2@x' utf-8", "id"}));
}

} // namespace
} // namespace quzo::test
