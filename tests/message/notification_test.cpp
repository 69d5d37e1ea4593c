// Notifications and feedback about real messages: what the library composes is read back by GMime.
#include <cinttypes>
#include <cstdio>
#include <random>

#include "platform/config/quzo_settings.h"
#include "platform/message/values/gmime_objects.h"
#include "quzo/actions/act_ferrowick.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/notify/act_notify.h"
#include "tests/message/composed_mail.h"
#include "tests/message/stamp/stamp_support.h"

namespace quzo::platform::test {
namespace {

using Strings = std::vector<std::string>;

class SilentLog : public LogMsg {
public:
    SilentLog() { level = 0; }
    void write(int /*lineLevel*/, const char* /*format*/, ...) override {}
};

class NoObjects : public NamedObjMgrForScanner {
public:
    QuzoNamedObj* find(unsigned /*id*/) const override { return nullptr; }
};

class NotificationTest : public ::testing::Test {
protected:
    NotificationTest() {
        startGMime();
        area.sender = "gateway@x";
        area.recipients = "admin@x";
        area.subject = "About %RULENAME%";
        area.message = "Body of %RULENAME%\n";
        tokens.set(ScanToken::RuleName, "a rule");
        tokens.set(ScanToken::RuleId, "40");
        start("");
    }

    static void start(const std::string& lines) {
        IniSettings settings;
        EXPECT_TRUE(settings.parse("[General-Notification]\n" + lines));
        static SilentLog log;
        EXPECT_TRUE(InitActionLib(settings, log));
    }

    // The mail that is sent about the message; a failure of the test when there is none.
    SentMail notify(MailMessage& msg, const MailMessage& original) {
        adapter.sent.clear();
        bool consumed = false;
        EXPECT_TRUE(ActNotify::_runNameObj(&msg, &original, consumed, tokens, adapter, area));
        EXPECT_EQ(adapter.sent.size(), 1U);
        return adapter.sent.empty() ? SentMail{"\r\n", {}, {}} : adapter.sent.front();
    }
    SentMail notify(const std::string& bytes = "From: f@x\n\nx\n") {
        const auto msg = parsed(bytes);
        EXPECT_EQ(msg->setEnvelope("from@x", {"to@x"}), 0);
        SentMail mail = notify(*msg, *msg);
        EXPECT_EQ(written(*msg), bytes) << "the scanned message has changed";
        EXPECT_FALSE(msg->changed());
        return mail;
    }

    uiNotifyArea area;
    TokenMap<ScanToken> tokens;
    ComposedMail adapter;
};

// The bytes of the mail's attached message; the mail is closed by its boundary behind them.
std::string attachedBytes(const std::string& mail) {
    const std::size_t header = mail.find("Content-Type: message/rfc822");
    const std::size_t begin = mail.find("\r\n\r\n", header);
    const std::size_t end = mail.rfind("\r\n--");
    EXPECT_LT(begin, end);
    return begin < end ? mail.substr(begin + 4, end - begin - 4) : std::string();
}

TEST_F(NotificationTest, TextsComeBackInEveryCharset) {
    const std::string japanese = "\xE6\x97\xA5\xE6\x9C\xAC";
    const std::string accented = "caf\xC3\xA9";
    const struct {
        const char* preferred;
        std::string token;
        const char* part;
    } rows[] = {
        {"utf-8", japanese, "text/plain;utf-8;base64"},
        {"us-ascii", "plain", "text/plain;us-ascii;base64"},
        {"us-ascii", japanese, "text/plain;utf-8;base64"},
        {"iso-2022-jp", japanese, "text/plain;iso-2022-jp;base64"},
        {"ISO-2022-JP", accented, "text/plain;utf-8;base64"},
        {"euc-jp", japanese, "text/plain;euc-jp;base64"},
        {"iso-8859-1", accented, "text/plain;iso-8859-1;base64"},
        {"no-such-charset", accented, "text/plain;utf-8;base64"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.preferred) + " " + row.token);
        start(std::string("PreferredCharset = ") + row.preferred + "\n");
        tokens.set(ScanToken::RuleName, row.token);
        const ReadMail mail(notify().bytes);
        EXPECT_EQ(mail.subject(), "About " + row.token);
        EXPECT_EQ(mail.text(), "Body of " + row.token + "\r\n");
        EXPECT_EQ(mail.parts(), Strings{row.part});
    }
    area.message = "";
    EXPECT_EQ(ReadMail(notify().bytes).text(), " ");
}

TEST_F(NotificationTest, TheAttachedMessageKeepsItsBytes) {
    const std::string rows[] = {
        "From: f@x\nSubject: s\n\nbody\n",
        "From: f@x\r\n\r\nbody without an end",
        "Subject: \xE9\xE9\n\n8-bit \xFF\xFE and \x80\n",
        std::string("Subject: nul\n\na\0b\n", 18),
        text("multipart/mixed; boundary=b", "\n--b\n\none\n--b\n\ntwo\n--b--\nepilogue"),
        text("multipart/mixed; boundary=b", "--b\n\nno end"),
        "not a header\n\nx\n",
        "Subject: long\n\n" + std::string(5000, 'x') + "\n"};
    area.attachMessage = true;
    for (const std::string& bytes : rows) {
        SCOPED_TRACE(bytes.substr(0, 40));
        const SentMail mail = notify(bytes);
        EXPECT_TRUE(mail.scanned);
        EXPECT_EQ(attachedBytes(mail.bytes), bytes);
        const Strings parts = ReadMail(mail.bytes).parts();
        ASSERT_EQ(parts.size(), 3U);
        EXPECT_EQ(parts[0], "multipart/mixed;;");
        EXPECT_EQ(parts[2].substr(0, parts[2].rfind(';')), "message/rfc822;");
        EXPECT_EQ(ReadMail(mail.bytes).text(), "Body of a rule\r\n");
    }
}

TEST_F(NotificationTest, AsReceivedOrAsModified) {
    const std::string bytes = "From: f@x\nSubject: s\n\nbody\n";
    const auto msg = parsed(bytes);
    const auto original = parsed(bytes);
    ASSERT_EQ(stamp(*msg, "stamped"), 0);
    ASSERT_TRUE(msgu::setHeader(msg->getRootEntity(), "Subject", "[tag] s", nullptr));
    area.attachMessage = true;
    for (const bool modified : {false, true}) {
        area.attachModifiedMessage = modified;
        const std::string attached = attachedBytes(notify(*msg, *original).bytes);
        EXPECT_EQ(attached, modified ? written(*msg) : bytes);
    }
    EXPECT_NE(written(*msg).find("stamped"), std::string::npos);
    EXPECT_NE(written(*msg).find("[tag]"), std::string::npos);
}

TEST_F(NotificationTest, Recipients) {
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{500}}) {
        for (const bool hide : {false, true}) {
            SCOPED_TRACE(count);
            start(hide ? "NotificationHideRecipients = 1\n" : "");
            Strings original;
            std::string token;
            for (std::size_t i = 0; i < count; ++i) {
                original.push_back("user" + std::to_string(i) + "@example.com");
                token += (token.empty() ? "" : ";") + original.back();
            }
            tokens.set(ScanToken::Recipients, token);
            area.notifyRecipients = true;
            const auto msg = parsed("From: f@x\n\nx\n");
            ASSERT_EQ(msg->setEnvelope("", original), 0);
            const SentMail mail = notify(*msg, *msg);
            Strings shown{"|admin@x"};
            for (const std::string& one : hide ? Strings{} : original) {
                shown.push_back("|" + one);
            }
            if (hide) {
                shown.emplace_back("NotificationRecipients|NotificationRecipients");
                EXPECT_EQ(mail.bytes.find("user0"), std::string::npos);
            }
            EXPECT_EQ(ReadMail(mail.bytes).mailboxes(GMIME_ADDRESS_TYPE_TO), shown);
            original.insert(original.begin(), "admin@x");
            EXPECT_EQ(mail.recipients, original);
            EXPECT_EQ(mail.sender, "gateway@x");
        }
    }
}

TEST_F(NotificationTest, NamesOfSenders) {
    const std::pair<const char*, const char*> rows[] = {
        {"gateway@x", "gateway@x|gateway@x"},
        {"The Gateway <g@x>", "The Gateway|g@x"},
        {"\"Gate; way, \\\"the\\\" one\" <g@x>", "Gate; way, \"the\" one|g@x"},
        {"\"back\\\\slash\" <g@x>", "back\\slash|g@x"},
        {"G\xC3\xA4te\xC3\xA4 <g@x>", "G\xC3\xA4te\xC3\xA4|g@x"},
        {"=?iso-8859-1?Q?G=E4te?= <g@x>", "G\xC3\xA4te|g@x"},
        {"\"<v@x>, a\" <g@x>", "<v@x>, a|g@x"},
        {"\"quoted local\"@x", "\"quoted local\"@x|\"quoted local\"@x"},
    };
    for (const char* charset : {"utf-8", "us-ascii"}) {
        start(std::string("PreferredCharset = ") + charset + "\n");
        for (const auto& [sender, read] : rows) {
            area.sender = sender;
            EXPECT_EQ(ReadMail(notify().bytes).mailboxes(GMIME_ADDRESS_TYPE_FROM), Strings{read}) << sender;
        }
    }
}

TEST_F(NotificationTest, TheScannedMessageGetsNoFieldFrom) {
    start("NotificationGetSenderFromMIME = 1\n");
    area.notifySender = true;
    for (const char* bytes : {"Subject: s\n\nx\n", "Subject: s\r\nFROM: \r\n\r\nx", "x", "\n", ""}) {
        EXPECT_EQ(notify(bytes).recipients, Strings{"admin@x"}) << bytes;
    }
    EXPECT_EQ(notify("from: =?iso-8859-1?Q?J=E9?= <j@x>\n\nx\n").recipients, (Strings{"admin@x", "j@x"}));
    const ReadMail mail(adapter.sent.front().bytes);
    EXPECT_EQ(mail.mailboxes(GMIME_ADDRESS_TYPE_TO), (Strings{"|admin@x", "J\xC3\xA9|j@x"}));
}

// Whatever a message says of itself: no field and no recipient comes of it but the one sender.
TEST_F(NotificationTest, HostileValuesAddNothing) {
    const Strings pieces = {"v1@x",
                            "v2@x",
                            ";",
                            ",",
                            "\r\n",
                            "\n",
                            "\r",
                            std::string(1, '\0'),
                            "Bcc: v3@x",
                            ":",
                            "<",
                            ">",
                            "\"",
                            "\\",
                            "(",
                            ")",
                            "@",
                            " ",
                            "\t",
                            "\r\n ",
                            "=?utf-8?Q?=0D=0ABcc:_v4@x?=",
                            "=?utf-8?B?Ow==?=",
                            "=?utf-8?Q?a=3Bb=2Cc?=",
                            "=?x?Q?=00?=",
                            "%SENDER%",
                            "%SUBJECT%",
                            "\xFF",
                            "\xC3\xA9",
                            "group:v5@x,v6@x;",
                            "\x1B$B",
                            "To: v7@x",
                            std::string(300, 'a')};
    std::mt19937 random(20240607); // NOLINT(cert-msc51-cpp): the same values each time
    const auto hostile = [&] {
        std::string value;
        for (std::size_t left = 1 + random() % 8; left > 0; --left) {
            value += pieces[random() % pieces.size()];
        }
        return value;
    };
    area.notifySender = true;
    area.subject = "%SUBJECT% %SENDER% %RULENAME%";
    area.message = "%SUBJECT% %SENDER% %RULENAME%\n";
    const Strings fields = {"From", "Subject",    "Date",         "MIME-Version",
                            "To",   "Message-ID", "Content-Type", "Content-Transfer-Encoding"};
    constexpr const char* kCharsets[] = {"utf-8", "us-ascii", "iso-2022-jp"};
    std::size_t withSender = 0;
    for (int round = 0; round < 500; ++round) {
        const std::string sender = hostile();
        SCOPED_TRACE(::testing::PrintToString(sender));
        start(std::string("PreferredCharset = ") + kCharsets[round % 3] +
              "\nNotificationGetSenderFromMIME = " + (round % 2 == 0 ? "1" : "0") + "\n");
        tokens.set(ScanToken::Sender, sender);
        tokens.set(ScanToken::RuleName, hostile());
        tokens.RemoveToken(ScanToken::Subject);
        const SentMail mail = notify("From: " + sender + "\nSubject: " + hostile() + "\n\nx\n");
        EXPECT_EQ(ReadMail(mail.bytes).fieldNames(), fields) << mail.bytes;
        ASSERT_FALSE(mail.recipients.empty());
        EXPECT_EQ(mail.recipients[0], "admin@x");
        ASSERT_LE(mail.recipients.size(), 2U);
        withSender += mail.recipients.size() - 1;
        const std::string& added = mail.recipients.back();
        EXPECT_EQ(added.find_first_of(std::string("\r\n<>;,\0", 7)), std::string::npos) << added;
    }
    EXPECT_GT(withSender, 10U) << "no sender was taken for one";
}

// Samples.

TEST_F(NotificationTest, ASampleIsCopiedIntoAMailOfItsOwn) {
    const std::string part = "Content-Type: application/octet-stream; name=a.exe\n\nMZ\xFF\n";
    const std::string bytes = text("multipart/mixed; boundary=b", "--b\n\ntext\n--b\n" + part + "--b--\n");
    const auto msg = parsed(bytes);
    KvMsgEntity* sample = msg->getRootEntity()->getNext()->getNext();
    char list[64];
    std::snprintf(list, sizeof list, "2 %" PRIxPTR ";1 12345", reinterpret_cast<std::uintptr_t>(sample));
    tokens.set(ScanToken::SampleEntities, list);
    bool consumed = false;
    EXPECT_TRUE(ActFerrowick().takeAction(msg.get(), nullptr, consumed, tokens, adapter, NoObjects()));
    ASSERT_EQ(adapter.sent.size(), 1U);
    const SentMail& mail = adapter.sent.front();
    EXPECT_EQ(mail.sender, "QUZO");
    EXPECT_EQ(mail.recipients, Strings{ActFerrowick::feedbackMailbox()});
    EXPECT_EQ(ReadMail(mail.bytes).subject(), "QUZO Corvane Feedback");
    EXPECT_NE(mail.bytes.find("\r\n" + part.substr(0, part.size() - 1) + "\r\n--"), std::string::npos)
        << mail.bytes;
    EXPECT_EQ(ReadMail(mail.bytes).parts().back(), "application/octet-stream;;");
    EXPECT_EQ(written(*msg), bytes);
}

} // namespace
} // namespace quzo::platform::test
