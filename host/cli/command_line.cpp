// Every option and its help text. Only this and the ..._command_line sources know the command line library,
// which is slow to compile; the commands get plain structures.
#include "host/cli/command_line.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/exit_code.h"
#include "host/cli/apply/apply_command_line.h"
#include "host/cli/commands.h"
#include "host/cli/complete/complete.h"
#include "host/cli/files/file_options.h"
#include "host/cli/filter/filter_command_line.h"
#include "host/cli/help/command_tree.h"
#include "host/cli/help/help_command_line.h"
#include "host/cli/milter/milter_command_line.h"
#include "host/cli/object/object_command_line.h"
#include "host/cli/queue/queue_command_line.h"

namespace quzo::host {
namespace {

// Remembers what to run once the line has been read.
using Chosen = std::function<int(Console&)>;

void addCheck(CLI::App& app, Chosen& chosen) {
    CLI::App* command = app.add_subcommand("check", "Check settings and policy.");
    command->footer(
        "Every key, rule, action and object reference is checked; one line a fault.\n"
        "Exit codes: 0 in order (warnings included), 64 wrong usage, 66 no such policy,\n"
        "75 the store cannot be reached, 78 faults.");
    const auto options = std::make_shared<CheckOptions>();
    addConfigOption(*command, options->iniFile);
    addPolicyOption(*command, options->policyFile, "Policy file");
    command->callback([options, command, &chosen] {
        useStandardFiles(*command, options->iniFile, options->policyFile);
        chosen = [options](Console& console) { return runCheck(*options, console); };
    });
}

void addConfig(CLI::App& app, Chosen& chosen) {
    CLI::App* config = app.add_subcommand("config", "Look at settings.");
    config->require_subcommand(1);
    CLI::App* show = config->add_subcommand(
        "show", "Show every setting with its value, its default, and the line that set it.");
    show->footer(
        "What may hold a password is not shown. Exit codes: 0 done, 64 wrong usage, 78 faults in the "
        "settings.");
    const auto options = std::make_shared<ConfigShowOptions>();
    addConfigOption(*show, options->iniFile);
    show->add_flag("--json", options->json, "One JSON object a setting");
    show->callback([options, show, &chosen] {
        std::string none;
        useStandardFiles(*show, options->iniFile, none);
        chosen = [options](Console& console) { return runConfigShow(*options, console); };
    });
}

void addTokens(CLI::App& app, Chosen& chosen) {
    CLI::App* command = app.add_subcommand("tokens", "List the tokens that texts may contain.");
    command->footer("Exit codes: 0 done, 64 wrong usage.");
    const auto options = std::make_shared<TokensOptions>();
    command->add_flag("--json", options->json, "One JSON object a token");
    command->callback([options, &chosen] {
        chosen = [options](Console& console) { return runTokens(*options, console); };
    });
}

void addAction(CLI::App& app, Chosen& chosen) {
    CLI::App* action =
        app.add_subcommand("action", "Translate between an action's fields and its stored text.");
    action->require_subcommand(1);

    CLI::App* encode = action->add_subcommand("encode", "Print the stored text of an action.");
    encode->footer(
        "The text can stand in a policy as setting = \"...\".\n"
        "Exit codes: 0 done, 64 an unknown type, 65 a key or value that is refused.");
    const auto fields = std::make_shared<EncodeOptions>();
    encode->add_option("TYPE", fields->type, "Action type, such as tag-subject")->required()->type_name("");
    encode->add_option("KEY=VALUE", fields->pairs, "Fields as in a policy; flags are true or false")
        ->type_name("");
    encode->callback(
        [fields, &chosen] { chosen = [fields](Console& console) { return runEncode(*fields, console); }; });

    CLI::App* decode =
        action->add_subcommand("decode", "Print the fields of a stored text, one key=value a line.");
    decode->footer(
        "Control characters in values are escaped, as \\x0A.\n"
        "Exit codes: 0 done, 64 an unknown type, 65 a text that is refused.");
    const auto text = std::make_shared<DecodeOptions>();
    decode->add_option("TYPE", text->type, "Action type, such as tag-subject")->required()->type_name("");
    decode->add_option("SETTING", text->setting, "The stored text; after -- when it begins with '-'")
        ->required()
        ->type_name("");
    decode->callback(
        [text, &chosen] { chosen = [text](Console& console) { return runDecode(*text, console); }; });
}

// The innermost command that the line names.
CLI::App* namedCommand(CLI::App& app) {
    CLI::App* command = &app;
    for (auto below = app.get_subcommands(); !below.empty(); below = command->get_subcommands()) {
        command = below.front();
    }
    return command;
}

// The word where a command below this one should be, if it is none.
std::optional<std::string> unknownCommand(const CLI::App& command) {
    if (command.get_subcommands([](const CLI::App*) { return true; }).empty()) {
        return std::nullopt;
    }
    const std::vector<std::string> words = command.remaining();
    if (words.empty() || words.front().starts_with('-')) {
        return std::nullopt;
    }
    return words.front();
}

int refuse(const CLI::App& command, const CLI::ParseError& error, Console& console) {
    if (const std::optional<std::string> word = unknownCommand(command)) {
        return refuseCommand(command, *word, console);
    }
    const std::string whole = wordsOf(command);
    const std::string where = wordsBefore(command).empty() ? "" : command.get_name();
    return console.err.say({kExitUsage, where, error.what(), "see " + whole + " --help"});
}

void addOthers(CLI::App& app, Chosen& chosen) {
    addCheck(app, chosen);
    addConfig(app, chosen);
    addTokens(app, chosen);
    addAction(app, chosen);
    addQueueCommand(app, chosen);
    addObjectCommand(app, chosen);
    CLI::App* version = app.add_subcommand("version", "Say which build this is.");
    version->footer("Exit codes: 0 done, 64 wrong usage.");
    version->callback([&chosen] { chosen = runVersion; });
    addHelpCommand(app, chosen);
    app.add_flag_callback(
        "--version", [&chosen] { chosen = runVersion; }, "Say which build this is");
    addMilterCommand(app, chosen);
}

} // namespace

int runCommandLine(int argc, char** argv, Console& console) {
    CLI::App app("quzo: policies for mail. Tags, stamps, strips and files messages by rules.");
    app.name("quzo");
    app.require_subcommand(0, 1);
    Chosen chosen;
    // Two are started for each message, and making all the options of all commands takes its time.
    const bool filter = isFilterCall(argc, argv);
    const bool forMessage = filter && argc > 3;
    if (filter) {
        app.set_help_flag();
        addFilterCommand(app, chosen, takeRecipients(argc, argv));
    } else {
        addApplyCommand(app, chosen);
        if (argc < 2 || std::string_view(argv[1]) != "apply") {
            describeFilterCommand(app); // a call of it has been seen already
            addOthers(app, chosen);
        }
    }
    if (isCompletionCall(argc, argv)) {
        return runCompletion(describeCommands(app), argc, argv, console);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        if (forMessage) { // which would be taken for one that has gone on
            return console.err.say({kExitTryAgain, "filter", "--help stands alone", "leave it out"});
        }
        console.out.write(helpOn(*namedCommand(app)));
        return kExitOk;
    } catch (const CLI::ParseError& error) {
        const int exitCode = refuse(*namedCommand(app), error, console);
        return filter ? kExitTryAgain : exitCode;
    }
    return chosen ? chosen(console)
                  : console.err.say({kExitUsage, "", "there is no command", "see quzo --help"});
}

} // namespace quzo::host
