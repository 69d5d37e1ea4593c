// The command line of `quzo object`.
#pragma once

#include <functional>

#include "host/cli/console/console.h"

namespace CLI {
class App;
}

namespace quzo::host {

// Adds the command to `app`. Once a line has been read that asks for it, `chosen`, which must outlive the
// reading, is what to run.
void addObjectCommand(CLI::App& app, std::function<int(Console&)>& chosen);

} // namespace quzo::host
