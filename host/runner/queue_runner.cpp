// See queue_runner.h.
#include "host/runner/queue_runner.h"

#include <algorithm>
#include <exception>
#include <tuple>
#include <utility>

#include "host/base/exit_code.h"
#include "host/runner/postponed_work.h"
#include "platform/log/log_subject.h"
#include "platform/queue/leaving_message.h"
#include "quzo/core/error_text.h"
#include "quzo/core/log.h"

namespace quzo::host {

using platform::ListedEntry;
using platform::QueueClaim;
using platform::QueueKind;
using platform::QueueStore;

namespace {

constexpr std::size_t kMaxSaid = 10000; // faults that are remembered

std::string placeOf(QueueKind queue, const std::string& id) {
    return std::string(platform::queueName(queue)) + "/" + id;
}

void log(const WorkDone& done) {
    switch (done.kind) {
        case WorkDone::Kind::Gone:
            ActionLog::L3("Done with it.");
            break;
        case WorkDone::Kind::Later:
            ActionLog::L2("It is tried again: %s", done.text.c_str());
            break;
        case WorkDone::Kind::Failed:
            ActionLog::L1("It has failed: %s", done.text.c_str());
            break;
        case WorkDone::Kind::Trouble:
            ActionLog::L1("It could not be worked on: %s", done.text.c_str());
            break;
    }
}

} // namespace

struct QueueRunner::Due {
    std::string server;
    std::int64_t stored = 0;
    std::string id;

    bool operator<(const Due& other) const {
        return std::tie(server, stored, id) < std::tie(other.server, other.stored, other.id);
    }
};

QueueRunner::QueueRunner(Parts parts)
    : parts_(std::move(parts)),
      moves_(parts_.queues, parts_.plan),
      outgoing_(moves_, parts_.sender, parts_.nextHop, parts_.hostname),
      rescan_(moves_, parts_.sender, parts_.rescanHop, parts_.hostname, OutgoingWork::Routes::None) {}

const std::vector<QueueKind>& QueueRunner::queues() {
    static const std::vector<QueueKind> order = {QueueKind::Postponed, QueueKind::Scan, QueueKind::Outgoing};
    return order;
}

int QueueRunner::say(const Fault& fault) {
    if (said_.size() < kMaxSaid && said_.insert(fault.where + fault.what).second && parts_.say) {
        parts_.say(fault);
    }
    return fault.exitCode;
}

std::vector<QueueRunner::Due> QueueRunner::dueEntries(QueueKind queue, RunFigures& figures, int& exitCode) {
    std::vector<Due> due;
    const std::int64_t now = parts_.clock.now();
    const int error = parts_.queues.find(queue)->forEach([&](ListedEntry&& listed) {
        if (listed.state == platform::EntryState::Held) {
            return true;
        }
        if (listed.error != kErrorNone) {
            exitCode = worseExit(exitCode, say({kExitData, placeOf(queue, listed.id), "cannot be read",
                                                "look at its files, or remove it"}));
            return true;
        }
        if (listed.entry.due.value_or(0) > now) {
            ++figures.waiting;
            return true;
        }
        const auto hop = queue == QueueKind::Outgoing ? outgoing_.hopOf(listed.entry) : platform::NextHop{};
        if (!hop) {
            ++figures.waiting;
            exitCode = worseExit(exitCode, say({kExitConfiguration, placeOf(queue, {}),
                                                "there is no server to send to, so messages stay",
                                                "set next_hop in [platform]"}));
            return true;
        }
        due.push_back({hop->host + ":" + std::to_string(hop->port), listed.entry.stored, listed.id});
        return !parts_.stopping || !parts_.stopping();
    });
    if (error != kErrorNone) {
        exitCode = worseExit(exitCode, say({kExitInputOutput, platform::queueName(queue),
                                            "not all of it could be read", "see the log"}));
    }
    std::sort(due.begin(), due.end());
    return due;
}

int QueueRunner::run(QueueKind queue, RunFigures& figures) {
    int exitCode = kExitOk;
    QueueStore& store = *parts_.queues.find(queue);
    for (const Due& due : dueEntries(queue, figures, exitCode)) {
        if (parts_.stopping && parts_.stopping()) {
            break;
        }
        exitCode = worseExit(exitCode, workOn(queue, store, due.id, figures));
    }
    parts_.sender.rest();
    return exitCode;
}

int QueueRunner::workOn(QueueKind queue, QueueStore& store, const std::string& id, RunFigures& figures) {
    const platform::LogSubject subject(placeOf(queue, id));
    QueueClaim claim;
    switch (store.claim(id, claim)) {
        case platform::ClaimOutcome::Taken:
            break;
        case platform::ClaimOutcome::Busy:
            ++figures.busy;
            return kExitOk;
        case platform::ClaimOutcome::Missing:
            return kExitOk; // somebody else was quicker
        case platform::ClaimOutcome::Failed:
            return say({kExitInputOutput, placeOf(queue, id), "cannot be claimed", "see the log"});
    }
    const std::int64_t now = parts_.clock.now();
    if (claim.error() != kErrorNone || claim.entry().due.value_or(0) > now) {
        return kExitOk; // changed since it was listed
    }
    WorkDone done;
    try {
        done = work(queue, claim, now);
    } catch (const std::exception&) {
        done = WorkDone::trouble(kErrorNoMemory);
    }
    log(done);
    if (parts_.told) {
        parts_.told(queue, id, done);
    }
    figures.gone += done.kind == WorkDone::Kind::Gone ? 1 : 0;
    figures.failed += done.kind == WorkDone::Kind::Failed ? 1 : 0;
    figures.later += done.kind == WorkDone::Kind::Later ? 1 : 0;
    if (done.kind != WorkDone::Kind::Trouble) {
        return kExitOk;
    }
    ++figures.later;
    return say({done.error == kErrorNoMemory ? kExitTryAgain : kExitInputOutput, placeOf(queue, id),
                done.text, "see the log"});
}

WorkDone QueueRunner::work(QueueKind queue, QueueClaim& claim, std::int64_t now) {
    switch (queue) {
        case QueueKind::Scan:
            // Another pass happens here, or where the mail server brings the message back with its marks.
            return parts_.rescanHop ? rescan_.work(claim,
                                                   platform::leavingSender(claim.entry().sender,
                                                                           parts_.snapshot()->hostname()),
                                                   now)
                                    : workScan(*parts_.snapshot(), moves_, claim, now, parts_.scanned);
        case QueueKind::Postponed:
            return workPostponed(moves_, claim, now);
        default:
            return outgoing_.work(claim, claim.entry().sender, now);
    }
}

} // namespace quzo::host
