// The options -c and -p, which most commands have, and the files that are read without them.
#pragma once

#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace quzo::host {

// Adds -c; `target` gets its value.
CLI::Option* addConfigOption(CLI::App& command, std::string& target);

// Adds -p with that help text.
CLI::Option* addPolicyOption(CLI::App& command, std::string& target, const std::string& help);

// Once the command line has been read: when it names neither file, those of the standard folder that are
// there, a policy for a command that has -p. With one of them named nothing else is read, so that a policy
// that is tried out does not come into the queues and the store of the machine.
void useStandardFiles(const CLI::App& command, std::string& iniFile, std::string& policyFile);

} // namespace quzo::host
