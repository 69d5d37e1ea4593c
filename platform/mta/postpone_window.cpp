// See postpone_window.h.
#include "platform/mta/postpone_window.h"

#include <ctime>

namespace quzo::platform {
namespace {

int minutesOf(const std::tm& time) { return time.tm_hour * 60 + time.tm_min; }

std::tm localTime(std::int64_t time) {
    const auto seconds = static_cast<std::time_t>(time);
    std::tm out{};
    ::localtime_r(&seconds, &out);
    return out;
}

bool inside(int minutes, int begin, int end) {
    return begin <= end ? begin <= minutes && minutes <= end : minutes >= begin || minutes <= end;
}

// The library may answer a time that a day skips with one before or behind the gap: the first minute behind
// it is found by going there.
std::int64_t behindGap(std::int64_t time, int begin) {
    constexpr int kLongestGap = 24 * 60; // minutes
    for (int i = 0; i < kLongestGap && minutesOf(localTime(time - 60)) > begin; ++i) {
        time -= 60;
    }
    for (int i = 0; i < kLongestGap && minutesOf(localTime(time)) < begin; ++i) {
        time += 60;
    }
    return time;
}

} // namespace

bool TimeWindow::valid() const {
    const auto within = [](int value, int limit) { return value >= 0 && value < limit; };
    return within(hour, 24) && within(endHour, 24) && within(minute, 60) && within(endMinute, 60);
}

std::int64_t dueTime(std::int64_t now, const TimeWindow& window) {
    ::tzset(); // localtime_r need not
    const int begin = window.hour * 60 + window.minute;
    std::tm time = localTime(now);
    const int minutes = minutesOf(time);
    if (inside(minutes, begin, window.endHour * 60 + window.endMinute)) {
        return now;
    }
    time.tm_mday += minutes < begin ? 0 : 1;
    time.tm_hour = window.hour;
    time.tm_min = window.minute;
    time.tm_sec = 0;
    time.tm_isdst = -1;
    const std::int64_t due = std::mktime(&time);
    const std::int64_t behind = minutesOf(localTime(due)) == begin ? due : behindGap(due, begin);
    return behind < now ? now : behind;
}

} // namespace quzo::platform
