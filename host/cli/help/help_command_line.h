// `quzo help`: on the program, a command or a topic, and everything at once for tools.
#pragma once

#include <functional>
#include <string>

#include "host/cli/console/console.h"

namespace CLI {
class App;
} // namespace CLI

namespace quzo::host {

// Adds the command; once the line is read, `chosen` runs it. `app` stays while it runs.
void addHelpCommand(CLI::App& app, std::function<int(Console&)>& chosen);

// The help on a command, and where its manual is.
std::string helpOn(const CLI::App& command);

// Says that there is no such command below that one, and gives the exit code.
int refuseCommand(const CLI::App& command, const std::string& word, Console& console);

} // namespace quzo::host
