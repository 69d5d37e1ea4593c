// When something that did not work is tried again, and when it is given up.
#pragma once

#include <cstdint>

#include "platform/config/quzo_settings.h"

namespace quzo::host {

// Times are seconds.
class RetryPlan {
public:
    explicit RetryPlan(const platform::RunnerSettings& settings) : settings_(settings) {}

    // The pause behind the attempt of that number, from 1: each is twice as long as the one before, up to the
    // longest.
    std::int64_t pause(std::uint32_t attempts) const;

    // When the next attempt is due. What came at `stored` has its last one when it is given up.
    std::int64_t next(std::int64_t now, std::int64_t stored, std::uint32_t attempts) const;

    // Whether an attempt that failed at `now` was the last.
    bool givesUp(std::int64_t now, std::int64_t stored) const {
        return now - stored >= settings_.giveUpAfter;
    }

private:
    platform::RunnerSettings settings_;
};

} // namespace quzo::host
