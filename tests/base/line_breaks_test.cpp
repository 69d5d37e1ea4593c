// Lines of a text.
#include "platform/base/line_breaks.h"

#include <gtest/gtest.h>

#include <string>

namespace quzo::platform::test {
namespace {

TEST(LineBreaksTest, ALineMayHave998BytesWithoutItsBreak) {
    const struct {
        std::size_t size; // bytes, all 'x'
        const char* end;
        bool isLong;
    } rows[] = {
        {998, "", false},       {999, "", true},       {997, "\r", false},   {998, "\r", true},
        {998, "\n", false},     {998, "\r\n", false},  {999, "\n", true},    {999, "\r\n", true},
        {997, "\r\r\n", false}, {998, "\r\r\n", true}, {998, "\rx\n", true}, {0, "", false},
    };
    // In front of and behind the line: others, as short as can be and as long as may be.
    const std::string around[] = {"", "\n", "a\r\n\n", std::string(998, 'y') + "\r\n",
                                  std::string(600, 'y') + "\n" + std::string(500, 'z') + "\n"};
    for (const auto& row : rows) {
        for (const std::string& front : around) {
            const std::string line = front + std::string(row.size, 'x') + row.end;
            SCOPED_TRACE(::testing::PrintToString(line));
            EXPECT_EQ(hasLongLine(line), row.isLong);
            for (const std::string& behind : around) {
                EXPECT_TRUE(!line.ends_with('\n') || hasLongLine(line + behind) == row.isLong) << behind;
            }
        }
    }
}

TEST(LineBreaksTest, BothKindsOfBreaksBecomeOne) {
    EXPECT_EQ(withLineBreaks("a\nb\r\n\r\r\nc\rd", "\r\n"), "a\r\nb\r\n\r\r\nc\rd");
    EXPECT_EQ(withLineBreaks("a\nb\r\n\r\r\nc\r", "\n"), "a\nb\n\r\nc\r");
}

} // namespace
} // namespace quzo::platform::test
