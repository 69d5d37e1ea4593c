// See runner_clock.h.
#include "host/cli/queue/runner_clock.h"

#include <poll.h>

#include <algorithm>
#include <ctime>

namespace quzo::host {

std::int64_t RunnerClock::now() { return std::time(nullptr); }

void RunnerClock::wait(std::int64_t seconds) const {
    constexpr std::int64_t kLongest = 86400;
    pollfd wakeUp{interrupt_.wakeUp(), POLLIN, 0};
    ::poll(&wakeUp, 1, static_cast<int>(std::min(seconds, kLongest)) * 1000);
}

} // namespace quzo::host
