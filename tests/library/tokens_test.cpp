// Text settings, token values, token replacement and the Japanese date.
#include <gmock/gmock.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "fake_platform.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/tokens/action_utils.h"

// The C library forgets the LOCPATH it has split, once for each locale that is opened under one.
extern "C" const char* __lsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() { return "leak:__argz_add_sep\n"; }

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;
using ::testing::MatchesRegex;

constexpr char kJapaneseForm[] = "[0-9]{4}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";
constexpr char kEnglishForm[] = "[0-9]{2}/[0-9]{2}/[0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2} [AP]M";

class TextSettingsTest : public LibraryTest {};

TEST_F(TextSettingsTest, MissingKeysAreSaidAndFallBack) {
    ActionUtils::init(settings, log);
    EXPECT_EQ(
        log.lines,
        (Strings{
            "L2 Assume 'us-ascii' for default destination (preferred) charset. The value is missing in "
            "global "
            "setting, section: General-Notification, value: PreferredCharset",
            "L2 Assume 'us-ascii' for default source charset. The value is missing in global setting, "
            "section: "
            "MessageModule, value: DefaultSourceCharset",
            "L2 Use mail charset is off. The value is missing in global setting, section: MessageModule, "
            "value: "
            "UseMailCharsetAsDestinationCharset",
            "L2 Use UseUTF8AsPreferCharsetForStamp is off. The value is missing in global setting, section: "
            "MessageModule, value: UseUTF8AsPreferCharsetForStamp",
            "L2 ActionUtils: retrieve string from resource file failed"}));
    EXPECT_STREQ(ActionUtils::getDefaultDstCharset(), "us-ascii");
    EXPECT_STREQ(ActionUtils::getLocalCharset(), "us-ascii");
    EXPECT_FALSE(ActionUtils::getUseMailCharsetFlag());
    EXPECT_FALSE(ActionUtils::getUseUTF8AsPreferForStampActionFlag());
}

TEST_F(TextSettingsTest, FoundKeysAreTakenAndSaid) {
    settings.values = {{"General-Notification/PreferredCharset", "utf-8"},
                       {"MessageModule/DefaultSourceCharset", "euc-jp"},
                       {"MessageModule/UseMailCharsetAsDestinationCharset", "2"},
                       {"MessageModule/UseUTF8AsPreferCharsetForStamp", "1"},
                       {"general/locale", "ja"}};
    fake().bundle["AU_NOTIFY_TIMEFORMAT"] = "%Y";
    ActionUtils::init(settings, log);
    EXPECT_EQ(log.lines,
              (Strings{"L2 Default destination (preferred) charset is utf-8.",
                       "L2 Default source charset is euc-jp.",
                       "L2 Use mail charset is on. Mail modifications will attempt to use its charset "
                       "before default destination charset.",
                       "L2 Use UseUTF8AsPreferCharsetForStamp is on."}));
    EXPECT_EQ(fake().calls, Strings{"bundle resources IDG_QUZO_UTIL 'ja'"});
    EXPECT_EQ(settings.reads.back(), "general/useQUZOLocaleForNotificationTime");
    EXPECT_TRUE(ActionUtils::getUseMailCharsetFlag());
    EXPECT_TRUE(ActionUtils::getUseUTF8AsPreferForStampActionFlag());
    log.lines.clear();
    settings.values["MessageModule/UseMailCharsetAsDestinationCharset"] = "0";
    settings.values["MessageModule/UseUTF8AsPreferCharsetForStamp"] = "0";
    ActionUtils::init(settings, log);
    EXPECT_EQ(log.lines.size(), 2U); // a zero that is there is not worth a line
    EXPECT_FALSE(ActionUtils::getUseMailCharsetFlag());
}

class TokenTest : public LibraryTest {
protected:
    std::string value(const char* name) {
        const char* text = ActionUtils::getTokenValue(tokens, name, message);
        return text != nullptr ? text : "(no token)";
    }
    std::string replaced(const std::string& text) {
        std::string out = "old";
        EXPECT_TRUE(ActionUtils::replaceTokens(tokens, text, message, out));
        return out;
    }
};

TEST_F(TokenTest, TableHasItsCodesInItsOrder) {
    const int codes[] = {32, 33, 34, 36, 37, 38, 40, 39, 41, 42, 43, 44, 60, 45, 59,
                         58, 61, 62, 46, 47, 52, 48, 49, 51, 57, 30, 65, 5,  72};
    const TokenEntry* entry = ActionUtils::getTokenNames();
    for (const int code : codes) {
        EXPECT_EQ(static_cast<int>(entry->token), code) << entry->name;
        ++entry;
    }
    EXPECT_STREQ(entry->name, "");
}

TEST_F(TokenTest, ComputedValuesAreCachedAndStoredOnesWin) {
    settings.values["MessageModule/UseMailCharsetAsDestinationCharset"] = "1";
    start();
    fake().charset = "koi8-r";
    EXPECT_EQ(value("%SUBJECT%"), "decoded subject");
    EXPECT_EQ(value("%SUBJECT%"), "decoded subject");
    EXPECT_EQ(fake().calls, Strings{"getSubject us-ascii koi8-r"});
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::MailCharset), "koi8-r");
    tokens.set(ScanToken::Subject, "set by the scanner");
    EXPECT_EQ(value("%SUBJECT%"), "set by the scanner");
    tokens.set(ScanToken::Subject, ""); // an empty value is none
    EXPECT_EQ(value("%SUBJECT%"), "decoded subject");
    EXPECT_EQ(fake().calls.size(), 2U);
}

TEST_F(TokenTest, EveryFillFunction) {
    setenv("TZ", "UTC", 1);
    tokens.set(ScanToken::ActionCodes, "1;7");
    tokens.set(ScanToken::RuleActionCodes, "7");
    EXPECT_EQ(value("%ACTION%"), "<1;7>");
    EXPECT_EQ(value("%TACTION%"), "<7>");
    EXPECT_EQ(value("%HEADERS%"), "A: b\r\n");
    EXPECT_EQ(value("%DEF_CHARSET%"), "us-ascii");
    EXPECT_EQ(value("%MAILCHARSET%"), "");
    EXPECT_EQ(value("%XMAILID%"), "");
    EXPECT_EQ(tokens.find(ScanToken::XMailId), nullptr);
    fake().xMailId = "id-1";
    EXPECT_EQ(value("%XMAILID%"), "id-1");
    EXPECT_EQ(value("%FOO%"), "(no token)");
    EXPECT_EQ(value("SENDER"), "(no token)");
    EXPECT_EQ(log.lines, Strings{});
    EXPECT_EQ(value("%SENDER%"), "");
    EXPECT_EQ(log.lines, Strings{"L3 The value of token 'SENDER' is empty (unfilled)."});
}

TEST_F(TokenTest, QuarantinePathNeedsAnArea) {
    settings.values["general/queue_quarantine"] = "/q";
    start();
    EXPECT_EQ(value("%QUARANTINE_PATH%"), "");
    tokens.set(ScanToken::QuarantineArea, "Spam");
    EXPECT_EQ(value("%QUARANTINE_PATH%"), "/q/A/B/AB12.DF");
}

TEST_F(TokenTest, Replacement) {
    tokens.set(ScanToken::Sender, "a@b");
    tokens.set(ScanToken::RuleName, "50%SENDER%"); // values are not looked at again
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"plain", "plain"},
        {"from %SENDER%.", "from a@b."},
        {"%SENDER%%SENDER%", "a@ba@b"},
        {"%RCPTS%", ""},
        {"ends in %SENDER", "ends in %SENDER"},
        {"100%% of %SENDER%", "100%% of a@b"},
        {"%%SENDER%%", "%%SENDER%%"},
        {"50% off for %SENDER%", "50% off for a@b"},
        {"%UNKNOWN%SENDER%", "%UNKNOWNa@b"},
        {"%sender%", "%sender%"},
        {"%RULENAME%", "50%SENDER%"},
        {"%", "%"},
        {std::string("a\0b %SENDER% c\0d", 16), std::string("a\0b a@b c", 9)},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(replaced(text), expected) << text;
    }
}

TEST_F(TokenTest, ReplacementIntoTheTextItself) {
    tokens.set(ScanToken::Sender, "a@b");
    std::string text = "%SENDER%";
    EXPECT_TRUE(ActionUtils::replaceTokens(tokens, text, message, text));
    EXPECT_EQ(text, "a@b");
}

class DateTest : public TokenTest {
protected:
    void startJapanese() {
        settings.values = {{"general/locale", "ja"}, {"general/useQUZOLocaleForNotificationTime", "yes"}};
        start();
    }
};

TEST_F(DateTest, FormatsAndTheirFallback) {
    const struct {
        std::string locale, format, pattern;
    } rows[] = {
        {"ja", "", kJapaneseForm},
        {"en", "", kEnglishForm},
        {"en", "<%Y>", "<[0-9]{4}>"},
        {"en", std::string(300, 'x'), kEnglishForm},
    };
    for (const auto& row : rows) {
        settings.values["general/locale"] = row.locale;
        fake().bundle["AU_NOTIFY_TIMEFORMAT"] = row.format;
        start();
        tokens.RemoveToken(ScanToken::DateTime);
        EXPECT_THAT(value("%DATE&TIME%"), MatchesRegex(row.pattern));
    }
}

TEST_F(DateTest, JapaneseSettingNeedsTheJapaneseLocaleSetting) {
    settings.values = {{"general/locale", "en"}, {"general/useQUZOLocaleForNotificationTime", "yes"}};
    start();
    tokens.set(ScanToken::DateTime, "as the scanner set it");
    EXPECT_EQ(value("%DATE&TIME%"), "as the scanner set it");
    settings.values["general/locale"] = "ja";
    settings.values["general/useQUZOLocaleForNotificationTime"] = "YES";
    start();
    EXPECT_EQ(value("%DATE&TIME%"), "as the scanner set it");
}

TEST_F(DateTest, JapaneseDateIsComputedEachTimeAndFallsBack) {
    startJapanese();
    tokens.set(ScanToken::DateTime, "as the scanner set it");
    EXPECT_EQ(value("%DATE&TIME%"), "converted");
    EXPECT_EQ(value("%DATE&TIME%"), "converted");
    EXPECT_EQ(fake().calls, (Strings{"conv euc-jp>utf-8 strict", "conv euc-jp>utf-8 strict"}));
    fake().convWorks = false;
    EXPECT_THAT(value("%DATE&TIME%"), MatchesRegex(kJapaneseForm));
    expectL1("Cannot convert Japanese DATE string from EUC-JP to UTF8, error 5 ('five') with string: " +
             fake().convInput.substr(0, 32) + ".");
}

// A process of its own makes a locale under LOCPATH; the library's process never switches its own locale.
TEST_F(DateTest, JapaneseLocaleIsUsedWithoutTouchingTheProcess) {
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("quzo-locale-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const std::string command =
        "localedef -c -f EUC-JP -i ja_JP '" + (dir / "ja_JP.eucJP").string() + "' >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0 && !std::filesystem::exists(dir / "ja_JP.eucJP")) {
        std::filesystem::remove_all(dir);
        GTEST_SKIP() << "localedef cannot make ja_JP.eucJP (package locales)";
    }
    setenv("LOCPATH", dir.c_str(), 1);
    startJapanese();
    value("%DATE&TIME%");
    EXPECT_NE(fake().convInput.find("\xC7\xAF"), std::string::npos) << "the year sign in EUC-JP";
    EXPECT_STREQ(std::setlocale(LC_TIME, nullptr), "C");
    std::filesystem::remove_all(dir);
}

TEST_F(DateTest, WithoutTheJapaneseLocaleTheOneInForceIsUsed) {
    setenv("LOCPATH", "/nonexistent", 1);
    startJapanese();
    value("%DATE&TIME%");
    EXPECT_THAT(fake().convInput, MatchesRegex("[A-Za-z]{3} [A-Za-z]{3} [ 0-9][0-9] [0-9:]{8} [0-9]{4}"));
}

} // namespace
} // namespace quzo::test
