// The commands, their options and arguments as plain structures, for whoever tells of them: `quzo help
// --json` and the completion in shells.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace quzo::host {

struct DescribedOption {
    std::vector<std::string> names; // "-c", "--config"
    std::string value; // what it stands for, "FILE"; empty of a flag. Small letters stand for themselves:
                       // "top|bottom"
    std::string text;
    bool repeatable = false;
};

struct DescribedArgument {
    std::string name; // "KIND"
    std::string text;
    bool required = false;
    bool many = false;
};

struct DescribedCommand {
    std::string name;    // "object add"; empty: the program
    std::string summary; // a sentence
    bool hasCommands = false;
    std::vector<DescribedOption> options;
    std::vector<DescribedArgument> arguments; // in the order in which they are given
};

// The program first, then its commands, each before those below it; without the hidden ones.
std::vector<DescribedCommand> describeCommands(const CLI::App& app);

// "quzo", "quzo action": what stands before the command's own name.
std::string wordsBefore(const CLI::App& command);

// "quzo action": the command as it is written.
std::string wordsOf(const CLI::App& command);

// The commands right below one, without the hidden ones.
std::vector<const CLI::App*> commandsBelow(const CLI::App& command);

} // namespace quzo::host
