// Making texts fit to be shown: what is harmless stays, what hides, turns or forges does not.
#include "platform/base/visible_text.h"
#include "platform/base/finding.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;
using quzo::platform::isVisible;
using quzo::platform::quotedText;
using quzo::platform::visibleText;

TEST(VisibleText, LeavesTextAndDisarmsTheRest) {
    const struct {
        std::string text;
        const char* shown;
    } cases[] = {
        {"plain 100% äöü 日本 😀 ❤️", "plain 100% äöü 日本 😀 ❤️"},
        {"a\nb\r\tc\0d"s, "a\\x0Ab\\x0D\\x09c\\x00d"},
        {"\x1B[31m\x7F", "\\x1B[31m\\x7F"},
        {"\xC2\x85 \xC2\x9B \xC2\xA0", "\\xC2\\x85 \\xC2\\x9B \xC2\xA0"},
        {"caf\xE9 \xC0\x80 \xED\xA0\x80 \xE2\x80", "caf\\xE9 \\xC0\\x80 \\xED\\xA0\\x80 \\xE2\\x80"},
        {"\xE6\x97\xA5\xE3\x80\x80\xE6\x9C\xAC", "\xE6\x97\xA5\xE3\x80\x80\xE6\x9C\xAC"}, // a Japanese blank
        // Combining accents stay, but do not pile up.
        {"e\xCC\x81\xCC\x81\xCC\x81\xCC\x81\xCC\x81x", "e\xCC\x81\xCC\x81\xCC\x81\xCC\x81\\xCC\\x81x"},
        {"", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(visibleText(c.text), c.shown);
        EXPECT_EQ(visibleText(c.shown), c.shown); // doing it again changes nothing
    }
}

// In UTF-8: marks of direction, separators, joiners and fillers, code points without a meaning.
TEST(VisibleText, ShowsWhatTurnsOrHides) {
    for (const char* hidden :
         {"\xE2\x80\xAA", "\xE2\x80\xAB",     "\xE2\x80\xAC", "\xE2\x80\xAD",
          "\xE2\x80\xAE",                                                     // U+202A to U+202E
          "\xE2\x81\xA6", "\xE2\x81\xA7",     "\xE2\x81\xA8", "\xE2\x81\xA9", // U+2066 to U+2069
          "\xE2\x80\x8E", "\xE2\x80\x8F",     "\xD8\x9C",                     // U+200E, U+200F, U+061C
          "\xE2\x80\xA8", "\xE2\x80\xA9",                                     // U+2028, U+2029
          "\xE2\x80\x8B", "\xE2\x80\x8C",     "\xE2\x80\x8D", "\xE2\x81\xA0",
          "\xEF\xBB\xBF", // of no width
          "\xC2\xAD",     "\xCD\x8F",         "\xE1\x85\x9F", "\xE3\x85\xA4",
          "\xEF\xBE\xA0", "\xE2\xA0\x80",     "\xE1\xA0\x8E", "\xE2\x80\x83",
          "\xE2\x80\x8A",                                     // other blanks
          "\xEE\x80\x80", "\xF3\xA0\x81\x81", "\xEF\xBF\xBE", // private, a tag character, no character
          "\xEF\xB8\x80", "\xF3\xA0\x84\x80"}) {              // selectors of variants
        EXPECT_FALSE(isVisible(hidden)) << visibleText(hidden);
        const std::string shown = visibleText("a"s + hidden + "b");
        EXPECT_EQ(shown.size(), 2 + 4 * std::string(hidden).size()) << shown;
        EXPECT_EQ(shown.find_first_not_of("\\xab0123456789ABCDEF"), std::string::npos) << shown;
    }
    EXPECT_TRUE(isVisible("\xE2\x80\x99"));
    EXPECT_FALSE(isVisible(""));
    EXPECT_FALSE(isVisible("ab"));
    EXPECT_FALSE(isVisible("\xE9"));
}

TEST(VisibleText, QuotesAndCutsAtCharacters) {
    EXPECT_EQ(quotedText("a\nb"), "'a\\x0Ab'");
    EXPECT_EQ(quotedText(""), "''");
    EXPECT_EQ(quotedText("abcd", 4), "'abcd'");
    EXPECT_EQ(quotedText("abcde", 4), "'abcd...'");
    EXPECT_EQ(quotedText("abc\xC3\xA4", 4), "'abc...'");
    EXPECT_EQ(quotedText("abc\n", 4), "'abc...'");
    EXPECT_LE(quotedText(std::string(100000, '\x01')).size(), 125U);
}

TEST(Finding, IsOneVisibleLine) {
    using quzo::platform::Finding;
    EXPECT_EQ(describe(Finding{Finding::Severity::Error, 3, "a\nb", "c", ""}, "f"), "f:3: a\\x0Ab: c");
    EXPECT_EQ(describe(Finding{Finding::Severity::Error, 0, "", "c", "d"}, "f"), "f: c: d");
}

} // namespace
