// Standard error for several threads.
#pragma once

#include <mutex>
#include <string_view>

#include "host/base/fault.h"
#include "host/cli/console/error_output.h"

namespace quzo::host {

// Any thread. Outlives them.
class SharedErrors {
public:
    explicit SharedErrors(ErrorOutput& output) : output_(output) {}

    void say(const Fault& fault) {
        const std::scoped_lock lock(mutex_);
        output_.say(fault);
    }
    void say(const Faults& faults) {
        const std::scoped_lock lock(mutex_);
        output_.say(faults);
    }
    void line(std::string_view text) {
        const std::scoped_lock lock(mutex_);
        output_.line(text);
    }

private:
    std::mutex mutex_;
    ErrorOutput& output_;
};

} // namespace quzo::host
