// See runner_service.h.
#include "host/runner/runner_service.h"

#include <algorithm>
#include <utility>

#include "host/base/exit_code.h"

namespace quzo::host {
namespace {

using platform::PlatformSettings;
using platform::QueueKind;

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

int exitCodeOf(const RunFigures& figures) {
    return worseExit(figures.failed != 0 ? kExitData : kExitOk,
                     figures.later + figures.busy != 0 ? kExitTryAgain : kExitOk);
}

} // namespace

MaybeFault RunnerService::settingsFault(const Installation& installation, const std::string& iniFile) {
    const PlatformSettings platform = installation.settings().platform();
    if (installation.queues()->find(QueueKind::Outgoing) == nullptr) {
        return Fault{kExitConfiguration, iniFile, "the settings name no directory for the queues",
                     "set spool in [platform], and name the settings with -c FILE"};
    }
    const std::pair<const char*, std::optional<platform::NextHop>> hops[] = {
        {"next_hop", platform.nextHop}, {"rescan_hop", installation.settings().milter().rescanHop}};
    for (const auto& [key, hop] : hops) {
        if (hop && !hop->user.empty() && platform.tls != PlatformSettings::Tls::Require) {
            return Fault{kExitConfiguration, iniFile,
                         std::string(key) + " has a password, and nothing makes sure of who would get it",
                         "set tls = require in [platform]"};
        }
    }
    return std::nullopt;
}

RunnerService::RunnerService(Parts parts)
    : parts_(std::move(parts)),
      sender_(smtpOptionsOf(parts_.installation.settings().platform(),
                            parts_.installation.snapshot()->hostname())),
      runner_({.queues = *parts_.installation.queues(),
               .sender = sender_,
               .clock = parts_.clock,
               .plan = RetryPlan(parts_.installation.settings().runner()),
               .hostname = parts_.installation.snapshot()->hostname(),
               .nextHop = parts_.installation.settings().platform().nextHop,
               .rescanHop = parts_.installation.settings().milter().rescanHop,
               .snapshot = [this] { return parts_.installation.snapshot(); },
               .stopping = parts_.stopping,
               .told = parts_.told,
               .say = parts_.say,
               .scanned = [this](const MessageResult& result,
                                 const MessageFacts& facts) { logScanned(result, facts); }}) {}

void RunnerService::logScanned(const MessageResult& result, const MessageFacts& facts) const {
    if (const MessageLog* log = parts_.installation.messageLog()) {
        log->tell(result, facts);
    }
    if (parts_.scanned) {
        parts_.scanned(result, facts);
    }
}

void RunnerService::tidy(bool start) {
    platform::Queues& queues = *parts_.installation.queues();
    const std::int64_t now = parts_.clock.now();
    if ((start ? queues.start(now) : queues.startIfDue(now)) != 0 && start) {
        parts_.say(Fault::warning("queues", "not everything could be tidied up: see the log"));
    }
}

// They go out with the others. A fault is said once.
void RunnerService::sendSummaries() {
    const MaybeFault fault = parts_.installation.sendNoticeSummaries(parts_.clock.now());
    if (fault && !summariesSaid_) {
        summariesSaid_ = true;
        parts_.say(*fault);
    }
}

int RunnerService::run(const std::vector<QueueKind>& kinds,
                       const std::function<void(QueueKind, const RunFigures&)>& passed) {
    if (std::find(kinds.begin(), kinds.end(), QueueKind::Outgoing) != kinds.end()) {
        sendSummaries();
    }
    int exitCode = kExitOk;
    for (const QueueKind kind : kinds) {
        if (parts_.stopping()) {
            break;
        }
        RunFigures figures;
        exitCode = worseExit(exitCode, runner_.run(kind, figures));
        exitCode = worseExit(exitCode, exitCodeOf(figures));
        if (passed) {
            passed(kind, figures);
        }
    }
    return exitCode;
}

} // namespace quzo::host
