// quzo queue status: one screen that says how the queues stand.
#include <ctime>

#include "host/admin/queue_desk.h"
#include "host/admin/queue_status.h"
#include "host/base/exit_code.h"
#include "host/cli/queue/queue_commands.h"
#include "host/gateway/installation.h"

namespace quzo::host {

int runQueueStatus(const QueueOptions& options, Console& console) {
    Installation installation;
    const bool usable = installation.open({.iniFile = options.iniFile, .policyFile = {}, .run = false});
    const int exitCode = console.err.say(installation.findings());
    if (!usable) {
        return exitCode;
    }
    if (const MaybeFault closed = closedPlace(installation.settings().platform().spool)) {
        return console.err.say(*closed);
    }
    Faults faults;
    const std::int64_t now = std::time(nullptr);
    const std::vector<QueueStatus> queues = queueStatus(*installation.queues(), now, faults);
    if (queues.empty()) {
        return console.err.say({kExitConfiguration, options.iniFile, "the settings name no queues",
                                "set spool in [platform], and name the settings with -c FILE"});
    }
    console.out.write(options.json ? statusJson(queues, now) : statusText(queues, now));
    return console.err.say(faults);
}

} // namespace quzo::host
