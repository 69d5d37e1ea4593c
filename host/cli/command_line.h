// The command line of quzo.
#pragma once

#include "host/cli/console/console.h"

namespace quzo::host {

// Reads the command line and runs what it asks for. Returns the exit code, also of a fault in the command
// line, which has been said. The arguments must be NUL-terminated and stay while it runs.
int runCommandLine(int argc, char** argv, Console& console);

} // namespace quzo::host
