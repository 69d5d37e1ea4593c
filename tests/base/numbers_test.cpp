// Numbers and sizes in texts: the whole text or nothing.
#include "platform/base/numbers.h"

#include <gtest/gtest.h>

namespace quzo::platform {
namespace {

TEST(Numbers, AreTheWholeText) {
    EXPECT_EQ(parseNumber<int>("-12"), -12);
    EXPECT_EQ(parseNumber<unsigned>("4294967295"), 4294967295U);
    EXPECT_EQ(parseNumber<unsigned>("0051"), 51U);
    for (const char* bad : {"", "-1", "+1", " 1", "1 ", "1x", "0x1", "4294967296", "99999999999999999999"}) {
        EXPECT_EQ(parseNumber<unsigned>(bad), std::nullopt) << bad;
    }
}

TEST(Sizes, AreReadWithTheirUnits) {
    const struct {
        const char* text;
        std::uint64_t bytes;
    } cases[] = {{"0", 0},
                 {"10", 10},
                 {"1k", 1024},
                 {"5M", std::uint64_t{5} << 20U},
                 {"2G", std::uint64_t{2} << 30U},
                 {"8589934591G", std::uint64_t{8589934591} << 30U},
                 {"9223372036854775807", 9223372036854775807U}};
    for (const auto& c : cases) {
        EXPECT_EQ(parseSize(c.text), c.bytes) << c.text;
    }
    for (const char* bad :
         {"", "K", "-1", "+1", " 1", "1 K", "1KB", "1.5M", "9223372036854775808", "8589934592G"}) {
        EXPECT_EQ(parseSize(bad), std::nullopt) << bad;
    }
}

} // namespace
} // namespace quzo::platform
