// The line limit of stamps against its definition, and against numbers worked out by hand.
#include <random>

#include "fake_platform.h"
#include "quzo/actions/stamp_line_limit.h"
#include "stamp_line_reference.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

class StampLimitTest : public LibraryTest {
protected:
    Strings logged() {
        Strings found = lines(1);
        log.lines.clear();
        return found;
    }
};

TEST_F(StampLimitTest, WorkedOut) {
    const std::string a990(990, 'a');
    const std::string accents = [] {
        std::string text;
        for (int i = 0; i < 1500; ++i) {
            text += "\xC3\xA9";
        }
        return text;
    }();
    const struct {
        const char* what;
        std::string text;
        const char* charset;
        int limit;
        bool divided;
        std::string result;
        Strings log;
    } rows[] = {
        {"990, 990 and 20",
         std::string(2000, 'a'),
         "us-ascii",
         990,
         true,
         a990 + "\r\n" + a990 + "\r\n" + std::string(20, 'a'),
         {"Long line detected '2000'", "Long line divided '992'", "Long line divided '992'"}},
        {"the limit, and its line break", a990 + "\r\n", "us-ascii", 990, false, a990 + "\r\n", {}},
        {"two bytes of break are not counted",
         std::string(992, 'a'),
         "us-ascii",
         990,
         false,
         std::string(992, 'a'),
         {}},
        {"one more",
         a990 + "aa\r\n",
         "us-ascii",
         990,
         true,
         a990 + "\r\n" + "aa\r\n",
         {"Long line detected '994'", "Long line divided '992'"}},
        {"bytes count, not characters",
         "\u3042\u3042\u3042",
         "euc-jp",
         2,
         true,
         "\u3042\r\n\u3042\r\n\u3042",
         {"Long line detected '6'", "Long line divided '4'", "Long line divided '4'"}},
        {"no room for any", "ab", "us-ascii", -5, false, "ab", {}},
        {"no utf-8", "abc\xFF", "us-ascii", 1, false, "abc\xFF", {}},
        {"lacks a character", "ab\u3042", "iso-8859-1", 1, false, "ab\u3042", {}},
        {"no charset of that name", "abcd", "x-none", 1, false, "abcd", {}},
        {"breaks begin with NUL", "abcd", "utf-16be", 1, false, "abcd", {}},
        {"the same of four bytes", "abcd", "utf-32be", 1, false, "abcd", {}},
        {"too long in utf-8",
         accents,
         "iso-8859-1",
         990,
         false,
         accents,
         {"Long line detected '1500'", "Long line divided '992'"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::string text = row.text;
        EXPECT_EQ(divideLongLines(text, row.charset, row.limit), row.divided);
        EXPECT_EQ(text, row.result);
        EXPECT_EQ(logged(), row.log);
    }
    std::string none;
    EXPECT_FALSE(divideLongLines(none, "utf-8", 5));
    std::string some = "abc";
    EXPECT_FALSE(divideLongLines(some, nullptr, 1));
}

TEST_F(StampLimitTest, IsWhatTheDefinitionGives) {
    std::minstd_rand engine(20261125); // fixed: a failure must come again
    const auto random = [&engine] { return static_cast<unsigned>(engine()); };
    const char* const charsets[] = {"utf-8",     "us-ascii", "iso-8859-1",  "windows-1252", "koi8-r",
                                    "shift_jis", "euc-jp",   "iso-2022-jp", "iso-2022-kr",  "euc-kr",
                                    "gb18030",   "big5",     "hz-gb-2312",  "utf-16",       "utf-16le",
                                    "utf-7",     "scsu",     "utf-32be"};
    const char* const pieces[] = {"a",      "Z",      " ",      "~",      "+",          "\\",
                                  "\r\n",   "\r",     "\n",     "\u00E9", "\u00DF",     "\u0416",
                                  "\u3042", "\u4E2D", "\uD55C", "\uFF71", "\U0001F600", "\U00020000"};
    unsigned divided = 0;
    for (int round = 0; round < 2500; ++round) {
        const char* charset = charsets[random() % std::size(charsets)];
        const unsigned kinds = 1 + random() % static_cast<unsigned>(std::size(pieces));
        const unsigned length = random() % (round % 20 == 0 ? 1500 : 120);
        std::string text;
        for (unsigned i = 0; i < length; ++i) {
            text += pieces[random() % 8 == 0 ? random() % std::size(pieces) : random() % kinds];
        }
        const int limit = static_cast<int>(round % 3 == 0 ? 1 + random() % 998 : random() % 40);
        std::string wanted = text;
        Strings wantedLog;
        const bool wantedResult = divideUnitByUnit(wanted, charset, limit, wantedLog);
        std::string got = text;
        ASSERT_EQ(divideLongLines(got, charset, limit), wantedResult)
            << charset << " " << limit << " " << text;
        ASSERT_EQ(got, wanted) << charset << " " << limit << " " << text;
        ASSERT_EQ(logged(), wantedLog) << charset << " " << limit << " " << text;
        divided += wantedResult ? 1 : 0;
    }
    EXPECT_GT(divided, 300U);
}

} // namespace
} // namespace quzo::test
