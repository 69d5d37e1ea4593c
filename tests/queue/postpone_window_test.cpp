// When a postponed message is due: at the beginning of the window, in local time, whatever clocks do.
#include "platform/mta/postpone_window.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace quzo::platform::test {
namespace {

struct DueCase {
    const char* name;
    const char* zone;
    const char* now; // local time
    TimeWindow window;
    const char* due; // local time; the times before and behind a change of clocks carry their zone's name
};

class DueTest : public testing::TestWithParam<DueCase> {
protected:
    ~DueTest() override {
        ::unsetenv("TZ"); // NOLINT(concurrency-mt-unsafe): one thread
        ::tzset();
    }
    static std::int64_t local(const char* text) {
        std::tm time{};
        EXPECT_NE(::strptime(text, "%Y-%m-%d %H:%M:%S", &time), nullptr);
        time.tm_isdst = -1;
        return std::mktime(&time);
    }
};

TEST_P(DueTest, HoldsUntilTheWindow) {
    ASSERT_EQ(::setenv("TZ", GetParam().zone, 1), 0); // NOLINT(concurrency-mt-unsafe): one thread
    ::tzset();
    const std::int64_t due = dueTime(local(GetParam().now), GetParam().window);
    char text[32] = "";
    const std::time_t seconds = due;
    std::tm time{};
    ::localtime_r(&seconds, &time);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &time);
    EXPECT_STREQ(text, GetParam().due);
}

// Rules written out, so that no time zone files are needed.
constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr char kMidnight[] = "XST5XDT,M3.2.0/0,M11.1.0/1"; // puts its clocks forward at midnight

INSTANTIATE_TEST_SUITE_P(
    Adapter, DueTest,
    testing::Values(
        DueCase{"Before", kBerlin, "2024-05-01 21:59:59", {22, 0, 23, 59}, "2024-05-01 22:00:00"},
        DueCase{"First", kBerlin, "2024-05-01 22:00:00", {22, 0, 23, 59}, "2024-05-01 22:00:00"},
        DueCase{"Inside", kBerlin, "2024-05-01 23:10:11", {22, 0, 23, 59}, "2024-05-01 23:10:11"},
        DueCase{"Last", kBerlin, "2024-05-01 23:59:59", {22, 0, 23, 59}, "2024-05-01 23:59:59"},
        DueCase{"NextDay", kBerlin, "2024-12-31 12:00:01", {8, 30, 12, 0}, "2024-12-31 12:00:01"},
        DueCase{"Behind", kBerlin, "2024-12-31 12:01:00", {8, 30, 12, 0}, "2025-01-01 08:30:00"},
        DueCase{"OverMidnightInside", kBerlin, "2024-05-01 03:00:00", {22, 0, 5, 0}, "2024-05-01 03:00:00"},
        DueCase{"OverMidnightOutside", kBerlin, "2024-05-01 05:01:00", {22, 0, 5, 0}, "2024-05-01 22:00:00"},
        DueCase{"SkippedHour", kBerlin, "2024-03-31 01:30:00", {2, 30, 23, 59}, "2024-03-31 03:00:00"},
        DueCase{"BehindSkipped", kBerlin, "2024-03-31 00:30:00", {3, 0, 23, 59}, "2024-03-31 03:00:00"},
        DueCase{"TurnedBack", kBerlin, "2024-10-27 01:00:00", {4, 0, 23, 59}, "2024-10-27 04:00:00"},
        DueCase{"SkippedMidnight", kMidnight, "2024-03-09 23:00:00", {0, 10, 1, 30}, "2024-03-10 01:00:00"}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace quzo::platform::test
