// Reading sections and keys: values as they are, and every fault with its line.
#include "platform/config/ini_file.h"

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "quzo/core/settings_source.h"

namespace {

using namespace std::string_literals;
using quzo::platform::Findings;
using quzo::platform::IniFile;
using testing::HasSubstr;

std::string valueOf(const IniFile& file, const char* section, const char* key) {
    const IniFile::Entry* entry = file.find(section, key);
    return entry == nullptr ? "(missing)" : entry->value;
}

TEST(IniFile, KeepsValuesAsTheyAre) {
    const struct {
        const char* line;
        const char* value;
    } cases[] = {
        {"k = C:\\new\\table", "C:\\new\\table"},
        {"k = a ; b", "a ; b"},
        {"k = a # b", "a # b"},
        {"k = \"quoted\" 'x'", "\"quoted\" 'x'"},
        {"k = a = b", "a = b"},
        {"k=a", "a"},
        {"  k\t=\t a b \t", "a b"},
        {"k =", ""},
        {"k = [x]", "[x]"},
        {"k = caf\xE9 日", "caf\xE9 日"},
        {"k = ;", ";"},
        {"k = a\r", "a"},
    };
    for (const auto& c : cases) {
        IniFile file;
        Findings problems;
        EXPECT_TRUE(file.parse("[s]\n"s + c.line + "\nlast = 1", problems)) << c.line;
        EXPECT_EQ(valueOf(file, "s", "k"), c.value) << c.line;
        EXPECT_EQ(valueOf(file, "s", "last"), "1") << c.line;
    }
}

TEST(IniFile, KnowsSectionsCommentsAndLines) {
    IniFile file;
    Findings problems;
    ASSERT_TRUE(file.parse(
        "\xEF\xBB\xBF# top\r\n[a b]\r\nx = 1\r\n\r\n  ; note = 2\r\n[c]\r\nx = 3\r\n [a b] \r\ny = 4",
        problems));
    EXPECT_EQ(valueOf(file, "a b", "x"), "1");
    EXPECT_EQ(valueOf(file, "a b", "y"), "4");
    EXPECT_EQ(valueOf(file, "c", "x"), "3");
    EXPECT_EQ(file.find("c", "x")->line, 7U);
    EXPECT_EQ(file.sections().size(), 2U);
    EXPECT_EQ(file.find("c", "X"), nullptr);
    EXPECT_EQ(file.find("d", "x"), nullptr);
}

TEST(IniFile, NamesTheLineOfEachFault) {
    const struct {
        std::string text;
        std::size_t line;
        const char* message;
    } cases[] = {
        {"[a]\nx = 1\nx = 2\n", 3, "given again"},
        {"[a]\nx = 1\n[b]\n[a]\nx = 2\n", 5, "given again"},
        {"[a]\njunk\n", 2, "neither"},
        {"[a]\nkey: value\n", 2, "neither"},
        {"[a]\n = v\n", 2, "no key"},
        {"x = 1\n[a]\n", 1, "before any section"},
        {"\n[a\nx = 1\n", 2, "not complete"},
        {"[a] # note\n", 1, "not complete"},
        {"[]\n", 1, "not complete"},
        {"[a]b]\n", 1, "not complete"},
        {"[a]\nx = 1\0 2\n"s, 2, "control character"},
        {"[a]\nx = 1\r2\n", 2, "control character"},
        {"[a]\nx = \x1B[2J\n", 2, "control character"},
        {"[a]\nx = " + std::string(9000, 'y') + "\n", 2, "more than 8192 bytes"},
    };
    for (const auto& c : cases) {
        IniFile file;
        Findings problems;
        EXPECT_FALSE(file.parse(c.text, problems)) << c.text;
        ASSERT_EQ(problems.size(), 1U) << c.text;
        EXPECT_EQ(problems[0].line, c.line) << c.text;
        EXPECT_THAT(problems[0].problem, HasSubstr(c.message));
        EXPECT_FALSE(problems[0].remedy.empty());
    }
    IniFile file;
    Findings problems;
    EXPECT_FALSE(file.parse("[a]\nbad\ngood = 1\nworse\n", problems));
    EXPECT_EQ(problems.size(), 2U);
    EXPECT_EQ(valueOf(file, "a", "good"), "1");
}

TEST(IniFile, BoundsWhatItTakes) {
    IniFile file;
    Findings problems;
    EXPECT_FALSE(file.parse(std::string(IniFile::kMaxBytes + 1, '\n'), problems));
    EXPECT_EQ(problems.size(), 1U);
    std::string junk;
    for (int i = 0; i < 100000; ++i) {
        junk += "junk\n";
    }
    EXPECT_FALSE(file.parse(junk, problems));
    EXPECT_EQ(problems.size(), IniFile::kMaxProblems);
    EXPECT_TRUE(file.parse("", problems));
}

TEST(IniFile, SaysWhyAFileCannotBeRead) {
    IniFile file;
    Findings problems;
    for (const std::string& path : {std::string("/nonexistent/quzo.ini"), testing::TempDir()}) {
        EXPECT_FALSE(file.load(path, problems));
        ASSERT_EQ(problems.size(), 1U);
        EXPECT_THAT(problems[0].problem, HasSubstr("cannot be read ("));
    }
}

TEST(ConfigFileOnDisk, ReadsScannerInformation) {
    const auto path =
        std::filesystem::path(testing::TempDir()) / ("quzo-scanner-" + std::to_string(::getpid()));
    std::ofstream(path) << "[update]\nvirus_engine_version = 9.1; build 4\nvirus_pattern_version=17\n";
    const quzo::ConfigFileOnDisk file(path.c_str());
    std::filesystem::remove(path);
    ASSERT_TRUE(file.isLoaded());
    std::string value = "old";
    EXPECT_FALSE(file.getparam("update", "missing", value));
    EXPECT_FALSE(file.getparam("other", "virus_pattern_version", value));
    EXPECT_FALSE(file.getparam(nullptr, "virus_pattern_version", value));
    EXPECT_EQ(value, "old");
    EXPECT_TRUE(file.getparam("update", "virus_engine_version", value));
    EXPECT_EQ(value, "9.1; build 4");
    EXPECT_FALSE(quzo::ConfigFileOnDisk("/nonexistent/scanner.info").isLoaded());
    EXPECT_FALSE(quzo::ConfigFileOnDisk(nullptr).isLoaded());
}

} // namespace
