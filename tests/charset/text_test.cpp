// The platform's text helpers: conversion into buffers, splitting, comparing, encoded words for names.
#include "quzo/core/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/charset/encoded_words.h"
#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"
#include "quzo/core/msgu.h"

namespace {

using namespace std::string_literals;
using quzo::KvMsg_CharsetConverterString;

TEST(CharsetConverterString, FillsTheBufferAndNoMore) {
    const std::string source = "aé日b";
    for (std::size_t room = 0; room <= 9; ++room) {
        std::string buffer(room + 3, '#');
        std::size_t length = room;
        ASSERT_EQ(
            KvMsg_CharsetConverterString(source.c_str(), "utf-8", buffer.data(), "utf-8", &length, 0, '?'),
            0);
        const std::size_t fits[] = {0, 1, 1, 3, 3, 3, 6, 7, 7, 7};
        EXPECT_EQ(length, fits[room]);
        EXPECT_EQ(buffer, source.substr(0, length) + '\0' + std::string(buffer.size() - length - 1, '#'));
    }
}

TEST(CharsetConverterString, ReportsByNumberAndLeavesTheLength) {
    const struct {
        const char* source;
        const char* from;
        const char* to;
        int flag;
        char substitute;
        int error;
        const char* out;
    } cases[] = {
        {"日a", "utf-8", "us-ascii", 0, '?', quzo::kErrorUnmappable, ""},
        {"日a", "utf-8", "us-ascii", 1, '?', 0, "?a"},
        {"日a", "utf-8", "us-ascii", 1, '_', 0, "_a"},
        {"日a", "utf-8", "us-ascii", 1, '\xE9', 0, "?a"},
        {"a\xE9", "utf-8", "us-ascii", 1, '?', quzo::kErrorMalformedText, ""},
        {"a", "x-unknown", "utf-8", 0, '?', quzo::kErrorUnknownCharset, ""},
        {"a", nullptr, "utf-8", 0, '?', quzo::kErrorUnknownCharset, ""},
        {"a", "utf-8", nullptr, 0, '?', quzo::kErrorUnknownCharset, ""},
        {nullptr, "utf-8", "utf-8", 0, '?', quzo::kErrorInvalidArgument, ""},
        {"", "utf-8", "iso-2022-jp", 0, '?', 0, ""},
    };
    for (const auto& c : cases) {
        char buffer[64] = "";
        std::size_t length = 60;
        EXPECT_EQ(KvMsg_CharsetConverterString(c.source, c.from, buffer, c.to, &length, c.flag, c.substitute),
                  c.error);
        EXPECT_STREQ(buffer, c.out);
        EXPECT_EQ(length, c.error != 0 ? 60U : std::strlen(c.out));
    }
    char buffer[8];
    EXPECT_NE(KvMsg_CharsetConverterString("a", "utf-8", buffer, "utf-8", nullptr, 0, '?'), 0);
}

// A caller takes what is written for a C string in which ASCII is itself.
TEST(CharsetConverterString, RefusesCharsetsWhoseTextIsNoCString) {
    for (const char* charset : {"utf-16", "utf-16be", "utf-16le", "utf-32", "iso-10646-ucs-2", "ibm037",
                                "utf-7", "hz-gb-2312", "scsu"}) {
        char buffer[16] = "";
        std::size_t length = 15;
        EXPECT_EQ(KvMsg_CharsetConverterString("ab", "utf-8", buffer, charset, &length, 1, '?'),
                  quzo::kErrorNotSupported)
            << charset;
        EXPECT_STREQ(buffer, "");
    }
    for (const char* charset : {"iso-2022-jp", "iso-2022-kr", "iso-2022-cn", "shift_jis", "ibm850"}) {
        char buffer[16] = "";
        std::size_t length = 15;
        EXPECT_EQ(KvMsg_CharsetConverterString("[a~\\]", "utf-8", buffer, charset, &length, 0, '?'), 0)
            << charset;
        EXPECT_STREQ(buffer, "[a~\\]") << charset;
    }
}

TEST(Conv, ConvertsIntoStringsAndBuffers) {
    std::string out = "é";
    int error = -1;
    EXPECT_TRUE(quzo::msgu::conv(out.c_str(), "utf-8", "iso-8859-1", out, error, true));
    EXPECT_EQ(out, "\xE9"s);
    EXPECT_EQ(error, 0);
    EXPECT_FALSE(quzo::msgu::conv("日", "utf-8", "iso-8859-1", out, error, true));
    EXPECT_EQ(error, quzo::kErrorUnmappable);
    EXPECT_TRUE(quzo::msgu::conv("日", "utf-8", "iso-8859-1", out, error, false));
    EXPECT_EQ(out, "?");
    char buffer[5] = {'#', '#', '#', '#', '#'};
    unsigned long length = 4;
    EXPECT_TRUE(quzo::msgu::conv("aé日", "utf-8", "utf-8", buffer, length, error, true));
    EXPECT_EQ(length, 3U);
    EXPECT_STREQ(buffer, "aé");
    EXPECT_EQ(buffer[4], '#');
    length = 0;
    EXPECT_FALSE(quzo::msgu::conv("a", "utf-8", "utf-8", buffer, length, error, true));
    EXPECT_EQ(error, quzo::kErrorInvalidArgument);
}

TEST(GenRfc2047, WritesNamesForQuotationMarks) {
    const struct {
        const char* text;
        const char* charset;
        const char* words;
    } cases[] = {
        {"Plain Name", "utf-8", "Plain Name"},
        {"", "utf-8", ""},
        {"Jörg Müller", "utf-8", "=?utf-8?B?SsO2cmcgTcO8bGxlcg==?="},
        {"a =?b?q?c?=", "utf-8", "=?utf-8?B?YSA9P2I/cT9jPz0=?="},
        {"Jörg", "iso-8859-1", "=?iso-8859-1?Q?J=F6rg?="},
        {"Jörg", "us-ascii", "=?utf-8?B?SsO2cmc=?="}, // what the target cannot hold goes as utf-8
        {"日本", "iso-8859-1", "=?utf-8?B?5pel5pys?="},
        {"日本", "iso-2022-jp", "=?iso-2022-jp?B?GyRCRnxLXBsoQg==?="},
        {"Jörg", "utf-16", "=?utf-8?B?SsO2cmc=?="},
        {"plain", "utf-16", "plain"},
        {"a \"b\" \\c", "us-ascii", "=?us-ascii?B?YSAiYiIgXGM=?="}, // these would end or escape
        {"a\\", "utf-8", "=?utf-8?Q?a=5C?="},
        {"a\\b", "shift_jis", "=?shift_jis?B?YVxi?="},
        {"a\tb\r\nBcc: x", "us-ascii", "=?us-ascii?B?YQliDQpCY2M6IHg=?="},
    };
    for (const auto& c : cases) {
        int error = -1;
        const quzo::HeaderValueHandle words(quzo::msgu::genRfc2047(c.text, c.charset, error));
        ASSERT_NE(words, nullptr) << c.text << " in " << c.charset;
        EXPECT_STREQ(words.get(), c.words);
        EXPECT_EQ(error, 0);
        // Between quotation marks nothing of it ends or escapes anything.
        EXPECT_EQ(std::string_view(words.get()).find_first_of("\"\\\r\n\t"), std::string_view::npos);
        EXPECT_EQ(quzo::platform::decodeWords(words.get()).bytes.empty(), *c.text == '\0');
    }
    int error = 0;
    EXPECT_EQ(quzo::msgu::genRfc2047("a", "x-unknown", error), nullptr);
    EXPECT_EQ(error, quzo::kErrorUnknownCharset);
    EXPECT_EQ(quzo::msgu::genRfc2047("\xE9", "utf-8", error), nullptr);
    EXPECT_EQ(error, quzo::kErrorMalformedText);
}

TEST(Tokenize, KeepsEmptyParts) {
    const struct {
        const char* text;
        const char* delimiters;
        std::vector<std::string> parts;
    } cases[] = {
        {"", ";", {}},
        {"a", ";", {"a"}},
        {"a;b,c", ";,", {"a", "b", "c"}},
        {";a;;b;", ";", {"", "a", "", "b"}},
        {";", ";", {""}},
        {"a;b", "", {"a;b"}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> parts = {"old"};
        quzo::tokenize(c.text, parts, c.delimiters);
        EXPECT_EQ(parts, c.parts) << c.text;
    }
}

TEST(CompareIgnoringCase, LooksAtNoMoreThanItMay) {
    const struct {
        const char* a;
        const char* b;
        unsigned n;
        int sign;
    } cases[] = {
        {"Subject", "sUBJECT", 7, 0},
        {"subject", "subjects", 7, 0},
        {"subject", "subjects", 8, -1},
        {"b", "A", 1, 1},
        {"x", "y", 0, 0},
        {"a", "a", 100, 0},
        {"\xC4", "\xE4", 1, -1},
        {"[", "{", 1, -1},
    };
    for (const auto& c : cases) {
        const int result = quzo::platform_icasencmp(c.a, c.b, c.n);
        EXPECT_EQ((result > 0) - (result < 0), c.sign) << c.a << " " << c.b;
    }
}

} // namespace
