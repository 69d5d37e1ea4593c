// The table of keys against everything else that knows a default: the structures, the library, the document.
#include "platform/config/known_keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <utility>

#include "platform/config/settings_in_force.h"
#include "quzo/notify/notify_settings.h"
#include "tests/places.h"

namespace {

using namespace quzo::platform;
using testing::IsEmpty;

// A quzo.ini in which every key stands with its default.
std::string spelledOut() {
    std::string text;
    for (const KnownKey& known : knownKeys()) {
        if (!known.usual.empty()) {
            text += "[" + std::string(known.section) + "]\n";
            text.append(known.key).append(" = ").append(known.usual).append("\n");
        }
    }
    return text;
}

TEST(KnownKeys, DefaultsSpelledOutChangeNothing) {
    IniSettings none;
    IniSettings all;
    ASSERT_TRUE(all.parse(spelledOut()));
    EXPECT_THAT(all.check(), IsEmpty());
    EXPECT_TRUE(all.platform() == PlatformSettings());
    EXPECT_TRUE(all.runner() == RunnerSettings());
    EXPECT_TRUE(all.milter() == MilterSettings());
    EXPECT_TRUE(all.snmp() == none.snmp());
    SnmpSettings snmp;
    snmp.engineId = none.snmp().engineId;
    EXPECT_TRUE(none.snmp() == snmp);

    const auto asTheLibraryReads = [](IniSettings& settings) {
        quzo::readNotifySettings(settings);
        const quzo::NotifySettings& read = quzo::notifySettings();
        return std::tuple(read.ignoreSnmpError, read.skipScan, read.hideRecipients, read.senderFromMime,
                          read.scannerId);
    };
    const auto missing = asTheLibraryReads(none);
    EXPECT_EQ(asTheLibraryReads(all), missing);
    for (const KnownKey& known : knownKeys()) {
        // The library takes each switch for off that it does not find.
        EXPECT_TRUE(known.type != KeyType::Switch || known.usual == "0") << known.key;
        EXPECT_TRUE(known.usual.empty() || known.made.empty()) << known.key;
    }
}

using Defaults = std::map<std::pair<std::string, std::string>, std::string>; // by section and key

// The default as a cell of the document tells it: "none: English" is none.
std::string cellText(std::string cell) {
    std::erase(cell, '`');
    const std::size_t first = cell.find_first_not_of(' ');
    cell = first == std::string::npos ? "" : cell.substr(first, cell.find_last_not_of(' ') + 1 - first);
    return cell.starts_with("none:") ? "none" : cell;
}

// Rows "| `key` | kind | default | meaning |" below a heading "## [section]".
Defaults documented() {
    Defaults found;
    std::ifstream file(quzo::tests::sourceDir() + std::string("/docs/settings.md"));
    std::string section;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("## ")) {
            section = line.substr(3).starts_with("[") ? line.substr(4, line.find(']') - 4) : "";
        } else if (line.starts_with("| `") && !section.empty()) {
            const std::size_t kind = line.find('|', 1);
            const std::size_t usual = line.find('|', kind + 1);
            const std::size_t end = line.find('|', usual + 1);
            EXPECT_NE(end, std::string::npos) << line;
            const auto [place, added] = found.emplace(std::pair(section, cellText(line.substr(1, kind - 1))),
                                                      cellText(line.substr(usual + 1, end - usual - 1)));
            EXPECT_TRUE(added) << line;
        }
    }
    return found;
}

TEST(KnownKeys, AreThoseOfTheDocument) {
    Defaults known;
    for (const KnownKey& key : knownKeys()) {
        known[{std::string(key.section), std::string(key.key)}] = defaultText(key);
    }
    const Defaults told = documented();
    for (const auto& [name, value] : known) {
        const auto row = told.find(name);
        ASSERT_TRUE(row != told.end())
            << "[" << name.first << "] " << name.second << " is not in the document";
        EXPECT_EQ(row->second, value) << "[" << name.first << "] " << name.second;
    }
    for (const auto& [name, value] : told) {
        EXPECT_TRUE(known.contains(name)) << "[" << name.first << "] " << name.second << " is only there";
    }
}

TEST(SettingsInForce, AreWhatProgramsReadAndHideSecrets) {
    IniSettings settings;
    ASSERT_TRUE(
        settings.parse("[platform]\nspool = /s\nstore = sqlite3:///x\nhostname =\nnext_hop =\n"
                       "[MessageModule]\nDisclaimerLineLimit = 80\n"));
    const struct {
        const char* key;
        const char* value;
        std::size_t line;
        bool hidden;
    } rows[] = {{"spool", "/s", 2, false},
                {"queue_archive", "/s/archive", 0, false},
                {"store", "", 3, true},
                {"hostname", "", 4, false},
                {"next_hop", "", 5, false},
                {"DisclaimerLineLimit", "80", 7, false},
                {"NumOfBlankLineBeforeStampMessage", "0", 0, false},
                {"Community", "xq7amb", 0, false},
                {"poll", "10s", 0, false},
                {"engine_id", "", 0, false}};
    const auto all = settingsInForce(settings);
    EXPECT_EQ(all.size(), knownKeys().size());
    for (const auto& row : rows) {
        const auto found = std::find_if(
            all.begin(), all.end(), [&](const SettingInForce& each) { return each.known->key == row.key; });
        ASSERT_TRUE(found != all.end()) << row.key;
        EXPECT_EQ(found->value, row.value) << row.key;
        EXPECT_EQ(found->line, row.line) << row.key;
        EXPECT_EQ(found->hidden, row.hidden) << row.key;
    }
}

} // namespace
