// What is on the line that is being completed, by the commands and options of the program.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/cli/help/command_tree.h"

namespace quzo::host {

struct TypedLine {
    const DescribedCommand* command = nullptr; // the innermost one that is named; never null
    std::vector<std::string> arguments;        // the finished ones
    std::vector<std::pair<const DescribedOption*, std::string>> options; // with their values, likewise
    bool onlyArguments = false; // "--" stands before the unfinished word

    // The unfinished word: the value of an option, or something else when that is null.
    std::string unfinished;
    const DescribedOption* valueOf = nullptr;
    std::string before; // what stands of the word before its value: "--config="

    // The value that the option of that name was given last; empty when none was.
    std::string value(std::string_view name) const;

    // What the unfinished word is when it is an argument; null: there can be none.
    const DescribedArgument* argument() const;
};

// `words` stand behind the program's name, the last one is unfinished; there is one at least. The result
// refers to `commands`. What no command or option is called so is taken for an argument.
TypedLine readTypedLine(const std::vector<DescribedCommand>& commands, const std::vector<std::string>& words);

// The commands right below one.
std::vector<const DescribedCommand*> commandsBelow(const std::vector<DescribedCommand>& commands,
                                                   std::string_view name);

// The last word of a command's name.
std::string_view lastWordOf(const DescribedCommand& command);

} // namespace quzo::host
