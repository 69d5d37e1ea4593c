// When a postponed message is due.
#pragma once

#include <cstdint>

namespace quzo::platform {

// A part of the day in local time, from the first minute to the last, both included. One that ends before it
// begins goes over midnight.
struct TimeWindow {
    int hour = 0;
    int minute = 0;
    int endHour = 23;
    int endMinute = 59;

    // Hours 0 to 23, minutes 0 to 59.
    bool valid() const;
};

// `now` when its time of day lies in the window, else the next time that it begins; in seconds since 1970. A
// beginning that the day skips, because clocks are put forward, is the moment when they are. Callable from
// any thread, as long as the time zone stays.
std::int64_t dueTime(std::int64_t now, const TimeWindow& window);

} // namespace quzo::platform
