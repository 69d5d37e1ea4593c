// Writing encoded words: well-formed, no more of them than needed, and read back as they were meant.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/charset/encoded_words.h"
#include "quzo/core/error_text.h"
#include "sample_texts.h"

namespace {

using namespace std::string_literals;
using quzo::platform::DecodedValue;
using quzo::platform::decodeWords;
using quzo::platform::encodeAsWords;
using quzo::platform::encodeWords;

// What holds for every value that encodeWords() writes.
void expectWellFormed(const std::string& written, std::size_t firstColumn, const std::string& what) {
    std::string line;
    bool first = true;
    for (std::size_t at = 0; at <= written.size();) {
        const std::size_t end = std::min(written.find("\r\n", at), written.size());
        line = written.substr(at, end - at);
        for (const char c : line) {
            ASSERT_TRUE((c >= 0x20 && c <= 0x7E) || c == '\t') << what;
        }
        if (line.find("=?") != std::string::npos) {
            EXPECT_LE(line.size() + (first ? firstColumn : 0), 76U) << what << ": " << line;
        }
        EXPECT_LT(line.size(), 998U) << what;
        EXPECT_TRUE(first || line.empty() || line[0] == ' ' || line[0] == '\t') << what;
        EXPECT_TRUE(first || line.find_first_not_of(" \t") != std::string::npos) << what << ": a blank line";
        for (std::size_t word = line.find("=?"); word != std::string::npos;) {
            const std::size_t wordEnd = line.find("?=", line.find('?', line.find('?', word + 2) + 1) + 1);
            ASSERT_NE(wordEnd, std::string::npos) << what << ": " << line;
            EXPECT_LE(wordEnd + 2 - word, 75U) << what << ": " << line;
            word = line.find("=?", wordEnd + 2);
        }
        first = false;
        at = end + 2;
    }
}

TEST(EncodeWords, GivesEveryTextBack) {
    for (const SampleText& sample : sampleTexts()) {
        const std::string what = sample.charset + " " + testing::PrintToString(sample.bytes.substr(0, 60));
        std::string written;
        ASSERT_EQ(encodeWords(sample.bytes, sample.charset.c_str(), sample.firstColumn, "\r\n", written), 0)
            << what;
        expectWellFormed(written, sample.firstColumn, what);
        const DecodedValue back = decodeWords(" " + written + "\r\n");
        EXPECT_EQ(utf8(back.bytes, back.charset), utf8(sample.bytes, sample.charset)) << what << "\n"
                                                                                      << written;
        if (sample.charset != "iso-2022-jp" && !back.charset.empty()) {
            EXPECT_EQ(back.bytes, sample.bytes) << what;
            EXPECT_EQ(back.charset, sample.charset);
        }
        const std::string text = utf8(sample.bytes, sample.charset);
        std::string words;
        ASSERT_EQ(encodeAsWords(text, sample.charset.c_str(), words), 0);
        const DecodedValue backWords = decodeWords(words);
        EXPECT_EQ(utf8(backWords.bytes, backWords.charset), text) << words;
        EXPECT_TRUE(backWords.charset.empty() || backWords.charset == sample.charset) << words;
    }
}

TEST(EncodeWords, WritesNoMoreThanItHasTo) {
    const struct {
        const char* charset;
        std::string value;
        const char* written;
    } cases[] = {
        {"utf-8", "", ""},
        {"utf-8", "plain text", "plain text"},
        {"utf-8", "a  b\tc", "a  b\tc"},
        {"utf-8", "Grüße an alle", "=?utf-8?B?R3LDvMOfZQ==?= an alle"},
        {"UTF-8", "[tag] encyclopédique x", "[tag] =?UTF-8?Q?encyclop=C3=A9dique?= x"},
        {"utf-8", "é à x", "=?utf-8?B?w6kgw6A=?= x"},
        {"utf-8", "日本", "=?utf-8?B?5pel5pys?="},
        {"utf-8", " a", "=?utf-8?Q?_a?="},
        {"utf-8", "a ", "=?utf-8?Q?a_?="},
        {"utf-8", "  ", "=?utf-8?Q?__?="},
        {"utf-8", "a  café  b", "a =?utf-8?Q?_caf=C3=A9_?= b"},
        {"utf-8", "is =?utf-8?q?one?=", "is =?utf-8?B?PT91dGYtOD9xP29uZT89?="},
        {"utf-8", "one+one+one=? yes", "=?utf-8?Q?one+one+one=3D=3F?= yes"},
        {"utf-8", "a\r\nB: c", "=?utf-8?B?YQ0KQjo=?= c"},
        {"iso-8859-1", "\xE9"s, "=?iso-8859-1?Q?=E9?="},
        {"iso_8859-1:1987", "\xE9"s, "=?ISO-8859-1?Q?=E9?="},
        {"gb2312", "\xD6\xD0 a"s, "=?gb2312?B?1tA=?= a"},
        {"iso-2022-jp", "Re: \x1B$BF|\x1B(B"s, "Re: =?iso-2022-jp?B?GyRCRnwbKEI=?="},
        {"us-ascii", "ok", "ok"},
        {"utf-16be", "\x4E\x2D\0a"s, "=?utf-8?B?5LitYQ==?="},
        {"iso-10646-ucs-2", "[spam] x", "[spam] x"},
        {"utf-7", "a +AOk-", "a =?utf-8?B?w6k=?="},
        {"utf-8", "é =?x-u?q?a b?= x", "=?utf-8?B?w6k=?= =?x-u?q?a b?= x"},
        {"utf-8", "[t] =?utf-8?B?Y2Fm6Q==?=", "[t] =?utf-8?B?Y2Fm6Q==?="},
        {"gb2312", "\xD6\xD0 =?gb2312?q?=D6?="s, "=?gb2312?B?1tA=?= =?gb2312?q?=D6?="},
        {"gb2312", "=?gb2312?q?=D6?= a\xD6\xD0"s, "=?gb2312?B?PT9nYjIzMTI/cT89RDY/PSBh1tA=?="},
        {"utf-8", "a =?x-u?q?b\0c?= d"s, "a =?utf-8?B?PT94LXU/cT9iAGM/PQ==?= d"},
        {"utf-8", "a\x1B[31m\x7F b", "=?utf-8?B?YRtbMzFtfw==?= b"},
    };
    for (const auto& c : cases) {
        std::string written;
        EXPECT_EQ(encodeWords(c.value, c.charset, 9, "\n", written), 0) << c.value;
        EXPECT_EQ(written, c.written) << c.charset;
    }
}

TEST(EncodeWords, RefusesWhatItCannotRead) {
    std::string out;
    EXPECT_EQ(encodeWords("a", "x-unknown", 0, "\r\n", out), quzo::kErrorUnknownCharset);
    EXPECT_EQ(encodeWords("a", nullptr, 0, "\r\n", out), quzo::kErrorUnknownCharset);
    EXPECT_EQ(encodeWords("\xE9"s, "us-ascii", 0, "\r\n", out), quzo::kErrorMalformedText);
    EXPECT_EQ(encodeWords("\xE9"s, "utf-8", 0, "\r\n", out), quzo::kErrorMalformedText);
    EXPECT_EQ(encodeWords("\x4E"s, "utf-16be", 0, "\r\n", out), quzo::kErrorNone); // ASCII, see the header
    EXPECT_EQ(encodeWords("\0\x4E\x2D"s, "utf-16be", 0, "\r\n", out), quzo::kErrorMalformedText);
    const std::string tooLong(quzo::platform::kMaxEncodedValue + 1, 'a');
    EXPECT_EQ(encodeWords(tooLong, "utf-8", 0, "\r\n", out), quzo::kErrorLimit);
}

} // namespace
