// quzo queue run: the runner in the foreground, once or until a signal comes. It ends between two entries.
#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/admin/queue_desk.h"
#include "host/base/exit_code.h"
#include "host/cli/console/interrupt.h"
#include "host/cli/queue/queue_commands.h"
#include "host/cli/queue/runner_clock.h"
#include "host/gateway/installation.h"
#include "host/runner/queue_runner.h"
#include "host/runner/runner_service.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

using platform::QueueKind;

bool has(const std::vector<QueueKind>& kinds, QueueKind kind) {
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

// The queues that are asked for, in the order of a message's way.
Result<std::vector<QueueKind>> queuesOf(const QueueOptions& options) {
    std::vector<QueueKind> asked;
    for (const std::string& name : options.queues) {
        const Result<QueueKind> kind = queueNamed(name);
        if (!kind) {
            return kind.fault();
        }
        if (const MaybeFault fault = checkRunnable(*kind)) {
            return *fault;
        }
        asked.push_back(*kind);
    }
    std::vector<QueueKind> kinds = QueueRunner::queues();
    if (!asked.empty()) {
        std::erase_if(kinds, [&](QueueKind kind) { return !has(asked, kind); });
    }
    if (has(kinds, QueueKind::Scan) && options.policyFile.empty()) {
        return Fault{kExitUsage, "scan", "its messages pass the policy again, and none is named",
                     "name it with -p FILE, or name the queues that are to be run"};
    }
    return kinds;
}

// "" for what is not worth a line.
std::string lineOf(QueueKind queue, const std::string& id, const WorkDone& done, bool verbose) {
    const std::string place = fmt::format("{}/{}: ", platform::queueName(queue), id);
    const std::string why = platform::visibleText(done.text);
    switch (done.kind) {
        case WorkDone::Kind::Later:
            return place + "is tried again: " + why + "\n";
        case WorkDone::Kind::Failed:
            return place + "has failed: " + why + "\n";
        case WorkDone::Kind::Gone:
            return verbose ? place + (queue == QueueKind::Outgoing ? "delivered\n" : "gone on\n") : "";
        default:
            return {};
    }
}

std::string summaryOf(QueueKind queue, const RunFigures& figures) {
    return fmt::format(
        "{}: {} {}, {} to be tried again, {} failed, {} not due{}\n", platform::queueName(queue),
        figures.gone, queue == QueueKind::Outgoing ? "delivered" : "gone on", figures.later, figures.failed,
        figures.waiting, figures.busy != 0 ? fmt::format(", {} in other hands", figures.busy) : "");
}

} // namespace

int runQueueRun(const QueueOptions& options, Console& console) {
    const Result<std::vector<QueueKind>> kinds = queuesOf(options);
    if (!kinds) {
        return console.err.say(kinds.fault());
    }
    const InterruptWatch interrupt;
    Installation installation;
    const bool usable = installation.open({.iniFile = options.iniFile, .policyFile = options.policyFile});
    const int exitCode = console.err.say(installation.findings());
    if (!usable) {
        return exitCode;
    }
    if (const MaybeFault fault = RunnerService::settingsFault(installation, options.iniFile)) {
        return console.err.say(*fault);
    }
    RunnerClock clock(interrupt);
    RunnerService service(
        {.installation = installation,
         .clock = clock,
         .stopping = [&] { return interrupt.signal() != 0; },
         .told = [&](QueueKind queue, const std::string& id,
                     const WorkDone& done) { console.out.write(lineOf(queue, id, done, options.verbose)); },
         .say = [&](const Fault& fault) { console.err.say(fault); }});
    service.tidy(true);
    const std::int64_t poll = installation.settings().runner().poll;
    const auto tell = [&](QueueKind queue, const RunFigures& figures) {
        if (!options.forever) {
            console.out.write(summaryOf(queue, figures));
        }
    };
    const int result = service.run(*kinds, tell);
    console.out.flush();
    while (options.forever && interrupt.signal() == 0) {
        clock.wait(poll);
        service.tidy(false);
        service.run(*kinds, tell);
        console.out.flush();
    }
    if (options.forever) {
        return kExitOk;
    }
    return interrupt.signal() != 0 ? kExitBySignal + interrupt.signal() : result;
}

} // namespace quzo::host
