// The command line of `quzo filter`.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/cli/console/console.h"

namespace CLI {
class App;
}

namespace quzo::host {

// Adds the command; `chosen`, which outlives `app`, is what to run when the line names it.
void addFilterCommand(CLI::App& app, std::function<int(Console&)>& chosen,
                      std::vector<std::string> recipients);

// Adds it to be told of only: with the recipients, which no call leaves to the command line library.
void describeFilterCommand(CLI::App& app);

// Whether the line means the filter, however wrong it is otherwise: a mail server takes most exit codes for a
// refusal, so that no fault in it may end with another one than 75.
bool isFilterCall(int argc, const char* const* argv);

// Takes the recipients off the end of the line: all that stands behind "--", as it is. Strangers choose them,
// and the command line library reads more into some words than there is.
std::vector<std::string> takeRecipients(int& argc, char** argv);

} // namespace quzo::host
