// Reads the tree that the command line library was given, so that nothing has to be said twice.
#include "host/cli/help/command_tree.h"

#include <CLI/CLI.hpp>

namespace quzo::host {
namespace {

// One line: some texts are broken for the help on a terminal.
std::string oneLine(std::string text) {
    for (char& c : text) {
        c = c == '\n' ? ' ' : c;
    }
    return text;
}

DescribedOption describeOption(const CLI::Option& option) {
    DescribedOption described;
    for (const std::string& name : option.get_snames()) {
        described.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        described.names.push_back("--" + name);
    }
    described.value = option.get_type_size_max() == 0 ? "" : option.get_type_name();
    described.text = oneLine(option.get_description());
    described.repeatable = option.get_items_expected_max() > 1;
    return described;
}

DescribedArgument describeArgument(const CLI::Option& option) {
    return {.name = option.get_name(true),
            .text = oneLine(option.get_description()),
            .required = option.get_required(),
            .many = option.get_items_expected_max() > 1};
}

void describeInto(const CLI::App& command, const std::string& name, std::vector<DescribedCommand>& all) {
    DescribedCommand described{.name = name,
                               .summary = command.get_description(),
                               .hasCommands = !commandsBelow(command).empty(),
                               .options = {},
                               .arguments = {}};
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_group().empty()) {
            continue; // hidden
        }
        if (option->nonpositional()) {
            described.options.push_back(describeOption(*option));
        } else {
            described.arguments.push_back(describeArgument(*option));
        }
    }
    all.push_back(std::move(described));
    for (const CLI::App* below : commandsBelow(command)) { // no deeper than commands are nested
        describeInto(*below, name + (name.empty() ? "" : " ") + below->get_name(), all);
    }
}

} // namespace

std::vector<DescribedCommand> describeCommands(const CLI::App& app) {
    std::vector<DescribedCommand> all;
    describeInto(app, "", all);
    return all;
}

std::string wordsBefore(const CLI::App& command) {
    std::string words;
    for (const CLI::App* parent = command.get_parent(); parent != nullptr; parent = parent->get_parent()) {
        words.insert(0, words.empty() ? parent->get_name() : parent->get_name() + " ");
    }
    return words;
}

std::string wordsOf(const CLI::App& command) {
    const std::string before = wordsBefore(command);
    return before + (before.empty() ? "" : " ") + command.get_name();
}

std::vector<const CLI::App*> commandsBelow(const CLI::App& command) {
    return command.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); });
}

} // namespace quzo::host
