// Results come in input order from one place, so what is printed does not depend on the number of threads.
#include "host/cli/apply/apply_results.h"

#include <fmt/format.h>

#include <cstring>
#include <string_view>

#include "host/base/exit_code.h"

namespace quzo::host {

void ApplyResults::take(const Processed& done) {
    if (!done.tried) {
        return;
    }
    for (const std::string& line : done.complaints) {
        console_.err.line(line);
    }
    console_.out.write(done.text);
    if (done.deliver) {
        done.deliver->write([this](std::string_view piece) { return console_.out.write(piece); });
    }
    exitCode_ = worseExit(exitCode_, done.exitCode);
    if (done.isMessage) {
        ++counts_.at(static_cast<std::size_t>(done.outcome));
        console_.err.progress(++messages_);
    }
    for (const platform::QueuedEntry& entry : done.queued) {
        ++queued_[entry.queue];
    }
}

void ApplyResults::fault(const Fault& fault) { exitCode_ = worseExit(exitCode_, console_.err.say(fault)); }

void ApplyResults::sayQueues(bool dryRun) const {
    for (const auto& [queue, count] : queued_) {
        console_.err.line(
            fmt::format("quzo: {} {} in the {} queue", count, dryRun ? "would wait" : "waiting", queue));
    }
}

std::string ApplyResults::counts() const {
    std::string text = fmt::format("{} message{}:", messages_, messages_ == 1 ? "" : "s");
    for (std::size_t at = 0; at < counts_.size(); ++at) {
        text += fmt::format("{} {} {}", at == 0 ? "" : ",", counts_.at(at),
                            outcomeName(static_cast<Outcome>(at)));
    }
    return text;
}

void ApplyResults::saySummary() const { console_.err.line("quzo: " + counts()); }

void ApplyResults::sayInterrupted(int signal) const {
    console_.err.line(fmt::format("quzo: interrupted (SIG{}) after {}: the others have not been touched",
                                  sigabbrev_np(signal), counts()));
}

void ApplyResults::sayPassedOver(std::size_t files, bool named) const {
    if (files > 0) {
        console_.err.line(fmt::format("quzo: {} other file{} passed over{}", files, files == 1 ? "" : "s",
                                      named ? "" : ": -v names them"));
    }
}

} // namespace quzo::host
