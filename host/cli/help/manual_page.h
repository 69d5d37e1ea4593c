// Shows a page of the manual on the terminal.
#pragma once

#include "host/cli/console/console.h"
#include "host/cli/help/topics.h"

namespace quzo::host {

// Runs man(1), which is looked for in PATH, with the terminal as it is: on the pages that lie beside the
// program where there are any, else on those of the system. Returns the exit code; what is missing has been
// said.
int showManualPage(const ManualPage& page, Console& console);

} // namespace quzo::host
