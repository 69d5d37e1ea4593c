// Every option of `quzo apply` and its help text.
#include "host/cli/apply/apply_command_line.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "host/cli/apply/apply_command.h"
#include "host/cli/files/file_options.h"

namespace quzo::host {
namespace {

constexpr unsigned kMaxJobs = 256;

constexpr const char* kApplyFooter =
    R"(PATH is a message file, a directory, a mailbox file, or "-" for standard input.
  directory   every *.eml file below it, every file of a Maildir's cur and new, and every other file
              that begins with a header field or "From ", in sorted order. Links are not followed.
              What is passed over is counted at the end; -v names it.
  mailbox     a file that begins with a line "From SENDER DATE" and has a second one behind an empty
              line (one is enough in *.mbox and *.mbx); its messages are PATH/000001.eml and so on,
              without the separator line and the empty line before the next. ">From " stays quoted.
  otherwise   one message, byte for byte. A byte order mark, empty lines and "From " lines before
              its header are read over and stay there.

Without -o and --json a single message goes to standard output as it would be delivered, and nothing
when it was consumed.

Exit codes: 0 done, 64 wrong usage, 65 a bad message, 66 no input, 73 an output cannot be created,
74 reading or writing failed, 75 a message was deferred: try again, 78 wrong settings or policy.
Of several messages: 75 if one was deferred, else 74, else 73, else 65, else 66.
Interrupted (SIGINT, SIGTERM, SIGHUP) it ends the messages at work, says what was done, and ends by
the signal; at the second one at once.)";

// An option that may be given several times, with one value each.
template <typename T>
CLI::Option* repeated(CLI::App& command, const std::string& name, T& target, const std::string& text) {
    return command.add_option(name, target, text)->allow_extra_args(false);
}

} // namespace

void addApplyCommand(CLI::App& app, std::function<int(Console&)>& chosen) {
    CLI::App* command = app.add_subcommand("apply", "Apply a policy to messages.");
    const auto options = std::make_shared<ApplyOptions>();
    command->footer(kApplyFooter);
    addConfigOption(*command, options->iniFile);
    addPolicyOption(*command, options->policyFile, "Policy file; required");
    command
        ->add_option("--from", options->from,
                     "Envelope sender; '' is the null sender (default: Return-Path, else From)")
        ->type_name("ADDRESS");
    repeated(*command, "--to", options->to, "Envelope recipient, repeatable (default: To, Cc and Bcc)")
        ->type_name("ADDRESS");
    repeated(*command, "--token", options->tokens,
             "What another scanner found: a token's name or code, and its value; repeatable")
        ->type_name("NAME=VALUE");
    command
        ->add_option("-o,--output", options->outputDir,
                     "Write each message that goes on below this folder, under the name it\n"
                     "has below PATH (below the last component of PATH when there are\n"
                     "several). An existing file of that name is replaced. Consumed,\n"
                     "deferred and failed messages are not written")
        ->type_name("DIR");
    command->add_flag("--json", options->json,
                      "One JSON object a message on standard output, in input order");
    command
        ->add_option("-j,--jobs", options->jobs,
                     "Messages at a time, 1 to 256; 0: one for each processor (default: 1)")
        ->type_name("N")
        ->check(CLI::Range(0U, kMaxJobs).description(""));
    command->add_flag("--sync", options->syncEach,
                      "Make each output durable when it is written (default: all of them at the end)");
    command->add_flag("--dry-run", options->dryRun, "Say what would happen; write no file and no queue");
    command->add_flag("--diff", options->diff, "As --dry-run, and show what would change");
    command->add_flag("-v,--verbose", options->verbose,
                      "Say a summary of several messages, not on a terminal only, and name each file\n"
                      "that is passed over");
    command->add_option("PATH", options->paths, "Messages; see below")->required()->type_name("");
    command->callback([options, command, &chosen] {
        useStandardFiles(*command, options->iniFile, options->policyFile);
        chosen = [options](Console& console) { return runApply(*options, console); };
    });
}

} // namespace quzo::host
