// The subcommands of `quzo queue`. Each writes to the console and returns an exit code.
#pragma once

#include "host/cli/console/console.h"
#include "host/cli/queue/queue_options.h"

namespace quzo::host {

int runQueueList(const QueueOptions& options, Console& console);
int runQueueShow(const QueueOptions& options, Console& console);
int runQueueStatus(const QueueOptions& options, Console& console);
int runQueueRun(const QueueOptions& options, Console& console);
int runQueueRetry(const QueueOptions& options, Console& console);
int runQueueRelease(const QueueOptions& options, Console& console);
int runQueueRemove(const QueueOptions& options, Console& console);
int runQueueExpire(const QueueOptions& options, Console& console);

} // namespace quzo::host
