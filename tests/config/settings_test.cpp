// quzo.ini: values, defaults, and what the check finds.
#include "platform/config/quzo_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

using namespace std::string_literals;
using quzo::platform::Finding;
using quzo::platform::IniSettings;
using quzo::platform::PlatformSettings;
using testing::HasSubstr;

TEST(Settings, GivesTextsAndIntegers) {
    IniSettings settings;
    ASSERT_TRUE(settings.parse(
        "[general]\nlocale = ja\nqueue_archive = /a\nquzo_home =\n"
        "[MessageModule]\nDisclaimerLineLimit = -5\nTagDirectly = 1x\nTagNotEncoding = 99999999999\n"));
    const struct {
        const char* section;
        const char* key;
        const char* text; // null: missing
        int number;       // 77: missing
    } cases[] = {
        {"general", "locale", "ja", 77},
        {"general", "quzo_home", "", 77},
        {"general", "queue_archive", "/a", 77},
        {"general", "queue_quarantine", nullptr, 77}, // there is no spool
        {"general", "Locale", nullptr, 77},
        {"nowhere", "locale", nullptr, 77},
        {"MessageModule", "DisclaimerLineLimit", "-5", -5},
        {"MessageModule", "TagDirectly", "1x", 77},
        {"MessageModule", "TagNotEncoding", "99999999999", 77},
        {"MessageModule", "DefaultSourceCharset", "utf-8", 77},
        {"General-Notification", "PreferredCharset", "utf-8", 77},
    };
    for (const auto& c : cases) {
        std::string text = "untouched";
        const int result = settings.getValue(c.key, text, c.section, 0);
        EXPECT_EQ(result == 0, c.text != nullptr) << c.key;
        EXPECT_EQ(text, c.text != nullptr ? c.text : "untouched") << c.key;
        int number = 77;
        EXPECT_EQ(settings.getIntValue(c.key, number, c.section, 0) == 0, c.number != 77) << c.key;
        EXPECT_EQ(number, c.number) << c.key;
    }
    std::string text;
    EXPECT_NE(settings.getValue(nullptr, text, "general", 0), 0);
    EXPECT_NE(settings.getValue("locale", text, nullptr, 0), 0);
}

TEST(Settings, PutsQueuesBelowTheSpool) {
    IniSettings settings;
    ASSERT_TRUE(
        settings.parse("[platform]\nspool = /var/spool/quzo\n[general]\nqueue_archive = /a\n"
                       "[General-Notification]\nPreferredCharset = iso-2022-jp\n"));
    const struct {
        const char* section;
        const char* key;
        const char* text;
    } cases[] = {{"general", "queue_quarantine", "/var/spool/quzo/quarantine"},
                 {"general", "queue_notify", "/var/spool/quzo/notify"},
                 {"general", "queue_archive", "/a"},
                 {"General-Notification", "PreferredCharset", "iso-2022-jp"}};
    for (const auto& c : cases) {
        std::string text;
        EXPECT_EQ(settings.getValue(c.key, text, c.section, 0), 0);
        EXPECT_EQ(text, c.text);
    }
    std::string text;
    EXPECT_NE(settings.getValue("queue_other", text, "general", 0), 0);
}

TEST(Settings, ReadsThePlatformSection) {
    IniSettings settings;
    ASSERT_TRUE(settings.parse(
        "[platform]\nstore = sqlite3:///x.db\nnext_hop = smtp://127.0.0.1:2525\ntls = require\n"
        "timeout = 20\nlimit_message = 100M\nlimit_nesting = 5\nlimit_parts = 7\nlimit_fields = 9\n"
        "limit_recipients = 0\nstamp_once = yes\nremoval_note = yes\n"
        "notify_limit = 0\nnotify_automatic = yes\nnotify_auto_submitted = no\n"
        "limit_header = 2k\non_limit = refuse\nlog = /var/log/quzo.log\nlog_level = 3\nlog_messages = "
        "json\ntenant = 12\n"));
    PlatformSettings platform = settings.platform();
    EXPECT_EQ(platform.rawValues, quzo::platform::RawValues::WithCharset);
    EXPECT_EQ(platform.store, "sqlite3:///x.db");
    EXPECT_EQ(platform.nextHop, quzo::platform::readNextHop("smtp://127.0.0.1:2525"));
    EXPECT_EQ(platform.tls, PlatformSettings::Tls::Require);
    EXPECT_EQ(platform.timeout, 20);
    EXPECT_EQ(platform.limits.messageBytes, std::size_t{100} << 20U);
    EXPECT_EQ(platform.limits.headerBytes, 2048U);
    EXPECT_EQ(platform.limits.headerFields, 9U);
    EXPECT_EQ(platform.limits.recipients, 0U);
    EXPECT_EQ(platform.limits.nesting, 5U);
    EXPECT_EQ(platform.limits.parts, 7U);
    EXPECT_EQ(platform.onLimit, PlatformSettings::OnLimit::Refuse);
    EXPECT_EQ(platform.log, "/var/log/quzo.log");
    EXPECT_EQ(platform.logLevel, 3);
    EXPECT_EQ(platform.logMessages, PlatformSettings::LogMessages::Json);
    EXPECT_EQ(platform.tenant, 12U);
    EXPECT_TRUE(platform.stampOnce && platform.removalNote);
    EXPECT_EQ(platform.notifyLimit, 0U);
    EXPECT_TRUE(platform.notifyAutomatic && !platform.notifyAutoSubmitted);
    // What is no value of its kind leaves the default.
    ASSERT_TRUE(settings.parse(
        "[platform]\nstore = x.db\ntimeout = 0\nlimit_message = -1\nlimit_header = 99999999999G\n"
        "stamp_once = no\nremoval_note = 1\nnotify_limit = many\nnotify_automatic = 1\n"
        "notify_auto_submitted = 0\ntls = maybe\nlog_level = 4\nlimit_parts = "
        "1K\n[MessageModule]\nTagNotEncoding = 2\n"));
    const PlatformSettings usual;
    platform = settings.platform();
    EXPECT_EQ(platform.rawValues, quzo::platform::RawValues::AsTheyCame);
    EXPECT_EQ(platform.store, "");
    EXPECT_EQ(platform.timeout, usual.timeout);
    EXPECT_EQ(platform.limits.messageBytes, usual.limits.messageBytes);
    EXPECT_EQ(platform.limits.headerBytes, usual.limits.headerBytes);
    EXPECT_EQ(platform.limits.parts, usual.limits.parts);
    EXPECT_EQ(platform.tls, usual.tls);
    EXPECT_EQ(platform.notifyLimit, usual.notifyLimit);
    EXPECT_TRUE(!platform.notifyAutomatic && platform.notifyAutoSubmitted);
    EXPECT_EQ(platform.logLevel, usual.logLevel);
    EXPECT_FALSE(platform.stampOnce || platform.removalNote || usual.stampOnce || usual.removalNote);
}

// Paths count from the folder of the file on; everything else is as it stands.
TEST(Settings, PlacesPathsBesideTheFile) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(testing::TempDir()) / ("quzo-settings-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    const std::string file = (folder / "q.ini").string();
    const auto load = [&](const char* text) {
        std::ofstream(file) << text;
        IniSettings settings;
        EXPECT_TRUE(settings.load(file)) << text;
        return settings;
    };
    IniSettings settings = load(
        "[platform]\nspool = sp/ool\nstore = sqlite3://o.db\nlog = q.log\n[general]\nqueue_archive = a\n"
        "locale = ja\n");
    const std::string at = folder.string() + "/";
    EXPECT_EQ(settings.platform().spool, at + "sp/ool");
    EXPECT_EQ(settings.platform().store, "sqlite3://" + at + "o.db");
    EXPECT_EQ(settings.platform().log, at + "q.log");
    for (const std::string word : {"stderr", "syslog", "journal"}) {
        EXPECT_EQ(load(("[platform]\nlog = " + word + "\n").c_str()).platform().log, word);
    }
    const auto value = [&](const char* key) {
        std::string text;
        settings.getValue(key, text, "general", 0);
        return text;
    };
    EXPECT_EQ(value("queue_archive"), at + "a");
    EXPECT_EQ(value("queue_quarantine"), at + "sp/ool/quarantine");
    EXPECT_EQ(value("locale"), "ja");
    settings =
        load("[platform]\nspool = /s\nstore = sqlite3:///o.db\nlog = stderr\n[general]\nqueue_archive =\n");
    EXPECT_EQ(settings.platform().spool, "/s");
    EXPECT_EQ(settings.platform().store, "sqlite3:///o.db");
    EXPECT_EQ(settings.platform().log, "stderr");
    EXPECT_EQ(value("queue_archive"), "");
    settings = load("[platform]\nstore = postgresql://h/d\n");
    EXPECT_EQ(settings.platform().store, "postgresql://h/d");
    fs::remove_all(folder);
}

// However a connection string is mistyped, what is said of it holds no password.
TEST(Settings, FaultsHoldNoPassword) {
    for (const char* text : {
             "[platform]\nstore = host=h password=s3cret\n",
             "[platform]\nstore = postgresqll://u:s3cret@h/d\n",
             "[platform]\nstore = \"postgresql://u:s3cret@h/d\"\n",
             "[platform]\nstore = s3cret\n",
             "[platform]\nstore postgresql://u:s3cret@h/d\n",
             "[platform]\nstore: postgresql://u:s3cret@h/d?sslmode=require\n",
             "[platform]\nstore = host=h\n  password s3cret\n",
             "[platform]\nstore = host=h\n  password = s3cret\n",
             "[platform]\npostgresql://u:s3cret@h/d\n",
             "[platform]\nhost=h password=s3cret\n",
             "[platform]\ntenant = postgresql://u:s3cret@h/d\n",
             "[platform]\nlimit_parts = host=h password=s3cret\n",
             "[platform]\nstore = x\nstore = postgresql://u:s3cret@h/d\n",
             "[platform]\nu:s3cret@h = 1\nu:s3cret@h = 2\n",
             "[platform]\nnext_hop = smpt://u:s3cret@h\n",
             "store = postgresql://u:s3cret@h/d\n",
             "u:s3cret@h = 1\n",
             "[store = postgresql://u:s3cret@h/d\n",
             "[postgresql://u:s3cret@h/d]\n",
         }) {
        IniSettings settings;
        settings.parse(text);
        const auto findings = settings.check();
        EXPECT_FALSE(findings.empty()) << text;
        for (const Finding& finding : findings) {
            EXPECT_EQ((finding.problem + finding.remedy).find("s3cret"), std::string::npos)
                << finding.problem;
        }
    }
}

TEST(Settings, FindsWhatIsWrong) {
    const struct {
        std::string text;
        std::size_t line;
        Finding::Severity severity;
        const char* message;
        const char* advice;
    } cases[] = {
        {"[General-Notification]\nPreferedCharset = utf-8\n", 2, Finding::Severity::Warning,
         "PreferedCharset", "'PreferredCharset'"},
        {"[general]\nLOCALE = ja\n", 2, Finding::Severity::Warning, "LOCALE", "'locale'"},
        {"[MessageModule]\nPreferredCharset = utf-8\n", 2, Finding::Severity::Warning, "PreferredCharset",
         "[General-Notification]"},
        {"[general]\nzzzzzz = 1\n", 2, Finding::Severity::Warning, "zzzzzz", "take"},
        {"\n[MesageModule]\nTagDirectly = x\n", 2, Finding::Severity::Warning, "MesageModule",
         "[MessageModule]"},
        {"[qqqqqqqqqqqqq]\n", 1, Finding::Severity::Warning, "qqqqq", "take"},
        {"[MessageModule]\nTagDirectly = yes\n", 2, Finding::Severity::Error, "'yes' of TagDirectly",
         "integer"},
        {"[MessageModule]\nDisclaimerLineLimit = 9.5\n", 2, Finding::Severity::Error, "9.5", "integer"},
        {"[MessageModule]\nDefaultSourceCharset = utf9\n", 2, Finding::Severity::Error, "utf9", "charset"},
        {"[MessageModule]\nDefaultSourceCharset = utf-16\n", 2, Finding::Severity::Error, "utf-16",
         "charset"},
        {"[general]\nuseQUZOLocaleForNotificationTime = 1\n", 2, Finding::Severity::Error, "'1'",
         "yes or no"},
        {"[platform]\nlimit_message = 100MB\n", 2, Finding::Severity::Error, "100MB", "100M"},
        {"[platform]\non_limit = drop\n", 2, Finding::Severity::Error, "drop", "defer, pass, refuse"},
        {"[platform]\nstore = quzo.db\n", 2, Finding::Severity::Error, "of store", "sqlite3://"},
        {"[platform]\nstore = sqlite3:///x.db\"\n", 2, Finding::Severity::Error, "of store", "sqlite3://"},
        {"[platform]\nspool = \"/x\"\n", 2, Finding::Severity::Error, "'\"/x\"' of spool",
         "without quotation marks"},
        {"[general]\nqueue_archive = '/x'\n", 2, Finding::Severity::Error, "queue_archive",
         "without quotation marks"},
        {"[platform]\nlog = \"quzo.log\n", 2, Finding::Severity::Error, "of log", "without quotation marks"},
        {"[platform]\nlimit_message = 10G\n", 2, Finding::Severity::Error, "'10G'", "up to 2147483647"},
        {"[platform]\ntimeout = -1\n", 2, Finding::Severity::Error, "-1", "1 or more"},
        {"[platform]\nlimit_parts = -1\n", 2, Finding::Severity::Error, "-1", "0 or more"},
        {"[platform]\nhostname = gw1_example.com.\n", 2, Finding::Severity::Error, "of hostname",
         "host name"},
        {"[platform]\nhostname = 2001:db8::1\n", 2, Finding::Severity::Error, "of hostname", "host name"},
        {"[general]\nlocale = a\nlocale = b\n", 3, Finding::Severity::Error, "again", "line 2"},
    };
    for (const auto& c : cases) {
        IniSettings settings;
        settings.parse(c.text);
        const auto findings = settings.check();
        ASSERT_EQ(findings.size(), 1U) << c.text;
        EXPECT_EQ(findings[0].line, c.line) << c.text;
        EXPECT_EQ(findings[0].severity, c.severity) << c.text;
        EXPECT_THAT(findings[0].problem, HasSubstr(c.message));
        EXPECT_THAT(findings[0].remedy, HasSubstr(c.advice));
    }
    IniSettings settings;
    settings.parse("[platform]\nlog_level = 9\nx_\xFF = 1\n[general]\nlocale = ja\nlocale = de\n");
    const auto findings = settings.check();
    ASSERT_EQ(findings.size(), 3U);
    EXPECT_EQ(findings[0].line, 2U);
    EXPECT_EQ(findings[1].problem, "nobody reads the key of [platform]");
    EXPECT_EQ(findings[2].line, 6U);
    EXPECT_FALSE(settings.load("/nonexistent/quzo.ini"));
    ASSERT_EQ(settings.check().size(), 1U);
    EXPECT_EQ(settings.check()[0].line, 0U);
}

} // namespace
