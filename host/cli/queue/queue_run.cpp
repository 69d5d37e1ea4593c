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
#include "platform/base/visible_text.h"
#include "platform/mta/smtp/smtp_sender.h"

namespace quzo::host {
namespace {

using platform::PlatformSettings;
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

MaybeFault checkSettings(const Installation& installation, const QueueOptions& options) {
    const PlatformSettings platform = installation.settings().platform();
    if (installation.queues()->find(QueueKind::Outgoing) == nullptr) {
        return Fault{kExitConfiguration, options.iniFile, "the settings name no directory for the queues",
                     "set spool in [platform], and name the settings with -c FILE"};
    }
    if (platform.nextHop && !platform.nextHop->user.empty() &&
        platform.tls != PlatformSettings::Tls::Require) {
        return Fault{kExitConfiguration, options.iniFile,
                     "next_hop has a password, and nothing makes sure of who would get it",
                     "set tls = require in [platform]"};
    }
    return std::nullopt;
}

platform::SmtpOptions smtpOptionsOf(const PlatformSettings& platform, const std::string& hostname) {
    platform::SmtpOptions options;
    options.hostname = hostname;
    options.caFile = platform.tlsCa;
    options.timeout = std::chrono::seconds(platform.timeout);
    switch (platform.tls) {
        case PlatformSettings::Tls::Off:
            options.tls = platform::SmtpTls::Off;
            break;
        case PlatformSettings::Tls::Try:
            options.tls = platform::SmtpTls::Try;
            break;
        case PlatformSettings::Tls::Require:
            options.tls = platform::SmtpTls::Require;
            break;
    }
    return options;
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

int exitCodeOf(const RunFigures& figures) {
    return worseExit(figures.failed != 0 ? kExitData : kExitOk,
                     figures.later + figures.busy != 0 ? kExitTryAgain : kExitOk);
}

// Mails that sum up notifications go out with the others. A fault is said once.
class NoticeSummaries {
public:
    NoticeSummaries(Installation& installation, const std::vector<QueueKind>& kinds, Console& console)
        : installation_(installation), wanted_(has(kinds, QueueKind::Outgoing)), console_(console) {}

    void send(std::int64_t now) {
        const MaybeFault fault = wanted_ ? installation_.sendNoticeSummaries(now) : std::nullopt;
        if (fault && !said_) {
            said_ = true;
            console_.err.say(*fault);
        }
    }

private:
    Installation& installation_;
    bool wanted_;
    Console& console_;
    bool said_ = false;
};

int runOnce(QueueRunner& runner, const std::vector<QueueKind>& kinds, bool quiet,
            const InterruptWatch& interrupt, Console& console) {
    int exitCode = kExitOk;
    for (const QueueKind kind : kinds) {
        if (interrupt.signal() != 0) {
            break;
        }
        RunFigures figures;
        exitCode = worseExit(exitCode, runner.run(kind, figures));
        exitCode = worseExit(exitCode, exitCodeOf(figures));
        if (!quiet) {
            console.out.write(summaryOf(kind, figures));
        }
    }
    console.out.flush();
    return exitCode;
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
    if (const MaybeFault fault = checkSettings(installation, options)) {
        return console.err.say(*fault);
    }
    const PlatformSettings platform = installation.settings().platform();
    const platform::RunnerSettings settings = installation.settings().runner();
    platform::Queues& queues = *installation.queues();
    platform::SmtpSender sender(smtpOptionsOf(platform, installation.snapshot()->hostname()));
    RunnerClock clock(interrupt);
    QueueRunner runner(
        {.queues = queues,
         .sender = sender,
         .clock = clock,
         .plan = RetryPlan(settings),
         .nextHop = platform.nextHop,
         .snapshot = [&] { return installation.snapshot(); },
         .stopping = [&] { return interrupt.signal() != 0; },
         .told = [&](QueueKind queue, const std::string& id,
                     const WorkDone& done) { console.out.write(lineOf(queue, id, done, options.verbose)); },
         .say = [&](const Fault& fault) { console.err.say(fault); }});
    if (queues.start(clock.now()) != 0) {
        console.err.say(Fault::warning("queues", "not everything could be tidied up: see the log"));
    }
    NoticeSummaries summaries(installation, *kinds, console);
    summaries.send(clock.now());
    int result = runOnce(runner, *kinds, options.forever, interrupt, console);
    while (options.forever && interrupt.signal() == 0) {
        clock.wait(settings.poll);
        queues.startIfDue(clock.now());
        summaries.send(clock.now());
        runOnce(runner, *kinds, true, interrupt, console);
    }
    if (options.forever) {
        return kExitOk;
    }
    return interrupt.signal() != 0 ? kExitBySignal + interrupt.signal() : result;
}

} // namespace quzo::host
