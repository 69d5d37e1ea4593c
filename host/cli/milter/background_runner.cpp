// See background_runner.h.
#include "host/cli/milter/background_runner.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <exception>

#include "host/base/exit_code.h"
#include "host/runner/runner_service.h"

namespace quzo::host {
namespace {

class SystemClock final : public Clock {
public:
    std::int64_t now() override { return std::time(nullptr); }
};

} // namespace

BackgroundRunner::BackgroundRunner(Installation& installation, SharedErrors& errors, Figures& figures)
    : installation_(installation), errors_(errors), figures_(figures), thread_([this] { work(); }) {}

BackgroundRunner::~BackgroundRunner() {
    stop_.raise();
    thread_.join();
}

// What goes wrong with memory in one round may go right in the next.
void BackgroundRunner::work() {
    constexpr std::int64_t kLongest = 86400;
    const std::chrono::seconds poll(std::min(installation_.settings().runner().poll, kLongest));
    SystemClock clock;
    RunnerService service({.installation = installation_,
                           .clock = clock,
                           .stopping = [this] { return stop_.up(); },
                           .told = [this](platform::QueueKind queue, const std::string& /*id*/,
                                          const WorkDone& done) { figures_.workedOn(queue, done.kind); },
                           .say = [this](const Fault& fault) { errors_.say(fault); },
                           .scanned = [this](const MessageResult& result,
                                             const MessageFacts& /*facts*/) { figures_.scanned(result); }});
    for (bool first = true; !stop_.up(); first = false) {
        try {
            service.tidy(first);
            service.run(QueueRunner::queues(), nullptr);
        } catch (const std::exception&) {
            errors_.say(Fault::warning("queues", "a round over them was given up: out of memory"));
        }
        if (stop_.upWithin(poll)) {
            return;
        }
    }
}

} // namespace quzo::host
