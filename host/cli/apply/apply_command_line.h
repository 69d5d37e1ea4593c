// The options of `quzo apply`.
#pragma once

#include <functional>

#include "host/cli/console/console.h"

namespace CLI {
class App;
}

namespace quzo::host {

// Adds the command; `chosen`, which outlives `app`, is what to run when the line names it.
void addApplyCommand(CLI::App& app, std::function<int(Console&)>& chosen);

} // namespace quzo::host
