// quzo queue release, remove and expire: what people do to many entries, one after the other, each for
// itself. Whatever becomes of one does not stop the others.
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/admin/entry_report.h"
#include "host/base/exit_code.h"
#include "host/cli/queue/queue_commands.h"
#include "host/cli/queue/queue_session.h"
#include "platform/base/visible_text.h"
#include "platform/message/values/mailbox.h"

namespace quzo::host {
namespace {

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
    MaybeFault fault = session.desk().list(session.filter(), [&ids](const platform::ListedEntry& entry) {
        ids.push_back(entry.id);
        return true;
    });
    if (!fault) {
        return kExitOk;
    }
    fault->advice = "the entries that were found are worked on";
    return console.err.say(*fault);
}

// Does the work on one entry; gives the line to say.
using Work = std::function<Result<std::string>(QueueDesk& desk, const std::string& id)>;

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
        const Result<std::string> line = work(session.desk(), id);
        if (line) {
            console.out.write(*line);
        } else if (!options.all || line.fault().exitCode != kExitNoInput) {
            exitCode = worseExit(exitCode, console.err.say(line.fault()));
        } // else somebody else was quicker, and it is as it was to be
    }
    return exitCode;
}

std::string releaseLine(const QueueOptions& options, const char* queue, const std::string& id,
                        const platform::QueuedEntry& released) {
    if (options.json) {
        return releaseJson(queue, id, released, options.dryRun);
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
    if (const MaybeFault fault = checkReleaseTarget(options.queue, options.rescan)) {
        return console.err.say(*fault);
    }
    bool any = false;
    const int exitCode =
        forEachEntry(options, console, [&](QueueDesk& desk, const std::string& id) -> Result<std::string> {
            const Result<platform::QueuedEntry> released = desk.release(id, how);
            if (!released) {
                return released.fault();
            }
            any = true;
            return releaseLine(options, desk.name(), id, *released);
        });
    if (any && !options.dryRun && !options.json) {
        console.err.say({0,
                         platform::queueName(releaseTarget(options.rescan)),
                         "quzo queue run works it off, unless one runs already",
                         {}});
    }
    return exitCode;
}

int runQueueRetry(const QueueOptions& options, Console& console) {
    QueueOptions chosen = options;
    chosen.queue = platform::queueName(platform::QueueKind::Outgoing);
    if (!chosen.ids.empty() && platform::queueKind(chosen.ids.front())) {
        chosen.queue = chosen.ids.front();
        chosen.ids.erase(chosen.ids.begin());
    }
    if (const MaybeFault fault = checkRunnable(*platform::queueKind(chosen.queue))) {
        return console.err.say(*fault);
    }
    return forEachEntry(chosen, console, [&](QueueDesk& desk, const std::string& id) -> Result<std::string> {
        if (const MaybeFault fault = desk.retry(id, chosen.dryRun)) {
            return *fault;
        }
        return std::string(desk.name()) + "/" + id + (chosen.dryRun ? ": would be due\n" : ": due\n");
    });
}

int runQueueRemove(const QueueOptions& options, Console& console) {
    return forEachEntry(options, console, [&](QueueDesk& desk, const std::string& id) -> Result<std::string> {
        if (const MaybeFault fault = desk.remove(id, options.dryRun)) {
            return *fault;
        }
        return std::string(desk.name()) + "/" + id +
               (options.dryRun ? ": would be removed\n" : ": removed\n");
    });
}

int runQueueExpire(const QueueOptions& options, Console& console) {
    QueueSession session;
    if (!session.start(options, !options.dryRun, console)) {
        return session.exitCode();
    }
    const std::string name = session.name();
    const QueueExpiry done = session.desk().expire(options.dryRun, [&](const std::string& id) {
        console.out.write(name + "/" + id + ": would be removed\n");
    });
    console.out.write(name + ": " + std::to_string(done.removed) +
                      (done.removed == 1 ? " entry" : " entries") +
                      (options.dryRun ? " would be removed\n" : " removed\n"));
    int exitCode = kExitOk;
    for (const Fault& fault : done.faults) {
        exitCode = worseExit(exitCode, console.err.say(fault));
    }
    return exitCode;
}

} // namespace quzo::host
