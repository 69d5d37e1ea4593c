// Localised texts and the names of actions.
#include "platform/config/resources.h"

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/base/utf8.h"
#include "quzo/core/action.h"
#include "quzo/core/settings_source.h"
#include "tests/places.h"

namespace {

namespace fs = std::filesystem;
using quzo::QuzoAction;
using quzo::platform::Resources;

// Puts the usual directory and language back after each test.
class Texts : public testing::Test {
protected:
    void SetUp() override {
        quzo::platform::setResourceDirectory(quzo::tests::sourceDir() +
                                             std::string("/platform/config/locale"));
        quzo::platform::setResourceLocale("");
    }
    void TearDown() override { SetUp(); }
};

TEST_F(Texts, EveryLanguageHasEveryText) {
    const Resources all(quzo::tests::sourceDir() + std::string("/platform/config/locale"));
    EXPECT_THAT(all.problems(), testing::IsEmpty());
    for (const char* id : {"IDG_QUZO_UTIL", "IDG_VIRUS_FILTER", quzo::platform::kActionNameBundle,
                           quzo::platform::kRemovalBundle}) {
        const auto* english = all.bundle(id, "en");
        ASSERT_NE(english, nullptr) << id;
        for (const char* language : {"ja", "de"}) {
            const auto* texts = all.bundle(id, language);
            ASSERT_NE(texts, nullptr) << id;
            ASSERT_NE(texts, english) << id << " in " << language;
            EXPECT_EQ(texts->size(), english->size()) << id << " in " << language;
            for (const auto& [key, entry] : *english) {
                const auto translated = texts->find(key);
                ASSERT_NE(translated, texts->end()) << key << " in " << language;
                EXPECT_FALSE(translated->second.value.empty());
                EXPECT_NE(translated->second.value, entry.value) << key << " in " << language;
                EXPECT_TRUE(quzo::platform::isUtf8(translated->second.value));
            }
        }
    }
}

TEST_F(Texts, OpensBundlesByIdAndLocale) {
    const struct {
        const char* locale;
        const char* format;
    } cases[] = {{"en", "%m/%d/%Y %r"},
                 {"", "%m/%d/%Y %r"},
                 {"xx", "%m/%d/%Y %r"},
                 {"../de", "%m/%d/%Y %r"},
                 {"ja", "%Y/%m/%d %T"},
                 {"ja_JP.UTF-8", "%Y/%m/%d %T"},
                 {"de_AT@euro", "%d.%m.%Y %H:%M:%S"}};
    for (const auto& c : cases) {
        quzo::KvResbundle bundle;
        ASSERT_TRUE(bundle._init(quzo::KvResbundle::GetResourceFileName(), "IDG_QUZO_UTIL", c.locale))
            << c.locale;
        std::string format;
        EXPECT_TRUE(bundle.getString("AU_NOTIFY_TIMEFORMAT", format));
        EXPECT_EQ(format, c.format) << c.locale;
    }
    quzo::KvResbundle bundle;
    std::string text = "untouched";
    EXPECT_FALSE(bundle.getString("AU_NOTIFY_TIMEFORMAT", text));
    EXPECT_FALSE(bundle._init("", "IDG_NONE", "en"));
    EXPECT_FALSE(bundle._init("/nonexistent", "IDG_QUZO_UTIL", "en"));
    EXPECT_FALSE(bundle._init("", nullptr, nullptr));
    ASSERT_TRUE(bundle._init(nullptr, "IDG_VIRUS_FILTER", nullptr));
    EXPECT_FALSE(bundle.getString("IDS_NONE", text));
    EXPECT_FALSE(bundle.getString(nullptr, text));
    EXPECT_EQ(text, "untouched");
}

TEST_F(Texts, CachedBundlesAreInTheInstallationsLanguage) {
    for (const auto& [locale, expected] :
         {std::pair("", "Delete all attachments"), std::pair("de_DE", "Alle Anhänge löschen"),
          std::pair("ja", "すべての添付ファイルを削除")}) {
        quzo::platform::setResourceLocale(locale);
        std::string text;
        EXPECT_TRUE(quzo::KvCachedResbundle("IDG_VIRUS_FILTER").getString("IDS_VACTION_DELETE_ALL", text));
        EXPECT_EQ(text, expected);
    }
    std::string text = "untouched";
    EXPECT_FALSE(quzo::KvCachedResbundle("IDG_NONE").getString("IDS_VACTION_DELETE_ALL", text));
    EXPECT_FALSE(quzo::KvCachedResbundle(nullptr).getString("IDS_VACTION_DELETE_ALL", text));
    EXPECT_EQ(text, "untouched");
}

TEST_F(Texts, LeavesABrokenLanguageOut) {
    const fs::path directory = fs::path(testing::TempDir()) / ("quzo-locale-" + std::to_string(::getpid()));
    fs::create_directories(directory / "en");
    fs::create_directories(directory / "fr");
    std::ofstream(directory / "en" / "texts.ini") << "[B]\nk = english\n";
    std::ofstream(directory / "fr" / "texts.ini") << "[B]\nk = un\nk = deux\n";
    const Resources resources(directory.string());
    fs::remove_all(directory);
    ASSERT_EQ(resources.problems().size(), 1U);
    EXPECT_THAT(resources.problems()[0], testing::HasSubstr("fr/texts.ini:3: "));
    EXPECT_EQ(resources.bundle("B", "fr")->find("k")->second.value, "english");
}

TEST_F(Texts, NamesActions) {
    EXPECT_STREQ(QuzoAction::getActionName(QuzoAction::ActionType::TagSubject), "Tag subject");
    const char* english = QuzoAction::getActionName(QuzoAction::ActionType::Quarantine);
    quzo::platform::setResourceLocale("ja");
    EXPECT_STREQ(QuzoAction::getActionName(QuzoAction::ActionType::Quarantine), "隔離");
    EXPECT_STREQ(english, "Quarantine");
    quzo::platform::setResourceDirectory("/nonexistent");
    EXPECT_STREQ(QuzoAction::getActionName(QuzoAction::ActionType::Quarantine), "Quarantine");
    EXPECT_STREQ(QuzoAction::getActionName(static_cast<QuzoAction::ActionType>(6)), "Unknown action");
}

TEST_F(Texts, TurnsCodesIntoNames) {
    const struct {
        const char* codes;
        const char* names;
        bool known;
    } cases[] = {
        {nullptr, "", true},
        {"", "", true},
        {"1", "Delete", true},
        {"7;18;2", "Tag subject, Insert X-header, Quarantine", true},
        {"1;", "Delete", true},
        {" 0 ; 22", "Archive, Re-encrypt", true},
        {"1;6;2", "Delete, Quarantine", false},
        {"1;x;-2;3.0;99999999999;0x1", "Delete", false},
    };
    for (const auto& c : cases) {
        std::string names = "old";
        EXPECT_EQ(QuzoAction::CreateActionTokenString(c.codes, names), c.known);
        EXPECT_EQ(names, c.names);
    }
}

} // namespace
