// Conversions: what labels mean, what is refused, where a limit cuts.
#include "platform/charset/converter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "conversion.h"
#include "platform/base/utf8.h"
#include "quzo/core/error_text.h"

namespace {

using namespace std::string_literals;
using quzo::platform::asciiCompatible;
using quzo::platform::convert;
using quzo::platform::decodeLeniently;
using quzo::platform::isUtf8;
using quzo::platform::knownCharset;
using quzo::platform::sameCharset;
using quzo::platform::Unmappable;

TEST(Converter, ReadsLabelsAsMailMeansThem) {
    const struct {
        const char* label;
        std::string bytes;
        std::string utf8;
    } cases[] = {
        {"gb2312", "\x81\x40"s, "丂"},                  // only in GBK
        {"GBK", "\x81\x30\x81\x30"s, "\xC2\x80"},       // only in GB18030
        {"ks_c_5601-1987", "\x81\x41"s, "갂"},          // only in windows-949
        {"EUC-KR", "\x81\x41"s, "갂"},                  //
        {"iso-8859-1", "\x93\xE9"s, "\xC2\x93é"},       // the control as it is
        {"iso-8859-11", "\x80\xA1"s, "€ก"},             // windows-874
        {"tis-620", "\x80\xA1"s, "€ก"},                 //
        {"shift_jis", "\x87\x40\xB1\xFA\x5C"s, "①ｱ纊"}, // NEC, halfwidth, IBM
        {"shift_jis", "\\~\x1A\x7F"s, "\\~\x1A\x7F"},   //
        {"iso-2022-jp", "\x1B$B\x2D\x21\x79\x21\x1B(I\x31\x1B(B"s, "①纊ｱ"},
        {"iso-2022-jp", "\x1B(B\x1B$B\x1B(B\x1B$BF|\x1B(B\x1B(J"s, "日"}, // empty segments
        {"ansi_x3.4-1968", "abc", "abc"},
        {"iso-10646-ucs-2", "\0a\x4E\x2D"s, "a中"},
        {"iso-10646-ucs-2", "\xFF\xFE\x61\0"s, "a"},
        {"utf-7", "+AOk-", "é"},
        {"big5", "\xA4\xA4"s, "中"},
        {"koi8-r", "\xF4"s, "Т"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(run(c.bytes, c.label, "utf-8"), (Result{0, c.utf8})) << c.label;
    }
}

TEST(Converter, WritesStrictlyWhatItReadsGenerously) {
    const struct {
        const char* label;
        const char* utf8;
        std::string bytes; // empty: the label does not have it
    } cases[] = {
        {"gb2312", "中", "\xD6\xD0"s},
        {"gb2312", "丂", ""},
        {"gb2312", "€", ""},
        {"gb2312", "😀", ""},
        {"gbk", "丂", "\x81\x40"s},
        {"gbk", "😀", ""},
        {"euc-kr", "가", "\xB0\xA1"s},
        {"euc-kr", "갂", ""},
        {"ks_c_5601-1987", "갂", ""},
        {"windows-949", "갂", "\x81\x41"s},
        {"iso-8859-1", "é", "\xE9"s},
        {"iso-8859-1", "’", ""},
        {"iso-8859-1", "\xC2\x92", "\x92"s},
        {"windows-1252", "’", "\x92"s},
        {"tis-620", "ก", "\xA1"s},
        {"tis-620", "€", ""},
        {"tis-620", "\xC2\xA0", ""},
        {"iso-8859-11", "\xC2\xA0", "\xA0"s},
        {"us-ascii", "a", "a"},
        {"us-ascii", "é", ""},
        {"iso-10646-ucs-2", "a", "\0a"s},
        {"iso-10646-ucs-2", "😀", ""},
        {"shift_jis", "①ｱ纊", "\x87\x40\xB1\xFA\x5C"s},
        {"iso-2022-jp", "①纊ｱ¥a", "\x1B$B\x2D\x21\x79\x21\x1B(I\x31\x1B(J\\\x1B(Ba"s},
        {"iso-2022-jp", "\x1B", ""},
        {"iso-2022-jp", "中😀", ""},
        {"iso-8859-2", "\xE2\x80\x8D", ""}, // an invisible character is not dropped either
        {"hz-gb-2312", "ab", "ab"},
        {"hz-gb-2312", "ab中", ""},
    };
    for (const auto& c : cases) {
        const Result expected = c.bytes.empty() ? Result{quzo::kErrorUnmappable, ""} : Result{0, c.bytes};
        EXPECT_EQ(run(c.utf8, "utf-8", c.label), expected) << c.label << " " << c.utf8;
    }
}

// Whatever a generous reading gives can be written again as the same bytes.
TEST(Converter, GivesTheBytesBackThatItRead) {
    const struct {
        const char* label;
        int leads[2];
        int trails[2];
        std::string before;
        std::string after;
    } cases[] = {
        {"shift_jis", {0x81, 0xFC}, {0x40, 0xFC}, "", ""},
        {"iso-2022-jp", {0x21, 0x7E}, {0x21, 0x7E}, "\x1B$B", "\x1B(B"},
        {"gb18030", {0x81, 0xFE}, {0x40, 0xFE}, "", ""},
        {"big5", {0x81, 0xFE}, {0x40, 0xFE}, "", ""},
        {"windows-949", {0x81, 0xFE}, {0x41, 0xFE}, "", ""},
    };
    for (const auto& c : cases) {
        int read = 0;
        for (int lead = c.leads[0]; lead <= c.leads[1]; ++lead) {
            for (int trail = c.trails[0]; trail <= c.trails[1]; ++trail) {
                const std::string code =
                    c.before + static_cast<char>(lead) + static_cast<char>(trail) + c.after;
                const Result text = run(code, c.label, "utf-8");
                if (text.error != 0) {
                    continue;
                }
                ++read;
                const Result back = run(text.out, "utf-8", c.label);
                ASSERT_EQ(back.error, 0) << c.label << " " << testing::PrintToString(code);
                // Two codes may be one character; then the character is what has to come back.
                ASSERT_EQ(run(back.out, c.label, "utf-8"), text) << c.label << testing::PrintToString(code);
            }
        }
        EXPECT_GT(read, 6000) << c.label;
    }
}

TEST(Converter, RefusesWhatIsNoText) {
    const struct {
        const char* label;
        std::string bytes;
    } cases[] = {
        {"utf-8", "\xC0\x80"s},
        {"utf-8", "\xED\xA0\x80"s},
        {"utf-8", "\xF4\x90\x80\x80"s},
        {"utf-8", "a\xE4\xB8"s},
        {"utf-8", "\x80"s},
        {"us-ascii", "\xE9"s},
        {"ascii", "a\xFF"s},
        {"shift_jis", "\x81"s},
        {"gb2312", "\xD6"s},
        {"gbk", "\xFF"s},
        {"iso-2022-jp", "\x1B$B\x30"s},
        {"iso-2022-jp", "\xB1"s},
        {"iso-2022-jp", "\x1B$A\x30\x21"s}, // an escape that it does not have
        {"utf-16be", "\xD8\x00\x00\x61"s},
        {"utf-16", "a"s},
        {"utf-7", "+2AA-"},
        {"shift_jis", "a\x81\xADz"s}, // well-formed, but no character
    };
    for (const auto& c : cases) {
        for (const Unmappable mode : {Unmappable::Fail, Unmappable::Substitute}) {
            for (const char* to : {"utf-8", "utf-16le", "iso-8859-15"}) {
                EXPECT_EQ(run(c.bytes, c.label, to, mode).error, quzo::kErrorMalformedText)
                    << c.label << " " << testing::PrintToString(c.bytes) << " to " << to;
            }
        }
    }
    EXPECT_EQ(run("日aé😀", "utf-8", "us-ascii", Unmappable::Substitute), (Result{0, "?a??"}));
    EXPECT_EQ(run("丂中", "utf-8", "gb2312", Unmappable::Substitute), (Result{0, "?\xD6\xD0"s}));
    EXPECT_EQ(run("日😀", "utf-8", "iso-2022-jp", Unmappable::Substitute),
              (Result{0, "\x1B$B\x46\x7C\x1B(B?"s}));
}

TEST(Converter, KnowsNamesAndRefusesHostileOnes) {
    for (const char* name :
         {"utf-8", "UTF8", "x-sjis", "ms_kanji", "iso_8859-1:1987", "windows-1252", "cp1252", "csISO2022JP",
          "cp50221", "unicode-1-1-utf-8", "iso-8859-8-i", "us-ascii"}) {
        EXPECT_TRUE(knownCharset(name)) << name;
    }
    const std::string longName(65, 'a');
    const std::string huge(1U << 20U, 'a');
    for (const char* name : {"", " ", "-", "utf-8 ", "utf\n8", "ISO_2022,locale=ja,version=3", "../utf-8",
                             "x/y", "unknown-8bit", "\xC3\xBC", longName.c_str(), huge.c_str()}) {
        EXPECT_FALSE(knownCharset(name)) << std::string(name).substr(0, 80);
        EXPECT_EQ(run("a", name, "utf-8").error, quzo::kErrorUnknownCharset);
        EXPECT_EQ(run("a", "utf-8", name).error, quzo::kErrorUnknownCharset);
    }
    EXPECT_FALSE(knownCharset(nullptr));
    EXPECT_EQ(run("a", nullptr, "utf-8").error, quzo::kErrorUnknownCharset);
    EXPECT_TRUE(sameCharset("UTF8", "utf-8"));
    EXPECT_TRUE(sameCharset("latin1", "ISO-8859-1"));
    EXPECT_FALSE(sameCharset("iso-8859-1", "windows-1252"));
    EXPECT_FALSE(sameCharset("nonsense", "nonsense"));
}

TEST(Converter, SaysWhereAsciiStandsForItself) {
    for (const char* name : {"utf-8", "us-ascii", "iso-8859-1", "windows-1251", "shift_jis", "euc-jp",
                             "gb2312", "gb18030", "big5", "euc-kr", "koi8-r", "tis-620", "ibm850"}) {
        EXPECT_TRUE(asciiCompatible(name)) << name;
    }
    for (const char* name : {"utf-16", "utf-16le", "utf-32", "iso-10646-ucs-2", "utf-7", "iso-2022-jp",
                             "iso-2022-kr", "hz-gb-2312", "ibm037", "scsu", "nonsense"}) {
        EXPECT_FALSE(asciiCompatible(name)) << name;
    }
}

// At every limit: a whole number of characters, as many as fit, closed, and readable.
TEST(Converter, CutsBetweenCharacters) {
    const std::string text = "aé日本b語😀cｱ中d가";
    const struct {
        const char* label;
        const char* from;
    } cases[] = {{"utf-8", "utf-8"},     {"utf-8", "utf-16be"},    {"utf-16le", "utf-8"},
                 {"utf-16", "utf-8"},    {"gb18030", "utf-8"},     {"shift_jis", "utf-8"},
                 {"utf-7", "utf-8"},     {"iso-2022-jp", "utf-8"}, {"iso-2022-kr", "utf-8"},
                 {"iso-8859-1", "utf-8"}};
    for (const auto& c : cases) {
        const Result source = run(text, "utf-8", c.from);
        const Result whole = run(source.out, c.from, c.label, Unmappable::Substitute);
        ASSERT_EQ(whole.error, 0) << c.label;
        const Result wholeBack = run(whole.out, c.label, "utf-8");
        std::size_t longest = 0;
        for (std::size_t limit = 0; limit <= whole.out.size() + 1; ++limit) {
            const Result cut = run(source.out, c.from, c.label, Unmappable::Substitute, limit);
            ASSERT_EQ(cut.error, 0) << c.label << " at " << limit;
            ASSERT_LE(cut.out.size(), limit) << c.label;
            const Result back = run(cut.out, c.label, "utf-8");
            ASSERT_EQ(back.error, 0) << c.label << " at " << limit << " " << testing::PrintToString(cut.out);
            ASSERT_EQ(wholeBack.out.compare(0, back.out.size(), back.out), 0) << c.label << " at " << limit;
            ASSERT_GE(back.out.size(), longest) << c.label << " at " << limit;
            longest = back.out.size();
            ASSERT_GE(cut.out.size() + 16, std::min(limit, whole.out.size())) << c.label << " wastes room";
        }
        EXPECT_EQ(longest, wholeBack.out.size()) << c.label;
    }
    EXPECT_EQ(run("日本", "utf-8", "iso-2022-jp", Unmappable::Fail, 8), (Result{0, "\x1B$B\x46\x7C\x1B(B"s}));
    EXPECT_EQ(run("日本", "utf-8", "iso-2022-jp", Unmappable::Fail, 7), (Result{0, ""}));
}

TEST(Converter, ReadsAnythingLeniently) {
    const struct {
        const char* label;
        std::string bytes;
        const char* utf8;
    } cases[] = {
        {"utf-8", "a\xE4\xB8z\xFF"s, "a\uFFFDz\uFFFD"},
        {"us-ascii", "a\xE9"s, "a\uFFFD"},
        {"shift_jis", "\x81"s, "\uFFFD"},
        {"gb2312", "\xD6\xD0\xFF"s, "中\uFFFD"},
        {"utf-7", "+2AA-x", "\uFFFDx"},
        {"iso-8859-1", "\x93q\x94\xE9"s, "“q”é"},
        {"latin1", "\x85"s, "…"},
    };
    for (const auto& c : cases) {
        std::string out;
        EXPECT_EQ(decodeLeniently(c.bytes, c.label, out), 0);
        EXPECT_EQ(out, c.utf8) << c.label;
        EXPECT_EQ(decodeLeniently(c.bytes, c.label, out, 3), 0);
        EXPECT_TRUE(isUtf8(out) && out.size() <= 3) << c.label;
    }
    std::string out;
    EXPECT_EQ(decodeLeniently("a", "nonsense", out), quzo::kErrorUnknownCharset);
}

} // namespace
