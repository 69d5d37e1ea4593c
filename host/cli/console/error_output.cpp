// What people read while the program works. Progress is one line that is overwritten, and only a terminal
// sees it.
#include "host/cli/console/error_output.h"

#include <fmt/format.h>
#include <unistd.h>

#include "host/cli/console/file_io.h"

namespace quzo::host {
namespace {
constexpr std::chrono::milliseconds kBeforeFirst{1000};
constexpr std::chrono::milliseconds kBetween{200};
} // namespace

ErrorOutput::ErrorOutput() : terminal_(::isatty(STDERR_FILENO) == 1), next_(Clock::now() + kBeforeFirst) {}

ErrorOutput::~ErrorOutput() { clearProgress(); }

int ErrorOutput::say(const Fault& fault) {
    line(fault.line());
    return fault.exitCode;
}

int ErrorOutput::say(const Faults& faults) {
    for (const Fault& fault : faults) {
        say(fault);
    }
    return exitCodeOf(faults);
}

void ErrorOutput::line(std::string_view text) {
    clearProgress();
    std::string whole(text);
    whole += '\n';
    writeAll(STDERR_FILENO, whole); // there is nobody left to tell when this fails
}

void ErrorOutput::progress(std::size_t done) {
    if (!terminal_) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now < next_) {
        return;
    }
    next_ = now + kBetween;
    showing_ = true;
    writeAll(STDERR_FILENO, fmt::format("\rquzo: {} messages", done));
}

void ErrorOutput::clearProgress() {
    if (showing_) {
        writeAll(STDERR_FILENO, "\r\x1b[K");
        showing_ = false;
    }
}

} // namespace quzo::host
