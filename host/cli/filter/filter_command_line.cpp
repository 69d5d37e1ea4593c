// Every option of `quzo filter` and its help text.
#include "host/cli/filter/filter_command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

#include "host/cli/files/file_options.h"
#include "host/cli/filter/filter_command.h"

namespace quzo::host {
namespace {

constexpr const char* kFilterFooter =
    R"(  quzo filter [-c quzo.ini] -p policy.toml [--sendmail PROGRAM] -f SENDER -- RECIPIENT...

For mail servers that run a program for each message, such as Postfix's pipe(8). The message comes on
standard input; what goes on leaves with the envelope that the policy gives it:
  without --sendmail   into the outgoing queue below spool of the settings; "quzo queue run" sends it
  with --sendmail      by PROGRAM -G -i -f SENDER -- RECIPIENT..., with LF at the ends of lines
Nothing is written to standard output.

Exit codes: 0 the message has gone on or is safe in a queue, 65 it is beyond a limit or no mail and the
settings say on_limit = refuse, 75 anything else: the mail server is to try again.)";

CLI::App* addCommand(CLI::App& app, const std::shared_ptr<FilterOptions>& options) {
    CLI::App* command = app.add_subcommand("filter", "Filter one message for a mail server.");
    command->footer(kFilterFooter);
    // No short form: in a line without "--" a recipient could begin so, and help is no delivery.
    command->set_help_flag("--help", "Print this help message and exit");
    addConfigOption(*command, options->iniFile);
    addPolicyOption(*command, options->policyFile, "Policy file");
    command->add_option("-f,--from", options->sender, "Envelope sender; '' and '<>' are the null sender")
        ->required()
        ->type_name("SENDER");
    command
        ->add_option("--sendmail", options->sendmail,
                     "Give what goes on to this program (default: the outgoing queue)")
        ->type_name("PROGRAM");
    return command;
}

} // namespace

void addFilterCommand(CLI::App& app, std::function<int(Console&)>& chosen,
                      std::vector<std::string> recipients) {
    const auto options = std::make_shared<FilterOptions>();
    options->recipients = std::move(recipients);
    CLI::App* command = addCommand(app, options);
    command->callback([command, options, &chosen] {
        useStandardFiles(*command, options->iniFile, options->policyFile);
        chosen = [options](Console& console) { return runFilter(*options, console); };
    });
}

void describeFilterCommand(CLI::App& app) {
    const auto options = std::make_shared<FilterOptions>();
    CLI::App* command = addCommand(app, options);
    command->add_option("RECIPIENT", options->recipients, "Envelope recipients, behind --")
        ->required()
        ->type_name("");
    command->callback([options] {}); // keeps them
}

bool isFilterCall(int argc, const char* const* argv) {
    constexpr std::string_view kFilter = "filter";
    if (argc < 2) {
        return false;
    }
    return argv[1] == kFilter ||
           (argv[1][0] == '-' && std::find(argv + 2, argv + argc, kFilter) != argv + argc);
}

std::vector<std::string> takeRecipients(int& argc, char** argv) {
    char** const end = argv + argc;
    char** const mark = std::find(argv, end, std::string_view("--"));
    argc = static_cast<int>(mark - argv);
    return mark == end ? std::vector<std::string>() : std::vector<std::string>(mark + 1, end);
}

} // namespace quzo::host
