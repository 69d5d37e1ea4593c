// See queue_session.h.
#include "host/cli/queue/queue_session.h"

#include <ctime>
#include <utility>

namespace quzo::host {

bool QueueSession::refuse(const Fault& fault, Console& console) {
    exitCode_ = console.err.say(fault);
    return false;
}

bool QueueSession::start(const QueueOptions& options, bool writing, Console& console) {
    const Result<platform::QueueKind> queue = queueNamed(options.queue);
    if (!queue) {
        return refuse(queue.fault(), console);
    }
    if (const MaybeFault fault = readSelection(options.selection, filter_)) {
        return refuse(*fault, console);
    }
    const bool usable =
        installation_.open({.iniFile = options.iniFile, .policyFile = options.policyFile, .run = false});
    exitCode_ = console.err.say(installation_.findings());
    if (!usable) {
        return false;
    }
    Result<QueueDesk> desk = QueueDesk::open(installation_, *queue, options.iniFile, std::time(nullptr));
    if (!desk) {
        return refuse(desk.fault(), console);
    }
    desk_.emplace(std::move(*desk));
    if (const MaybeFault warning = writing ? desk_->tidy() : std::nullopt) {
        console.err.say(*warning);
    }
    return true;
}

} // namespace quzo::host
