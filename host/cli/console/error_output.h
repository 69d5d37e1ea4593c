// Standard error: faults, notes, and progress on a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "host/base/fault.h"

namespace quzo::host {

// Each line goes out in one write, so that lines of several programs do not mix. Used by one thread.
class ErrorOutput {
public:
    ErrorOutput();
    ~ErrorOutput();
    ErrorOutput(const ErrorOutput&) = delete;
    ErrorOutput& operator=(const ErrorOutput&) = delete;

    // Says the fault and gives its exit code back.
    int say(const Fault& fault);

    // Says all of them; gives back how a program ends that is kept from working by them.
    int say(const Faults& faults);

    // Writes a line as it is given; the caller has escaped what is not the program's own text.
    void line(std::string_view text);

    // Shows how many messages are done: on a terminal, once the work has taken a second, five times a
    // second at most. The next line takes its place.
    void progress(std::size_t done);

    bool terminal() const { return terminal_; }

private:
    void clearProgress();

    using Clock = std::chrono::steady_clock;
    bool terminal_ = false;
    bool showing_ = false;
    Clock::time_point next_;
};

} // namespace quzo::host
