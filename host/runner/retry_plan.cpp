// See retry_plan.h.
#include "host/runner/retry_plan.h"

#include <algorithm>

namespace quzo::host {

std::int64_t RetryPlan::pause(std::uint32_t attempts) const {
    std::int64_t pause = settings_.retryFirst;
    for (std::uint32_t i = 1; i < attempts && pause < settings_.retryLongest; ++i) {
        pause *= 2;
    }
    return std::min(pause, settings_.retryLongest);
}

std::int64_t RetryPlan::next(std::int64_t now, std::int64_t stored, std::uint32_t attempts) const {
    const std::int64_t due = now + pause(attempts);
    const std::int64_t last = stored + settings_.giveUpAfter;
    return last > now ? std::min(due, last) : due;
}

} // namespace quzo::host
