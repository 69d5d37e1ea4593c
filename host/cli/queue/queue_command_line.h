// The options of `quzo queue`.
#pragma once

#include <functional>

#include "host/cli/console/console.h"

namespace CLI {
class App;
}

namespace quzo::host {

// Adds the command; `chosen`, which outlives `app`, is what to run when the line names it.
void addQueueCommand(CLI::App& app, std::function<int(Console&)>& chosen);

} // namespace quzo::host
