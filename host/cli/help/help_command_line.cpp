// See help_command_line.h. A command goes before a topic of the same name, and its help leads to its page.
#include "host/cli/help/help_command_line.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "host/base/exit_code.h"
#include "host/cli/help/command_tree.h"
#include "host/cli/help/everything_known.h"
#include "host/cli/help/manual_page.h"
#include "host/cli/help/topics.h"
#include "platform/base/nearest.h"

namespace quzo::host {
namespace {

struct HelpOptions {
    std::vector<std::string> words;
    bool json = false;
};

std::string topicLines() {
    std::string text = "\nTopics, each in a page of the manual (quzo help TOPIC):\n";
    for (const Topic& topic : topics()) {
        text += fmt::format("  {:<27} {}\n", topic.name, topic.summary);
    }
    return text;
}

// Says that there is no such command, or what else is meant by `kind`.
int refuseWord(const CLI::App& command, std::string_view kind, const std::string& word,
               std::span<const Topic> others, Console& console) {
    std::vector<std::string> names;
    for (const CLI::App* below : commandsBelow(command)) {
        names.push_back(below->get_name());
    }
    for (const Topic& topic : others) {
        names.emplace_back(topic.name);
    }
    return console.err.say(
        {kExitUsage, wordsBefore(command).empty() ? "" : command.get_name(),
         fmt::format("there is no {} '{}'", kind, word),
         platform::suggestion(word, std::vector<std::string_view>(names.begin(), names.end()))});
}

// The one word that names no command.
int showTopic(const CLI::App& app, const std::string& word, Console& console) {
    const Topic* topic = findTopic(word);
    return topic != nullptr ? showManualPage({std::string(topic->page), topic->section}, console)
                            : refuseWord(app, "command or topic", word, topics(), console);
}

int showHelp(const CLI::App& app, const HelpOptions& options, Console& console) {
    if (options.json) {
        if (!options.words.empty()) {
            return console.err.say(
                {kExitUsage, "help", "--json tells of everything", "leave '" + options.words[0] + "' out"});
        }
        console.out.write(everythingKnown(describeCommands(app)));
        return kExitOk;
    }
    const CLI::App* command = &app;
    for (const std::string& word : options.words) {
        const auto named =
            command->get_subcommands([&](const CLI::App* each) { return each->get_name() == word; });
        if (named.empty()) {
            return options.words.size() == 1 ? showTopic(app, word, console)
                                             : refuseCommand(*command, word, console);
        }
        command = named.front();
    }
    console.out.write(helpOn(*command));
    return kExitOk;
}

} // namespace

std::string helpOn(const CLI::App& command) {
    const std::string whole = wordsOf(command);
    // Not command.help(), which goes on to the command that was read: to help itself.
    std::string text = command.get_formatter()->make_help(&command, whole, CLI::AppFormatMode::Normal);
    text.erase(text.find_last_not_of('\n') + 1);
    const bool isProgram = command.get_parent() == nullptr;
    const std::string page = pageOfCommand(isProgram ? "" : whole.substr(whole.find(' ') + 1)).name;
    return text + "\n" + (isProgram ? topicLines() : "") + "\nThe manual: man " + page + "\n";
}

int refuseCommand(const CLI::App& command, const std::string& word, Console& console) {
    return refuseWord(command, "command", word, {}, console);
}

void addHelpCommand(CLI::App& app, std::function<int(Console&)>& chosen) {
    CLI::App* command =
        app.add_subcommand("help", "Show the help on the program or on a command, or a page of the manual.");
    command->footer("Exit codes: 0 done, 64 no such command or topic, 66 no such page.");
    const auto options = std::make_shared<HelpOptions>();
    command->add_option("COMMAND|TOPIC", options->words, "Such as: object add; or one of the topics")
        ->type_name("");
    command->add_flag("--json", options->json, "Everything that the program knows, as one JSON object");
    command->callback([&app, options, &chosen] {
        chosen = [&app, options](Console& console) { return showHelp(app, *options, console); };
    });
}

} // namespace quzo::host
