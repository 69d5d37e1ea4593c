// The machine's time, for a runner, and waiting that a signal ends.
#pragma once

#include <cstdint>

#include "host/cli/console/interrupt.h"
#include "host/runner/clock.h"

namespace quzo::host {

class RunnerClock final : public Clock {
public:
    // `interrupt` outlives it.
    explicit RunnerClock(const InterruptWatch& interrupt) : interrupt_(interrupt) {}

    std::int64_t now() override;

    // Waits that long, or until a signal asks for the end.
    void wait(std::int64_t seconds) const;

private:
    const InterruptWatch& interrupt_;
};

} // namespace quzo::host
