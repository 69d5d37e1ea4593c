// Every option of `quzo milter` and its help text.
#include "host/cli/milter/milter_command_line.h"

#include <CLI/CLI.hpp>

#include <memory>

#include "host/cli/files/file_options.h"
#include "host/cli/milter/milter.h"

namespace quzo::host {

void addMilterCommand(CLI::App& app, std::function<int(Console&)>& chosen) {
    CLI::App* command =
        app.add_subcommand("milter", "Apply the policy to the mail of a running mail server.");
    command->footer(
        R"(Serves the milter protocol until SIGTERM or SIGINT; SIGUSR1 loads policy and objects anew.

Exit codes: 0 ended by a signal, 64 wrong usage, 66 no such policy, 73 the socket cannot be opened, 78 wrong
settings or policy.)");
    const auto options = std::make_shared<MilterCommandOptions>();
    addConfigOption(*command, options->iniFile);
    addPolicyOption(*command, options->policyFile, "Policy file");
    command
        ->add_option("--socket", options->socket,
                     "unix:PATH, inet:PORT@HOST or inet6:PORT@[ADDRESS], in place of that of the settings")
        ->type_name("SOCKET");
    command->callback([command, options, &chosen] {
        useStandardFiles(*command, options->iniFile, options->policyFile);
        chosen = [options](Console& console) { return runMilter(*options, console); };
    });
}

} // namespace quzo::host
