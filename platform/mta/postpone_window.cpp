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

// What a clock on the wall shows, as seconds that run on over days.
std::int64_t wallClock(std::tm time) { return ::timegm(&time); }

// The library may answer a time that the day skips with one on either side of the gap: the first minute
// behind it is found by going there.
std::int64_t firstFrom(std::int64_t time, std::int64_t wall) {
    constexpr int kLongestGap = 24 * 60; // minutes
    for (int i = 0; i < kLongestGap && wallClock(localTime(time - 60)) >= wall; ++i) {
        time -= 60;
    }
    for (int i = 0; i < kLongestGap && wallClock(localTime(time)) < wall; ++i) {
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
    const std::int64_t wall = wallClock(time);
    const std::int64_t due = firstFrom(std::mktime(&time), wall);
    return due < now ? now : due;
}

} // namespace quzo::platform
