// Every option of `quzo queue` and its help text.
#include "host/cli/queue/queue_command_line.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "host/cli/files/file_options.h"
#include "host/cli/queue/queue_commands.h"

namespace quzo::host {
namespace {

using Options = std::shared_ptr<QueueOptions>;
using Run = int (*)(const QueueOptions&, Console&);

constexpr const char* kFooter =
    R"(QUEUE is quarantine, archive, outgoing, scan, postponed or failed. Where they lie is said by spool in
[platform], or by queue_quarantine and queue_archive in [general], of the settings.

Exit codes: 0 done, 64 wrong usage, 65 an entry that cannot be used, 66 no such entry, 74 reading or
writing failed, 75 somebody else is working on it: try again, 78 wrong settings.)";

// A command that names its queues itself.
CLI::App* addAny(CLI::App& queue, std::function<int(Console&)>& chosen, const Options& options,
                 const char* name, const char* help, Run run) {
    CLI::App* command = queue.add_subcommand(name, help);
    command->footer(kFooter);
    addConfigOption(*command, options->iniFile);
    command->callback([options, command, &chosen, run] {
        useStandardFiles(*command, options->iniFile, options->policyFile);
        chosen = [options, run](Console& console) { return run(*options, console); };
    });
    return command;
}

CLI::App* addOne(CLI::App& queue, std::function<int(Console&)>& chosen, const Options& options,
                 const char* name, const char* help, Run run) {
    CLI::App* command = addAny(queue, chosen, options, name, help, run);
    command->add_option("QUEUE", options->queue, "Which queue")->required()->type_name("");
    return command;
}

void addIds(CLI::App& command, const Options& options, bool required) {
    CLI::Option* ids = command.add_option("ID", options->ids, "Identifiers of entries")->type_name("");
    ids->required(required);
}

void addSelection(CLI::App& command, const Options& options) {
    SelectionTexts& texts = options->selection;
    const auto add = [&command](const char* name, std::string& target, const char* text, const char* type) {
        command.add_option(name, target, text)->type_name(type)->group("Conditions, of which all must hold");
    };
    add("--sender", texts.sender, "Envelope sender; * and ? stand for any characters", "GLOB");
    add("--recipient", texts.recipient, "One of the envelope recipients", "GLOB");
    add("--subject", texts.subject, "The whole subject: '*invoice*'", "GLOB");
    add("--rule", texts.rule, "The rule that put it there: its number, or its name", "NUMBER|GLOB");
    add("--area", texts.area, "Description or number of the area", "GLOB");
    add("--older-than", texts.olderThan, "Longer in the queue than 90s, 15m, 12h, 30d, 2w", "AGE");
    add("--younger-than", texts.youngerThan, "Shorter in the queue than that", "AGE");
    add("--larger-than", texts.largerThan, "Larger than 500 (bytes), 10K, 5M, 1G", "SIZE");
    add("--smaller-than", texts.smallerThan, "Smaller than that", "SIZE");
}

void addMany(CLI::App& command, const Options& options) {
    addIds(command, options, false);
    command.add_flag("--all", options->all,
                     "All entries, or all for which the conditions hold, in place of IDs");
    command.add_flag("--dry-run", options->dryRun, "Say what would happen and touch nothing");
    addSelection(command, options);
}

constexpr const char* kRunFooter =
    R"(What is due in the outgoing queue is sent to next_hop, what waits in the scan queue passes the policy again,
and postponed messages go out when their time has come. [runner] in the settings has the pauses.

Exit codes: 0 all that was due is done, 64 wrong usage, 65 something has failed for good: see the failed
queue, 74 reading or writing failed, 75 something is to be tried again, 78 wrong settings. With --forever 0
after SIGTERM or SIGINT.)";

void addRun(CLI::App& queue, std::function<int(Console&)>& chosen, const Options& options) {
    CLI::App* run = addAny(queue, chosen, options, "run", "Work queues off.", runQueueRun);
    run->footer(kRunFooter);
    run->add_option("QUEUE", options->queues, "outgoing, scan, postponed; all three without a name")
        ->type_name("");
    addPolicyOption(*run, options->policyFile, "Policy file; required for the scan queue");
    run->add_flag("--forever", options->forever, "Go on until a signal asks for the end");
    run->add_flag("-v,--verbose", options->verbose, "A line for each entry, also of those that are done");
}

void addRetry(CLI::App& queue, std::function<int(Console&)>& chosen, const Options& options) {
    CLI::App* retry = addAny(queue, chosen, options, "retry", "Make entries due at once.", runQueueRetry);
    retry
        ->add_option("QUEUE|ID", options->ids,
                     "The queue, outgoing without a name, and identifiers of its entries")
        ->type_name("");
    retry->add_flag("--all", options->all,
                    "All entries, or all for which the conditions hold, in place of IDs");
    retry->add_flag("--dry-run", options->dryRun, "Say what would happen and touch nothing");
    addSelection(*retry, options);
}

} // namespace

void addQueueCommand(CLI::App& app, std::function<int(Console&)>& chosen) {
    CLI::App* queue = app.add_subcommand("queue", "Look after the queues on disk.");
    queue->require_subcommand(1);
    const auto options = std::make_shared<QueueOptions>();

    CLI::App* status =
        addAny(*queue, chosen, options, "status", "Show how the queues stand.", runQueueStatus);
    status->add_flag("--json", options->json, "One JSON object a queue");
    addRun(*queue, chosen, options);
    addRetry(*queue, chosen, options);

    CLI::App* list = addOne(*queue, chosen, options, "list", "List entries.", runQueueList);
    list->add_flag("--json", options->json, "One JSON object an entry");
    addSelection(*list, options);

    CLI::App* show = addOne(*queue, chosen, options, "show",
                            "Show what is known of entries, and their messages' headers.", runQueueShow);
    addIds(*show, options, true);
    show->add_flag("--raw", options->raw, "The message itself, byte for byte");
    show->add_flag("--json", options->json, "One JSON object an entry");

    CLI::App* release =
        addOne(*queue, chosen, options, "release", "Pass entries on to the outgoing queue.", runQueueRelease);
    addMany(*release, options);
    release->add_option("--to", options->to, "To this recipient in place of the original ones, repeatable")
        ->type_name("ADDRESS")
        ->allow_extra_args(false);
    CLI::Option* attached = release->add_flag("--as-attachment", options->asAttachment,
                                              "As an attachment of a message of our own");
    release
        ->add_flag("--rescan", options->rescan,
                   "Through the scan queue, where rules that have acted on it are skipped")
        ->excludes(attached);
    addPolicyOption(*release, options->policyFile,
                    "Policy whose host name stands in messages of our own, where the settings give none");
    release->add_flag("--json", options->json, "One JSON object an entry");

    CLI::App* remove = addOne(*queue, chosen, options, "remove", "Remove entries for good.", runQueueRemove);
    addMany(*remove, options);

    CLI::App* expire = addOne(*queue, chosen, options, "expire", "Remove the entries whose time has passed.",
                              runQueueExpire);
    expire->add_flag("--dry-run", options->dryRun, "Say which they are and touch nothing");
}

} // namespace quzo::host
