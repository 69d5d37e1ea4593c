// quzo queue release, remove and expire: what people do to many entries, one after the other, each for
// itself. Whatever becomes of one does not stop the others.
#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/base/exit_code.h"
#include "host/cli/queue/queue_commands.h"
#include "host/cli/queue/queue_session.h"
#include "host/policy/policy_advice.h"
#include "platform/base/visible_text.h"
#include "platform/message/values/mailbox.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

using platform::ListedEntry;
using platform::QueueResult;

MaybeFault checkOptions(const QueueOptions& options) {
    const auto usage = [](std::string where, std::string what, std::string advice) {
        return Fault{kExitUsage, std::move(where), std::move(what), std::move(advice)};
    };
    if (options.ids.empty() && !options.all) {
        return usage("queue", "no entries are named",
                     "name their IDs, or say --all with or without conditions");
    }
    if (!options.ids.empty() && (options.all || !options.selection.empty())) {
        return usage("queue", "IDs go without --all and without conditions", "use the one or the other");
    }
    for (const std::string& recipient : options.to) {
        if (!platform::validAddress(recipient)) {
            return usage("--to", platform::quotedText(recipient) + " is no address", "write local@domain");
        }
    }
    return std::nullopt;
}

// Lists first, so that entries which come meanwhile are not met by surprise.
int selectIds(const QueueOptions& options, QueueSession& session, Console& console,
              std::vector<std::string>& ids) {
    ids = options.ids;
    if (!options.all) {
        return kExitOk;
    }
    const int error = session.admin().list(session.queue(), session.filter(), session.now(),
                                           [&ids](const ListedEntry& entry) {
                                               ids.push_back(entry.id);
                                               return true;
                                           });
    return error == kErrorNone
               ? int{kExitOk}
               : console.err.say({kExitInputOutput, session.name(),
                                  std::string("not all of it could be listed (") + KVMSGERR::I2A(error) + ")",
                                  "the entries that were found are worked on"});
}

using Work = std::function<QueueResult(QueueSession& session, const std::string& id, std::string& line)>;

int forEachEntry(const QueueOptions& options, Console& console, const Work& work) {
    if (const MaybeFault fault = checkOptions(options)) {
        return console.err.say(*fault);
    }
    QueueSession session;
    if (!session.start(options, !options.dryRun, console)) {
        return session.exitCode();
    }
    std::vector<std::string> ids;
    int exitCode = selectIds(options, session, console, ids);
    std::size_t tried = 0;
    for (const std::string& id : ids) {
        console.err.progress(++tried);
        std::string line;
        const QueueResult result = work(session, id, line);
        if (result.done()) {
            console.out.write(line);
        } else if (!options.all || result.outcome != QueueResult::Outcome::Missing) {
            exitCode = worseExit(exitCode, console.err.say(session.fault(id, result)));
        } // else somebody else was quicker, and it is as it was to be
    }
    return exitCode;
}

std::string releaseLine(const QueueOptions& options, const char* queue, const std::string& id,
                        const platform::QueuedEntry& released) {
    if (options.json) {
        const nlohmann::ordered_json line = {{"queue", queue},
                                             {"id", id},
                                             {"released", {{"queue", released.queue}, {"id", released.id}}},
                                             {"dry_run", options.dryRun}};
        return line.dump(-1, ' ', true) + '\n';
    }
    return std::string(queue) + "/" + id + (options.dryRun ? ": would be released to " : ": released to ") +
           released.queue + "/" + released.id + "\n";
}

} // namespace

int runQueueRelease(const QueueOptions& options, Console& console) {
    const platform::ReleaseOptions how{.recipients = options.to,
                                       .rescan = options.rescan,
                                       .asAttachment = options.asAttachment,
                                       .dryRun = options.dryRun};
    const auto targetQueue = options.rescan ? platform::QueueKind::Scan : platform::QueueKind::Outgoing;
    const char* target = platform::queueName(targetQueue);
    if (options.queue == target) {
        return console.err.say({kExitUsage, options.queue, "is where it would be released to",
                                waitingNote(targetQueue).empty() ? "its entries go out by themselves"
                                                                 : std::string(waitingNote(targetQueue))});
    }
    bool any = false;
    const int exitCode =
        forEachEntry(options, console, [&](QueueSession& session, const std::string& id, std::string& line) {
            platform::QueuedEntry released;
            const QueueResult result =
                session.admin().release(session.queue(), id, how, session.now(), released);
            any = any || result.done();
            line = result.done() ? releaseLine(options, session.name(), id, released) : std::string();
            return result;
        });
    if (const std::string_view note = waitingNote(targetQueue); any && !note.empty()) {
        console.err.say({0, target, std::string(note), {}});
    }
    return exitCode;
}

int runQueueRemove(const QueueOptions& options, Console& console) {
    return forEachEntry(
        options, console, [&](QueueSession& session, const std::string& id, std::string& line) {
            line = std::string(session.name()) + "/" + id +
                   (options.dryRun ? ": would be removed\n" : ": removed\n");
            ListedEntry ignored;
            return options.dryRun ? QueueResult::of(session.admin().look(session.queue(), id, ignored))
                                  : session.admin().remove(session.queue(), id);
        });
}

int runQueueExpire(const QueueOptions& options, Console& console) {
    QueueSession session;
    if (!session.start(options, !options.dryRun, console)) {
        return session.exitCode();
    }
    const std::string name = session.name();
    std::size_t removed = 0;
    int exitCode = kExitOk;
    // Nothing tells how old they are: without a word they would stay for ever.
    const auto unreadable = [&](const ListedEntry& listed) {
        exitCode = worseExit(exitCode, console.err.say(session.fault(listed.id, listed.error)));
    };
    int error = kErrorNone;
    if (options.dryRun) {
        error = session.admin().list(session.queue(), {}, session.now(), [&](const ListedEntry& listed) {
            if (listed.error != kErrorNone) {
                unreadable(listed);
            } else if (listed.entry.agedOut(session.now())) {
                ++removed;
                console.out.write(name + "/" + listed.id + ": would be removed\n");
            }
            return true;
        });
    } else {
        error = session.admin().expire(session.queue(), session.now(), removed, unreadable);
    }
    console.out.write(name + ": " + std::to_string(removed) + (removed == 1 ? " entry" : " entries") +
                      (options.dryRun ? " would be removed\n" : " removed\n"));
    if (error != kErrorNone) {
        exitCode = worseExit(exitCode, console.err.say({kExitInputOutput, name,
                                                        std::string("not all of it could be looked at (") +
                                                            KVMSGERR::I2A(error) + ")",
                                                        "see the log for what the system said"}));
    }
    return exitCode;
}

} // namespace quzo::host
