// What `quzo help TOPIC` tells of besides commands, and the manual pages of both.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quzo::host {

struct ManualPage {
    std::string name; // "quzo.ini"
    int section = 1;
};

struct Topic {
    std::string_view name;
    std::string_view page;
    int section = 1;
    std::string_view summary;
};

// No topic has the name of a command: its help leads to the page.
std::span<const Topic> topics();

// The topic of that name; null when there is none.
const Topic* findTopic(std::string_view name);

// The page of the command, which is given as in DescribedCommand.
ManualPage pageOfCommand(std::string_view command);

} // namespace quzo::host
