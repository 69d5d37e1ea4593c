// The subcommands of `quzo object`. Each writes to the console and returns an exit code.
#pragma once

#include "host/cli/console/console.h"
#include "host/cli/object/object_options.h"

namespace quzo::host {

int runObjectList(const ObjectOptions& options, Console& console);
int runObjectShow(const ObjectOptions& options, Console& console);
int runObjectPreview(const ObjectOptions& options, Console& console);
int runObjectAdd(const ObjectOptions& options, Console& console);
int runObjectUpdate(const ObjectOptions& options, Console& console);
int runObjectRemove(const ObjectOptions& options, Console& console);
int runObjectRestore(const ObjectOptions& options, Console& console);
int runObjectExport(const ObjectOptions& options, Console& console);
int runObjectUpgrade(const ObjectOptions& options, Console& console);
int runObjectImport(const ObjectOptions& options, Console& console);

} // namespace quzo::host
