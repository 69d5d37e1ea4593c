// quzo milter: the policy on the mail of a running mail server.
#pragma once

#include <string>

#include "host/cli/console/console.h"

namespace quzo::host {

struct MilterCommandOptions {
    std::string iniFile;    // empty: the built-in settings
    std::string policyFile; // empty: a policy without rules
    std::string socket;     // as in the settings; empty: that of the settings
};

struct MilterReloadOptions {
    std::string iniFile; // of the milter that runs
};

// Serves until SIGTERM or SIGINT. Returns the exit code.
int runMilter(const MilterCommandOptions& options, Console& console);

// Has the milter that runs load policy and objects anew, and says what it says. Returns the exit code.
int runMilterReload(const MilterReloadOptions& options, Console& console);

} // namespace quzo::host
