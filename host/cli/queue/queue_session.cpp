// See queue_session.h.
#include "host/cli/queue/queue_session.h"

#include <ctime>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/admin/entry_report.h"
#include "host/base/exit_code.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

using Result = platform::QueueResult::Outcome;

struct Said {
    int exitCode;
    const char* advice;
};

Said saidOf(int error) {
    switch (error) {
        case kErrorNoSpace:
            return {kExitInputOutput, "make room on that disk and run it again"};
        case kErrorNoMemory:
            return {kExitTryAgain, "run it again"};
        case kErrorInputOutput:
        case kErrorInternal:
            return {kExitInputOutput, "see the log for what the system said"};
        case kErrorExists:
            return {kExitTryAgain, "it was released before and still waits there: see to that entry first"};
        case kErrorInvalidArgument:
            return {kExitData, "it has no recipients that mail can be sent to: name them with --to"};
        default:
            return {kExitData, "look at its files, or remove it"};
    }
}

} // namespace

int QueueSession::refuse(const Fault& fault, Console& console) { return exitCode_ = console.err.say(fault); }

bool QueueSession::start(const QueueOptions& options, bool writing, Console& console) {
    now_ = std::time(nullptr);
    const auto queue = platform::queueKind(options.queue);
    if (!queue) {
        refuse({kExitUsage, options.queue, "is no queue",
                "quarantine, archive, outgoing, scan, postponed and failed are"},
               console);
        return false;
    }
    queue_ = *queue;
    if (const auto fault = readSelection(options.selection, filter_)) {
        refuse({kExitUsage, fault->option, fault->text, {}}, console);
        return false;
    }
    const bool usable =
        installation_.open({.iniFile = options.iniFile, .policyFile = options.policyFile, .run = false});
    exitCode_ = console.err.say(installation_.findings());
    if (!usable) {
        return false;
    }
    platform::Queues* queues = installation_.queues();
    if (queues->find(queue_) == nullptr) {
        refuse({kExitConfiguration, name(), "the settings name no directory for this queue",
                options.iniFile.empty() ? "name the settings with -c FILE" : "set spool in [platform]"},
               console);
        return false;
    }
    if (const MaybeFault missing = missingPlace()) {
        refuse(*missing, console);
        return false;
    }
    if (writing && queues->start(now_) != kErrorNone) {
        console.err.say(Fault::warning("queues", "not everything could be tidied up: see the log"));
    }
    admin_.emplace(*queues, installation_.snapshot()->hostname());
    return true;
}

// A queue that nothing was stored in yet has no directory; the spool above it is there from the first message
// on.
MaybeFault QueueSession::missingPlace() {
    const std::string spool = installation_.settings().platform().spool;
    const std::string directory = installation_.queues()->find(queue_)->directory();
    const std::string& place = !spool.empty() && directory.starts_with(spool) ? spool : directory;
    std::error_code unknown; // what cannot be looked at is for the queue itself to tell
    if (std::filesystem::exists(place, unknown) || unknown) {
        return std::nullopt;
    }
    return Fault{kExitNoInput, place, "there is no such directory, so the queue holds nothing",
                 "check spool and queue_... in the settings; it is made when the first message is stored"};
}

Fault QueueSession::fault(std::string_view id, int error) const {
    return fault(id, platform::QueueResult::of(error));
}

Fault QueueSession::fault(std::string_view id, const platform::QueueResult& result) const {
    std::string where = std::string(name()) + "/" + std::string(id);
    switch (result.outcome) {
        case Result::Missing:
            return {kExitNoInput, std::move(where), "there is no such entry",
                    std::string("see quzo queue list ") + name()};
        case Result::Busy:
            return {kExitTryAgain, std::move(where), "another process is working on it", "try again"};
        default:
            break;
    }
    const Said said = saidOf(result.error);
    return {said.exitCode, std::move(where), entryErrorText(result.error), said.advice};
}

} // namespace quzo::host
