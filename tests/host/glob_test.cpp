// Wildcard patterns: what they match; tests/growth counts what hostile ones cost.
#include "host/policy/glob.h"

#include <gtest/gtest.h>

namespace quzo::host {
namespace {

struct Case {
    const char* pattern;
    const char* text;
    bool matches;
};

class GlobTable : public testing::TestWithParam<Case> {};

TEST_P(GlobTable, Matches) {
    const Case& c = GetParam();
    EXPECT_EQ(Glob(c.pattern).matches(c.text), c.matches) << c.pattern << " on " << c.text;
}

INSTANTIATE_TEST_SUITE_P(
    All, GlobTable,
    testing::Values(
        // Plain texts cover the whole text, whatever its case.
        Case{"a@example.com", "A@Example.COM", true}, Case{"a@example.com", "a@example.com.", false},
        Case{"", "", true}, Case{"", "a", false}, Case{"abc", "ab", false},
        // Stars.
        Case{"*", "", true}, Case{"*", "anything", true}, Case{"*.exe", "a.EXE", true},
        Case{"*.exe", ".exe", true}, Case{"*.exe", "exe", false}, Case{"*.exe", "a.exe.txt", false},
        Case{"a*b*c", "a--b--b--c", true}, Case{"a*b*c", "a--c--b", false}, Case{"**", "", true},
        Case{"*a", "aab", false}, Case{"inv*.pdf", "invoice.pdf", true}, Case{"inv*", "in", false},
        // One character, of UTF-8 too.
        Case{"?", "\xc3\xa4", true}, Case{"?", "ab", false}, Case{"?", "", false}, Case{"a?c", "abc", true},
        Case{"*?b", "b", false},
        // Case outside ASCII; letters that only fold into ASCII stay what they are.
        Case{"\xc3\x84*", "\xc3\xa4rger", true}, Case{"*.bak", "a.ba\xe2\x84\xaa", false},
        // Bytes that are no UTF-8 equal themselves only.
        Case{"\xe4*", "\xe4x", true}, Case{"\xe4", "\xe5", false}, Case{"?", "\xe4", true},
        // Sets.
        Case{"[abc].exe", "B.exe", true}, Case{"[a-c]", "d", false}, Case{"[!a-c]", "d", true},
        Case{"[!a-c]", "a", false}, Case{"[]x]", "]", true}, Case{"[*]", "*", true}, Case{"[*]", "a", false},
        Case{"[a-]", "-", true}, Case{"*.[0-9]", "x.7", true},
        // Without an end a bracket is itself.
        Case{"[abc", "[abc", true}, Case{"[spam", "s", false}, Case{"a[", "a[", true}, Case{"[!", "[!", true},
        // Nothing else is special.
        Case{"a\\*", "a\\b", true}, Case{"a.c", "abc", false}));

} // namespace
} // namespace quzo::host
