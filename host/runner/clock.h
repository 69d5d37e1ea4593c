// The time, as a runner sees it.
#pragma once

#include <cstdint>

namespace quzo::host {

class Clock {
public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    // Seconds since 1970.
    virtual std::int64_t now() = 0;
};

} // namespace quzo::host
