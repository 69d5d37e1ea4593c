// Reading encoded words: what real mail writes, and any bytes at all.
#include "platform/charset/encoded_words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/charset/converter.h"
#include "quzo/core/error_text.h"
#include "sample_texts.h"

namespace {

using namespace std::string_literals;
using quzo::platform::charsetOfRawText;
using quzo::platform::convert;
using quzo::platform::DecodedValue;
using quzo::platform::decodeWords;
using quzo::platform::encodeWords;
using quzo::platform::Unmappable;

bool isUnsafe(char c) { return (c < 0x20 && c != '\t' && c != '\r' && c != '\n') || c == 0x7F; }

TEST(DecodeWords, ReadsWhatMailWrites) {
    const struct {
        const char* what;
        std::string raw;
        std::string bytes;
        std::string charset;
    } cases[] = {
        {"no word", " plain  text \r\n", "plain  text", ""},
        {"no word, folded", " a\r\n b\r\n\tc\r\n", "a b\tc", ""},
        {"raw 8-bit", " caf\xE9"s, "caf\xE9"s, ""},
        {"Q", "=?ISO-8859-1?Q?caf=e9_=E9?=", "caf\xE9 \xE9"s, "iso-8859-1"},
        {"B", "=?utf-8?b?w6k=?=", "é", "utf-8"},
        {"text around", "a  =?utf-8?q?=C3=A9?=\t b", "a  é\t b", "utf-8"},
        {"adjacent, folded", "=?utf-8?q?a?=\r\n =?utf-8?q?b?= \t=?UTF8?q?c?=", "abc", "utf-8"},
        {"adjacent without a blank", "=?utf-8?q?a?==?utf-8?q?b?=", "ab", "utf-8"},
        {"a character between two words", "=?utf-8?b?4pg=?=\n =?utf-8?b?gw==?=", "☃", "utf-8"},
        {"a character between two words, gb2312", "=?gb2312?q?=D6?= =?gb2312?q?=D0?=", "\xD6\xD0"s, "gb2312"},
        {"inside a token", "Re:=?utf-8?q?=C3=A9?=!", "Re:é!", "utf-8"},
        {"blanks in Q text", "=?utf-8?q?hello world=21?=", "hello world!", "utf-8"},
        {"folded inside", "=?utf-8?q?a\r\n b?=", "a b", "utf-8"},
        {"no padding", "=?utf-8?b?YWI?= =?utf-8?b?YQ?=", "aba", "utf-8"},
        {"padding in the middle", "=?utf-8?b?YQ==Yg==?=", "ab", "utf-8"},
        {"noise in B text", "=?utf-8?b?Y W*I=?=", "ab", "utf-8"},
        {"one character of B text", "=?utf-8?b?Y?=", "", "utf-8"},
        {"language", "=?UTF-8*sl?Q?=C5=BE?=", "ž", "utf-8"},
        {"broken escapes", "=?utf-8?q?a=b=4?=", "a=b=4", "utf-8"},
        {"empty text",
         "=?utf-8?q?"
         "?=",
         "", "utf-8"},
        {"quoted", "\"=?utf-8?q?=C3=A9?=\" <a@b>", "\"é\" <a@b>", "utf-8"},
        {"two charsets", "=?iso-8859-1?q?=E9?= =?koi8-r?q?=F4?= x", "éТ x", "utf-8"},
        {"iso-2022-jp alone", "=?iso-2022-jp?b?GyRCRnwbKEI=?= =?ISO-2022-JP?b?GyRCRnwbKEI=?=",
         "\x1B$BF|\x1B(B\x1B$BF|\x1B(B"s, "iso-2022-jp"},
        {"iso-2022-jp in text", "Re: =?iso-2022-jp?b?GyRCRnwbKEI=?=", "Re: 日", "utf-8"},
        {"utf-16", "=?utf-16be?b?AGE=?=", "a", "utf-8"},
        {"utf-16 with marks", "=?utf-16?b?//5hAA==?= =?utf-16?b?/v8AYg==?=", "ab", "utf-8"},
        {"us-ascii", "=?us-ascii?q?a=20b?=", "a b", "us-ascii"},
        {"8-bit in us-ascii", "=?us-ascii?q?=E9?=", "=?us-ascii?q?=E9?=", ""},
        {"unknown charset", " x =?x-unknown?q?=E9?=\r\n y", "x =?x-unknown?q?=E9?= y", ""},
        {"unknown charset, two words",
         "=?x-unknown?q?=E9?= =?X-Unknown?q?=E8?=", "=?x-unknown?q?=E9?= =?X-Unknown?q?=E8?=", ""},
        {"unknown and known", "=?utf-8?q?=C3=A9?= =?x-unknown?q?=E9?=", "é =?x-unknown?q?=E9?=", "utf-8"},
        {"unknown first", "=?x-u?q?=E9?=\r\n =?gb2312?q?=D6=D0?= x", "=?x-u?q?=E9?= \xD6\xD0 x"s, "gb2312"},
        {"unknown between known", "=?utf-8?q?a?= =?x-u?q?b?=  =?x-u?q?c?= =?utf-8?q?d?= =?utf-8?q?e?=",
         "a =?x-u?q?b?=  =?x-u?q?c?= de", "utf-8"},
        {"unknown between two known",
         "=?iso-8859-1?q?=E9?= =?x-u?b?w6k=?= =?koi8-r?q?=F4?=", "é =?x-u?b?w6k=?= Т", "utf-8"},
        {"unknown, glued, beside iso-2022-jp",
         "=?iso-2022-jp?b?GyRCRnwbKEI=?==?x-u?q?=E9?=", "日=?x-u?q?=E9?=", "utf-8"},
        {"two unknown", " =?x-u?q?=E9?= =?x-v?q?=E9?=\r\n", "=?x-u?q?=E9?= =?x-v?q?=E9?=", ""},
        {"unknown beside malformed", "=?utf-8?q?=E9?= =?x-u?q?=E9?=", "=?utf-8?q?=E9?= =?x-u?q?=E9?=", ""},
        {"malformed", "=?utf-8?q?=E9?= x", "=?utf-8?q?=E9?= x", ""},
        {"malformed between others",
         "=?utf-8?q?=C3=A9?= =?utf-8?q?=E9?= =?utf-8?q?a?= =?utf-8?q?b?=", "é =?utf-8?q?=E9?= ab", "utf-8"},
        {"malformed beside a character between two",
         "=?utf-8?b?4pg=?= =?utf-8?b?gw==?= =?utf-8?q?a?= =?utf-8?q?=E9?=", "☃a =?utf-8?q?=E9?=", "utf-8"},
        {"malformed with a language, glued", "caf=?utf-8*de?q?=FC?=", "caf=?utf-8*de?q?=FC?=", ""},
        {"malformed in a charset that stays",
         "=?gb2312?q?=D6=D0?= =?gb2312?q?=D6?=", "\xD6\xD0 =?gb2312?q?=D6?="s, "gb2312"},
        {"a shift without its end", "=?iso-2022-jp?b?GyRCRg==?=", "=?iso-2022-jp?b?GyRCRg==?=", ""},
        {"EBCDIC", "=?ibm037?b?gYI=?=", "ab", "utf-8"},
        {"utf-7", "=?utf-7?q?+AOk-?=", "é", "utf-8"},
        {"utf-16 without a mark, big-endian", "=?utf-16?b?AGEAYg==?=", "ab", "utf-8"},
        {"utf-16 without a mark, little-endian", "=?utf-16?b?YQBiAA==?= =?utf-16?b?5WUsZ56K?=", "ab日本語",
         "utf-8"},
        {"utf-16 without a mark, a pair",
         "=?utf-16?b?Pdg13QA=?= =?utf-16?b?Pdg13Q==?=", "=?utf-16?b?Pdg13QA=?= 🔵", "utf-8"},
        {"raw text in the words' charset", "\xD6\xD0=?gb2312?q?=D6=D0?=", "\xD6\xD0\xD6\xD0"s, "gb2312"},
        {"raw utf-8 beside latin-1", "é =?iso-8859-1?q?=E9?=", "é é", "utf-8"},
        {"raw latin-1 beside latin-1", "\xE9 =?iso-8859-1?q?=E9?=", "\xE9 \xE9"s, "iso-8859-1"},
        {"raw latin-1 beside utf-8", "\xE9 =?utf-8?q?=C3=A9?=", "é é", "utf-8"},
        {"raw text that no charset is given for", "\x93q\x81 =?us-ascii?q?a?=", "“q\xC2\x81 a", "utf-8"},
        {"line breaks in the text of a word", "=?utf-8?q?a=0D=0Ab?=", "a\r\nb", "utf-8"},
    };
    for (const auto& c : cases) {
        const DecodedValue value = decodeWords(c.raw);
        EXPECT_EQ(value.bytes, c.bytes) << c.what;
        EXPECT_EQ(value.charset, c.charset) << c.what;
    }
}

TEST(DecodeWords, LeavesAloneWhatIsNoWord) {
    for (const char* raw : {"=?", "=?utf-8", "=?utf-8?", "=?utf-8?q", "=?utf-8?q?", "=?utf-8?q?x",
                            "=?utf-8?q?x?", "=?utf-8?x?y?=", "=??q?x?=", "=?utf-8?q?a?b?=", "=?*sl?q?x?=",
                            "=?u t f?q?x?=", "?=", "=?=", "=?utf-8?qq?x?="}) {
        EXPECT_EQ(decodeWords(raw).bytes, raw);
        EXPECT_EQ(decodeWords(raw).charset, "") << raw;
    }
    EXPECT_EQ(decodeWords("=?utf-8?q?x =?utf-8?q?y?=").bytes, "=?utf-8?q?x y");
}

TEST(DecodeWords, ReadsRawTextInTheCharsetThatIsGiven) {
    const struct {
        std::string raw;
        const char* rawCharset;
        const char* bytes;
    } cases[] = {
        {"\xF4 =?utf-8?q?=C3=A9?=", "koi8-r", "Т é"},
        {"\xF4 =?utf-8?q?=C3=A9?=", "utf-16", "ô é"},
        {"\xF4 =?utf-8?q?=C3=A9?=", "gb2312", "ô é"},
        {"\xC3\xA9 =?utf-8?q?=C3=A9?=", "koi8-r", "é é"},
    };
    for (const auto& c : cases) {
        const DecodedValue value = decodeWords(c.raw, c.rawCharset);
        EXPECT_EQ(value.bytes, c.bytes) << c.rawCharset;
        EXPECT_EQ(value.charset, "utf-8");
    }
    for (int byte = 1; byte < 256; ++byte) {
        const std::string raw(1, static_cast<char>(byte));
        std::string text;
        EXPECT_EQ(convert(raw, charsetOfRawText(raw, "").c_str(), "utf-8", Unmappable::Fail, '?', text), 0)
            << byte;
    }
}

// Any bytes at all: nothing is lost (a value without words is its own bytes) and whatever comes can be
// written again.
TEST(DecodeWords, SurvivesAnyBytes) {
    const std::vector<std::string> kinds[] = {
        {"=?", "?=", "utf-8", "iso-2022-jp", "gb2312", "?q?", "?b?", "*en"},
        {"=1B", "=E9", "=00", "GyRCRnwbKEI=", "a", "_", "="},
        {" ", "\t", "\r\n ", "\xE9", "\xC3\xA9"},
        {"=?gb2312?q?=D6?=", "=?gb2312?q?=D0?=", "=?gb2312?q?=D6=D0?=", "=?x-u?q?a?=", "=?utf-8?b?4pg=?=",
         "=?utf-8?b?gw==?= "}};
    std::mt19937 random(5);
    for (int i = 0; i < 20000; ++i) {
        std::string raw;
        for (auto count = random() % 20; count > 0; --count) {
            const auto& pieces = kinds[random() % std::size(kinds)];
            raw += random() % 8 == 0 ? "=?utf-8?q?" : pieces[random() % pieces.size()];
        }
        const DecodedValue value = decodeWords(raw);
        const std::string charset =
            value.charset.empty() ? charsetOfRawText(value.bytes, "gb2312") : value.charset;
        const std::string text = utf8(value.bytes, charset);
        for (const std::string& target : {charset, "gb2312"s}) {
            std::string bytes = value.bytes;
            if (target != charset &&
                convert(text, "utf-8", target.c_str(), Unmappable::Fail, '?', bytes) != 0) {
                continue;
            }
            std::string written;
            ASSERT_EQ(encodeWords(bytes, target.c_str(), 9, "\r\n", written), 0)
                << testing::PrintToString(raw);
            ASSERT_TRUE(std::none_of(written.begin(), written.end(), isUnsafe))
                << testing::PrintToString(raw);
            const DecodedValue back = decodeWords(written);
            ASSERT_EQ(utf8(back.bytes, back.charset), text) << testing::PrintToString(raw) << written;
        }
    }
}

} // namespace
