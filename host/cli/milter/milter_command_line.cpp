// Every option of `quzo milter` and its help text.
#include "host/cli/milter/milter_command_line.h"

#include <CLI/CLI.hpp>

#include <memory>

#include "host/cli/files/file_options.h"
#include "host/cli/milter/milter.h"

namespace quzo::host {

namespace {

void addReloadCommand(CLI::App& milter, std::function<int(Console&)>& chosen) {
    CLI::App* command =
        milter.add_subcommand("reload", "Have the milter that runs load policy and objects anew.");
    command->footer(
        R"(No connection is dropped. When the new ones are wrong, the faults are said and the former ones stay in force.

Exit codes: 0 loaded, 64 wrong usage, 66 no such policy, 74 the milter cannot be asked, 75 no milter runs or the
store cannot be reached, 78 wrong settings or policy.)");
    const auto options = std::make_shared<MilterReloadOptions>();
    addConfigOption(*command, options->iniFile);
    command->callback([command, options, &chosen] {
        std::string policyFile;
        useStandardFiles(*command, options->iniFile, policyFile);
        chosen = [options](Console& console) { return runMilterReload(*options, console); };
    });
}

} // namespace

void addMilterCommand(CLI::App& app, std::function<int(Console&)>& chosen) {
    CLI::App* command =
        app.add_subcommand("milter", "Apply the policy to the mail of a running mail server.");
    command->footer(
        R"(Serves the milter protocol until SIGTERM or SIGINT; SIGUSR1 and `quzo milter reload` load policy and
objects anew.

Exit codes: 0 ended by a signal, 64 wrong usage, 66 no such policy, 73 the socket cannot be opened, 75 the store
cannot be reached, 78 wrong settings or policy.)");
    const auto options = std::make_shared<MilterCommandOptions>();
    addConfigOption(*command, options->iniFile);
    addPolicyOption(*command, options->policyFile, "Policy file");
    command
        ->add_option("--socket", options->socket,
                     "unix:PATH, inet:PORT@HOST or inet6:PORT@[ADDRESS], in place of that of the settings")
        ->type_name("SOCKET");
    addReloadCommand(*command, chosen);
    command->callback([command, options, &chosen] {
        if (!command->get_subcommands().empty()) {
            return;
        }
        useStandardFiles(*command, options->iniFile, options->policyFile);
        chosen = [options](Console& console) { return runMilter(*options, console); };
    });
}

} // namespace quzo::host
