// The options of `quzo milter`.
#pragma once

#include <functional>

#include "host/cli/console/console.h"

namespace CLI {
class App;
} // namespace CLI

namespace quzo::host {

// Adds the command; once the line has been read, `chosen` runs it.
void addMilterCommand(CLI::App& app, std::function<int(Console&)>& chosen);

} // namespace quzo::host
