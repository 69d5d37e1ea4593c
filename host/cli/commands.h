// The subcommands. Each writes to the console and returns an exit code; standard output is finished by
// the caller.
#pragma once

#include "host/cli/console/console.h"
#include "host/cli/object/object_options.h"
#include "host/cli/options.h"
#include "host/cli/queue/queue_options.h"

namespace quzo::host {

int runApply(const ApplyOptions& options, Console& console);
int runCheck(const CheckOptions& options, Console& console);
int runTokens(const TokensOptions& options, Console& console);
int runEncode(const EncodeOptions& options, Console& console);
int runDecode(const DecodeOptions& options, Console& console);
int runQueueList(const QueueOptions& options, Console& console);
int runQueueShow(const QueueOptions& options, Console& console);
int runQueueRelease(const QueueOptions& options, Console& console);
int runQueueRemove(const QueueOptions& options, Console& console);
int runQueueExpire(const QueueOptions& options, Console& console);
int runObjectList(const ObjectOptions& options, Console& console);
int runObjectShow(const ObjectOptions& options, Console& console);
int runObjectPreview(const ObjectOptions& options, Console& console);
int runObjectAdd(const ObjectOptions& options, Console& console);
int runObjectUpdate(const ObjectOptions& options, Console& console);
int runObjectRemove(const ObjectOptions& options, Console& console);
int runObjectRestore(const ObjectOptions& options, Console& console);
int runObjectExport(const ObjectOptions& options, Console& console);
int runObjectImport(const ObjectOptions& options, Console& console);
int runVersion(Console& console);

} // namespace quzo::host
