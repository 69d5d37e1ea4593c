// See topics.h.
#include "host/cli/help/topics.h"

#include <algorithm>
#include <iterator>

namespace quzo::host {
namespace {

constexpr Topic kTopics[] = {
    {"settings", "quzo.ini", 5, "Every section and key of quzo.ini"},
    {"policy", "policy.toml", 5, "The policy file and its rules"},
    {"conditions", "policy.toml", 5, "Which messages a rule is for"},
    {"actions", "policy.toml", 5, "What a rule does with them"},
    {"objects", "quzo-objects", 7, "Stamps, notifications and areas, and their store"},
    {"queues", "quzo-queues", 7, "What lies in the queues, and how to look after them"},
    {"postfix", "quzo-milter", 8, "The milter beside a mail server"},
    {"snmp", "quzo-snmp", 7, "The traps of notifications"},
    {"reliability", "quzo-reliability", 7, "What becomes of mail when something fails"},
    {"exit-codes", "quzo", 1, "What the end of each command says"},
};

} // namespace

std::span<const Topic> topics() { return kTopics; }

const Topic* findTopic(std::string_view name) {
    const auto* found = std::find_if(std::begin(kTopics), std::end(kTopics),
                                     [&](const Topic& topic) { return topic.name == name; });
    return found == std::end(kTopics) ? nullptr : found;
}

ManualPage pageOfCommand(std::string_view command) {
    const std::string first(command.substr(0, command.find(' ')));
    return first.empty() ? ManualPage{"quzo", 1} : ManualPage{"quzo-" + first, first == "milter" ? 8 : 1};
}

} // namespace quzo::host
