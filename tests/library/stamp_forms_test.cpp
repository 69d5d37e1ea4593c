// The two forms of a stamp in one stored text.
#include "quzo/settings/stamp_forms.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace quzo {
namespace {

using Html = std::optional<std::string>;

TEST(StampForms, AreJoinedAndSplit) {
    const struct {
        std::string text;
        Html html;
        std::string stored;
        std::string textBack; // with 0x03 between lines
    } rows[] = {
        {"", {}, "", ""},
        {"a\x03"
         "b",
         {},
         "a\x03"
         "b",
         "a\x03"
         "b"},
        {"a\r\nb\nc\n",
         {},
         "a\x03"
         "b\x03"
         "c\x03",
         "a\x03"
         "b\x03"
         "c\x03"},
        {"a\rb", {}, "a\rb", "a\rb"},
        {"a", "", "a\x03\x1C\x03", "a"},
        {"", "<p>", "\x03\x1C\x03<p>", ""},
        {"a\n", "<p>\r\n</p>\n", "a\x03\x03\x1C\x03<p>\x1E</p>\x1E", "a\x03"},
    };
    for (const auto& row : rows) {
        const std::string stored = joinStampForms({row.text, row.html});
        EXPECT_EQ(stored, row.stored);
        const StampForms back = splitStampForms(stored);
        EXPECT_EQ(back.text, row.textBack) << stored;
        EXPECT_EQ(back.html.has_value(), row.html.has_value()) << stored;
        EXPECT_EQ(joinStampForms(back), stored);
    }
}

TEST(StampForms, WhatOtherProgramsWriteIsRead) {
    const struct {
        const char* stored;
        const char* text;
        Html html;
    } rows[] = {
        {"a\r\n\x1C\r\n<p>", "a", "<p>"}, {"a\n\x1C<p>", "a", "<p>"},
        {"a\x1C<p>", "a", "<p>"},         {"\x1C", "", ""},
        {"a\r\nb\r\n", "a\r\nb\r\n", {}}, {"a\x1C<p>\x1C</p>", "a", "<p>\x1C</p>"},
    };
    for (const auto& row : rows) {
        const StampForms forms = splitStampForms(row.stored);
        EXPECT_EQ(forms.text, row.text);
        EXPECT_EQ(forms.html, row.html);
    }
}

// What an action does with a stored text before a message gets it: line ends, blank lines, a line limit that
// breaks in any place.
TEST(StampForms, TheHtmlSurvivesAnyLineLimit) {
    std::mt19937 random(5);
    const std::string html = "<p>one</p>\n\n<p>two</p>\n";
    const std::string stored = joinStampForms({"first\nsecond", html});
    for (int round = 0; round < 500; ++round) {
        std::string ready = "\r\n\r\n";
        for (const char c : stored) {
            ready += c == '\x03' ? "\r\n" : std::string(1, c);
            if (ready.ends_with('>') || random() % 4 == 0) {
                ready += ready.ends_with('\r') ? "" : "\r\n";
            }
        }
        const StampForms forms = splitStampForms(ready);
        ASSERT_EQ(forms.html, html) << ready;
        std::string text = forms.text;
        std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
        ASSERT_EQ(text, "firstsecond");
    }
}

TEST(StampForms, DividingBytesAreNoText) {
    for (const char c : {'\0', '\x03', '\x1C', '\x1E'}) {
        EXPECT_FALSE(canBeStampForm(std::string("a") + c + "b"));
    }
    EXPECT_TRUE(canBeStampForm("a\r\n\t\x1D\x1F\xC3\xA9"));
    EXPECT_TRUE(canBeStampForm(""));
}

} // namespace
} // namespace quzo
