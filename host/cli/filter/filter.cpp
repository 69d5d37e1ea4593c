// The run of `quzo filter`. Everything that can be wrong on this machine is found before the policy begins to
// store and to send, as far as that is possible.
#include <chrono>
#include <ctime>
#include <exception>
#include <string>
#include <utility>

#include "host/base/exit_code.h"
#include "host/cli/console/file_io.h"
#include "host/cli/filter/filter_command.h"
#include "host/cli/filter/sendmail_process.h"
#include "host/cli/filter/taken_message.h"
#include "host/gateway/installation.h"
#include "host/gateway/leaving_mail.h"
#include "platform/base/visible_text.h"
#include "platform/message/values/mailbox.h"
#include "platform/queue/leaving_message.h"
#include "platform/queue/queue_names.h"
#include "platform/queue/shown_subject.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

using platform::QueueKind;

constexpr int kMostHalves = 100; // that attempts which were killed have left

Fault later(std::string what, std::string advice = {}) {
    return {kExitTryAgain, "filter", std::move(what), std::move(advice)};
}

MaybeFault checkOptions(const FilterOptions& options) {
    if (options.policyFile.empty()) {
        return later("there is no policy", "name one with -p FILE");
    }
    if (options.recipients.empty()) {
        return later("there are no recipients", "name them behind --");
    }
    constexpr const char* kAdvice = "give addresses as in SMTP (Postfix: flags=q)";
    if (!options.sender.empty() && !platform::validAddress(options.sender)) {
        return later("the sender " + platform::quotedText(options.sender) + " is no address", kAdvice);
    }
    for (const std::string& recipient : options.recipients) {
        if (!platform::validAddress(recipient)) {
            return later("the recipient " + platform::quotedText(recipient) + " is no address", kAdvice);
        }
    }
    return std::nullopt;
}

// Whether the entry is in the queue, whole, from an attempt that was cut off behind it.
bool isThere(const platform::QueueStore& store, const std::string& id) {
    platform::ListedEntry there;
    return store.look(id, there) == kErrorNone && there.error == kErrorNone && there.message;
}

MaybeFault putOut(platform::QueueStore& store, const MessageResult& result, LeavingMail mail) {
    platform::QueueEntry entry;
    entry.id = *result.identifier;
    entry.sender = std::move(mail.sender);
    entry.recipients = std::move(mail.recipients);
    entry.subject = platform::shownSubject(*result.message);
    entry.stored = std::time(nullptr);
    int error = kErrorExists;
    for (int tries = 0; error == kErrorExists && tries < kMostHalves; ++tries) {
        error =
            isThere(store, entry.id) ? int{kErrorNone} : store.store(entry, platform::writerOf(mail.message));
        if (error == kErrorExists) { // one half of it is there, and in the way until it is tidied up
            entry.id = platform::derivedIdentifier("filter/again", entry.id);
        }
    }
    if (error != kErrorNone) {
        return later(std::string("the outgoing queue does not take the message: ") + KVMSGERR::I2A(error),
                     "see the log; the message stays with the mail server");
    }
    return std::nullopt;
}

MaybeFault goOn(const FilterOptions& options, const Installation& installation, const MessageResult& result) {
    LeavingMail mail = leavingMailOf(result, installation.snapshot()->hostname());
    if (mail.recipients.empty()) {
        return later("the policy left no recipients");
    }
    return options.sendmail.empty()
               ? putOut(*installation.queues()->find(QueueKind::Outgoing), result, std::move(mail))
               : giveToSendmail(options.sendmail, mail);
}

// False when nothing can be done with it; that has been said.
bool openInstallation(const FilterOptions& options, Installation& installation, Console& console) {
    const bool usable = installation.open({.iniFile = options.iniFile, .policyFile = options.policyFile});
    console.err.say(installation.findings());
    if (!usable) {
        return false;
    }
    if (options.sendmail.empty() && installation.queues()->find(QueueKind::Outgoing) == nullptr) {
        console.err.say(later("the settings name no directory for the queues",
                              "set spool in [platform] and give the settings with -c, or use --sendmail"));
        return false;
    }
    for (const MaybeFault& fault :
         {installation.recordReferences(false), installation.tidyQueuesIfDue(std::time(nullptr))}) {
        if (fault) {
            console.err.say(*fault);
        }
    }
    return true;
}

// What a message is that does not go on, if that is a fault.
MaybeFault faultOf(const ScanResult& scan, const ScannerOptions& options) {
    if (scan.outcome == Outcome::Consumed) {
        return std::nullopt; // what failed behind that has been warned of
    }
    if (!scan.error) {
        return later("the message cannot be handled", "see the log");
    }
    Fault fault = later(scan.error->text, scan.error->advice);
    if (scan.outcome == Outcome::Failed) {
        fault.exitCode = filterExitFor(scan.error->code, options);
    }
    return fault;
}

// The line that the log has of the message, which came on standard input at `start` and ended so.
void log(const Installation& installation, const MessageResult& result, const MaybeFault& ended,
         std::chrono::steady_clock::time_point start) {
    if (const MessageLog* messages = installation.messageLog()) {
        messages->tell(result, {.name = "-",
                                .taken = std::chrono::steady_clock::now() - start,
                                .error = ended ? std::string_view(ended->what) : std::string_view()});
    }
}

int handle(const FilterOptions& options, Console& console) {
    const auto end = [&](const MaybeFault& fault) { return fault ? console.err.say(*fault) : int{kExitOk}; };
    const Caller caller;
    const InterruptWatch interrupt(kExitTryAgain);
    Installation installation;
    if (!openInstallation(options, installation, console)) {
        return kExitTryAgain;
    }
    const std::shared_ptr<const Snapshot> snapshot = installation.snapshot();
    MessageJob job;
    job.sender = options.sender;
    job.recipients = options.recipients;
    job.tokens.set(ScanToken::Protocol, "SMTP");
    if (const MaybeFault fault = takeMessage(snapshot->options(), interrupt, caller, job.bytes)) {
        return end(fault);
    }
    const auto start = std::chrono::steady_clock::now();
    identify(job, snapshot->options());
    const MessageResult result = passMessage(*snapshot, installation.queues(), std::move(job));
    for (const std::string& warning : result.scan.warnings) {
        if (!result.scan.error || result.scan.error->text != warning) {
            console.err.say(Fault::warning("filter", warning));
        }
    }
    const MaybeFault ended = result.scan.goesOn() ? goOn(options, installation, result)
                                                  : faultOf(result.scan, snapshot->options());
    log(installation, result, ended, start);
    return end(ended);
}

} // namespace

int runFilter(const FilterOptions& options, Console& console) noexcept {
    try {
        FilterOptions asked = options;
        if (asked.sender == "<>") {
            asked.sender.clear();
        }
        const MaybeFault fault = checkOptions(asked);
        return fault ? console.err.say(*fault) : handle(asked, console);
    } catch (const std::exception&) { // the standard library's, of what needs memory
        writeAll(STDERR_FILENO,
                 "quzo: filter: there is not enough memory: the message stays with the mail server\n");
    }
    return kExitTryAgain;
}

} // namespace quzo::host
