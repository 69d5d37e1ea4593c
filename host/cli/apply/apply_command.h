// quzo apply.
#pragma once

#include "host/cli/apply/apply_options.h"
#include "host/cli/console/console.h"

namespace quzo::host {

// Writes to the console and returns an exit code.
int runApply(const ApplyOptions& options, Console& console);

} // namespace quzo::host
